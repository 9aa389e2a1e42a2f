// The values of FrameInterpolationParams::interpolationMode.
#pragma once

#include <cstdint>

namespace kiv::tween {

enum class TweenMode : uint32_t {
  kFlow = 0,   // follows the motion
  kBlend = 1,  // mixes the key frames as they lie
  kFine = 2,   // follows the motion with more care and more time
};

}  // namespace kiv::tween
