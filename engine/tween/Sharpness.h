// How sharp the filter between pixels should be for a pair of key frames: texture is blurred by a soft
// one, noise is made worse by a sharp one. Each key frame is predicted from the other both ways at a
// few places; the mixture of the two that comes nearest is it.
//
// Units:    0 is soft, kSharpest the most.
// Threads:  one caller at a time; works on the pool's threads. The result does not depend on how
//           many there are.
// Errors:   throws std::bad_alloc.
#pragma once

#include "engine/tween/Blender.h"

namespace kiv::tween {

float BestSharpness(const KeyPictures& keys, const NodeGrid<TweenNode>& field, int factor,
                    float when, RowPool& pool);

}  // namespace kiv::tween
