// Measures the camera's motion frame by frame, and keeps its head over frames that show none.
//
// A frame that cannot be followed from the one before (a flash, nothing but black) has no motion;
// the next frame is followed from the last good one, and carries what happened between. When that
// cannot be done either, but the frames after it hang together, a new shot has begun there.
//
// Units:    as StabMotion; sizes in pixels.
// Owns:     the brightness of up to four frames.
// Threads:  one caller at a time.
// Errors:   throws std::bad_alloc and cv::Exception.
#pragma once

#include <optional>
#include <vector>

#include "engine/motion/FeatureTracker.h"
#include "kiv/platform/Stabilizer.h"
#include "kiv/values/Export.h"

namespace kiv {

class KIV_ENGINE_API MotionAnalyser {
 public:
  // Shifts are given for pictures of this size, whatever size frames have.
  explicit MotionAnalyser(const KivSize& sourceSize) : sourceSize_(sourceSize) {}

  // `bgra` holds straight rows of `size`. The first frame is the path's beginning.
  void Add(const uint8_t* bgra, const KivSize& size);
  // A frame without a picture.
  void AddNothing();

  // One entry for each frame so far.
  const std::vector<StabMotion>& Motions() const { return motions_; }

 private:
  // A frame that others are followed from.
  struct View {
    LumaPyramid luma;
    std::vector<Feature> features;
    size_t index = 0;
    bool picked = false;
  };

  std::optional<StabMotion> Follow(View& from, const View& to);
  void Place();
  bool ReturnsFromFlash();
  bool BeginsShot();
  void GiveUpOnAnchor();

  const KivSize sourceSize_;
  FeatureTracker tracker_;
  View anchor_;    // the last frame that has its place in the path
  View former_;    // the anchor before the last cut, until a flash can no longer be the reason
  View previous_;  // the frame before, when that is not the anchor
  View current_;
  std::vector<StabMotion> motions_;
};

}  // namespace kiv
