// The camera's motion between two frames, from the motions of many features.
//
// Units:    pixels of the frame counted from its centre; degrees.
// Threads:  any; nothing is kept.
#pragma once

#include <optional>
#include <vector>

#include "engine/motion/FeatureTracker.h"
#include "kiv/platform/Stabilizer.h"

namespace kiv {

struct FittedMotion {
  StabMotion motion;
  size_t agreeing = 0;  // features that move with the camera
};

// What most of the picture agrees on: shift, angle and a change of scale that is then forgotten.
// `pixel` is the frame's pixels in one of those that were tracked. Nothing when there is no such
// motion.
std::optional<FittedMotion> FitMotion(const std::vector<FeatureMotion>& motions,
                                      const KivSize& frame, double pixel);

}  // namespace kiv
