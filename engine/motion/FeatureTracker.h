// Finds corners that are spread over a frame, and where they went in another frame.
//
// Units:    Feature: pixels of level 0. FeatureMotion: pixels of the frame, counted from its centre.
// Owns:     its results, which it hands out until the next call.
// Threads:  one caller at a time.
// Errors:   throws std::bad_alloc and cv::Exception.
#pragma once

#include <vector>

#include "engine/motion/LumaPyramid.h"

namespace kiv {

struct Feature {
  int x = 0, y = 0;
};

struct FeatureMotion {
  KivPointF from;
  KivPointF shift;
};

class FeatureTracker {
 public:
  // The strongest corner of every cell of a grid, where it is strong enough.
  const std::vector<Feature>& Pick(const LumaPyramid& frame);
  // Those of `features` (of `from`) that were found again: tracked forwards, and back to where they
  // came from. Both frames have the same size.
  const std::vector<FeatureMotion>& Track(const LumaPyramid& from, const LumaPyramid& to,
                                          const std::vector<Feature>& features);

 private:
  std::vector<Feature> features_;
  std::vector<FeatureMotion> motions_;
};

}  // namespace kiv
