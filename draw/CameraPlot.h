// Draws the path of a clip's camera, as it was measured and as it is after smoothing.
//
// Errors:   HostError when the settings hold no motion data.
#pragma once

#include <cstdint>
#include <vector>

#include "kiv/platform/Properties.h"
#include "kiv/values/ValueTypes.h"

namespace host {

struct CameraPlot {
  KivSize size;
  std::vector<uint8_t> bgra;
};

// From the motion data in a clip's settings: how far the picture's content lies from where it lay in
// the shot's first frame, across, along and turned.
CameraPlot DrawCameraPath(IKivProperties* settings, int32_t level);

}  // namespace host
