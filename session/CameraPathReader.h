// Reads the camera's path from a clip's settings. Not installed.
//
// Errors:   SessionError when they hold no motion data.
#pragma once

#include <cstdint>

#include "kiv/platform/Properties.h"
#include "session/CameraPath.h"

namespace kiv::session {

// `level` is how strongly the clip is steadied.
CameraPath CameraPathOf(IKivProperties* settings, int32_t level);

}  // namespace kiv::session
