// A smooth path close to the one that the camera took.
//
// Units:    pixels, all three: a turn counts by what it moves far from the middle.
// Threads:  any; nothing is kept.
// Errors:   throws std::bad_alloc.
#pragma once

#include <array>
#include <vector>

#include "kiv/values/Export.h"

namespace kiv {

// Where the picture's content is in a frame: x, y, turn.
using PathPoint = std::array<double, 3>;

// How far a smooth path may be from the camera's in each frame: |x| + xPerTurn |turn| <= x, and the
// same for y. Nothing is negative, and both `PerTurn` are above 0.
struct PathRoom {
  double x = 0, y = 0;
  double xPerTurn = 1, yPerTurn = 1;
};

// The path s that makes sum((s - path)^2) + stiffness x unsteadiness(s) smallest. Straight stretches
// stay as they are, up to both ends: nothing lags and nothing drifts.
KIV_ENGINE_API std::vector<PathPoint> SmoothPath(const std::vector<PathPoint>& path,
                                                 double stiffness);

// The same among those that keep within `room`.
KIV_ENGINE_API std::vector<PathPoint> SmoothPathWithin(const std::vector<PathPoint>& path,
                                                       const PathRoom& room, double stiffness);

// The point within `room` that is nearest to a step aside.
KIV_ENGINE_API PathPoint NearestWithin(const PathPoint& aside, const PathRoom& room);

}  // namespace kiv
