// The values of FrameInterpolationParams::interpolationMode. Any other is taken as the default, with
// one log line.
#pragma once

#include <cstdint>

namespace kiv::tween {

enum class TweenMode : uint32_t {
  kFlow = 0,   // follows the motion
  kBlend = 1,  // mixes the key frames as they lie
  kFine = 2,   // as kFlow, but more of what is near counts at each pixel; slower above 1100 columns
};

}  // namespace kiv::tween
