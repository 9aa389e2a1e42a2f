// What the algorithm factory finds in this module.

#include <new>

#include "engine/tween/TweenAlgorithm.h"

extern "C" KIV_EXPORT CVAlgorithm* KivCreateCVAlgorithm(int32_t name) {
  if (name != kFrameInterpolationAlgorithm) return nullptr;
  return new (std::nothrow) kiv::tween::TweenAlgorithm(kiv::tween::RowPool::Shared());
}
