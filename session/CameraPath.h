// Where the camera went: as it was measured, and as it is after steadying.
#pragma once

#include <vector>

namespace kiv::session {

// Where the content of a shot's first frame lies: pixels to the right and down, degrees.
struct CameraPose {
  double x = 0, y = 0, degrees = 0;
};

// One entry a frame of the clip.
struct CameraPath {
  std::vector<CameraPose> measured, steady;
  std::vector<bool> beginsShot;
};

}  // namespace kiv::session
