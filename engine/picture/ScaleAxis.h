// How the pixels along one side of a scaled picture are made of the source's.
//
// Units:    pixels.
// Threads:  any; nothing is kept.
// Errors:   throws std::bad_alloc.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/picture/PictureScale.h"
#include "engine/picture/ScaleKernel.h"

namespace kiv {

// A stretch of `length` source pixels from `begin` on, out of `size`.
struct ScaleStretch {
  int32_t size = 0;
  double begin = 0, length = 0;
};

struct ScaleAxis {
  std::vector<ScaleTaps> taps;
  std::vector<float> weights;
  // Every position has kScaleTaps weights, the last ones 0 where fewer would do; then they may
  // reach beyond the source's end.
  bool fourEach = false;
};

ScaleAxis MakeScaleAxis(const ScaleStretch& from, int32_t to, ScaleFilter filter);

}  // namespace kiv
