// Draws the path of a clip's camera, as it was measured and as it is after steadying.
#pragma once

#include "draw/Picture.h"
#include "session/CameraPath.h"

namespace kiv::draw {

// How far the picture's content lies from where it lay in the shot's first frame: across, along and
// turned, one below the other.
Picture DrawCameraPath(const session::CameraPath& path);

}  // namespace kiv::draw
