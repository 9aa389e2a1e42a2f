#include "engine/motion/MotionAnalyser.h"

#include <algorithm>
#include <utility>

#include "engine/motion/MotionFit.h"

namespace kiv {
namespace {

// Frames that a flash or a dark moment may last.
constexpr size_t kLongestFlash = 8;
constexpr StabMotion kCut{0, 0, kStabCutAngle};

}  // namespace

void MotionAnalyser::Add(const uint8_t* bgra, const KivSize& size) {
  current_.luma.Build(bgra, size);
  current_.picked = false;
  current_.index = motions_.size();
  motions_.push_back({});
  Place();
}

void MotionAnalyser::AddNothing() { motions_.push_back({}); }

void MotionAnalyser::Place() {
  if (anchor_.luma.Empty()) {
    std::swap(anchor_, current_);
    return;
  }
  if (const auto motion = Follow(anchor_, current_)) {
    motions_[current_.index] = *motion;
    std::swap(anchor_, current_);
    return;
  }
  if (ReturnsFromFlash() || BeginsShot()) return;
  GiveUpOnAnchor();
  std::swap(previous_, current_);
}

// What looked like a new shot was a flash when the frame before it is seen again.
bool MotionAnalyser::ReturnsFromFlash() {
  if (former_.luma.Empty() || current_.index - former_.index > kLongestFlash) return false;
  const auto motion = Follow(former_, current_);
  if (!motion) return false;
  std::fill(motions_.begin() + static_cast<ptrdiff_t>(former_.index + 1), motions_.end(),
            StabMotion{});
  motions_[current_.index] = *motion;
  std::swap(anchor_, current_);
  return true;
}

bool MotionAnalyser::BeginsShot() {
  const bool apart = previous_.index > anchor_.index && !previous_.luma.Empty();
  if (!apart) return false;
  const auto motion = Follow(previous_, current_);
  if (!motion) return false;
  motions_[previous_.index] = kCut;
  motions_[current_.index] = *motion;
  std::swap(former_, anchor_);
  std::swap(anchor_, current_);
  return true;
}

// After so long nothing is seen again.
void MotionAnalyser::GiveUpOnAnchor() {
  if (current_.index - anchor_.index <= kLongestFlash) return;
  std::swap(anchor_, previous_);
}

std::optional<StabMotion> MotionAnalyser::Follow(View& from, const View& to) {
  if (from.luma.FrameSize() != to.luma.FrameSize()) return std::nullopt;
  if (!from.picked) {
    from.features = tracker_.Pick(from.luma);
    from.picked = true;
  }
  const KivSize& size = from.luma.FrameSize();
  const auto fit =
      FitMotion(tracker_.Track(from.luma, to.luma, from.features), size, from.luma.Factor());
  if (!fit) return std::nullopt;
  StabMotion motion = fit->motion;
  motion.dx *= static_cast<double>(sourceSize_.width) / size.width;
  motion.dy *= static_cast<double>(sourceSize_.height) / size.height;
  return motion;
}

}  // namespace kiv
