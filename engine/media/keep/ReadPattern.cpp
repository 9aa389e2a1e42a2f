#include "engine/media/keep/ReadPattern.h"

#include <algorithm>

namespace kiv {
namespace {

// Steps that still count as going on, upwards and downwards from the present run.
constexpr int64_t kNearAhead = 16;
constexpr int64_t kNearBelow = 24;
// Frames below the lowest turn from which on a reader is going somewhere else.
constexpr int64_t kNewGround = 64;

}  // namespace

void ReadPattern::Note(int64_t frame) {
  if (frame == last_) return;
  const int64_t below = std::max(kNearBelow, 2 * (runTop_ - runStart_));
  if (last_ < 0) {
    Begin(frame);
  } else if (frame < last_ && frame >= runStart_ - below) {
    StepBack(frame);
  } else if (frame > last_ && frame <= last_ + kNearAhead) {
    StepOn(frame);
  } else {
    Jump(frame);
  }
  last_ = frame;
}

void ReadPattern::Begin(int64_t frame) {
  runStart_ = runTop_ = frame;
  trend_ = expected_ ? Trend::kBackward : Trend::kNone;
}

void ReadPattern::StepBack(int64_t frame) {
  // Back within a run is somebody's single step, whatever the length of that run.
  earlierRun_ = frame < runStart_ ? runTop_ - runStart_ + 1 : 1;
  Turn(Trend::kBackward);
  if (frame < turnedAt_ - kNewGround) scrubbing_ = false;
  runStart_ = runTop_ = frame;
  ++backSteps_;
  returned_ = true;
}

void ReadPattern::StepOn(int64_t frame) {
  runTop_ = frame;
  if (trend_ != Trend::kBackward || (IsConfirmed() && frame > Top())) Turn(Trend::kForward);
}

void ReadPattern::Jump(int64_t frame) {
  if (frame < last_) returned_ = true;
  runStart_ = runTop_ = frame;
  earlierRun_ = 1;
  trend_ = Trend::kNone;
  backSteps_ = 0;
  scrubbing_ = false;
  ++generation_;
}

void ReadPattern::Turn(Trend trend) {
  if (trend == trend_) return;
  if (IsConfirmed()) scrubbing_ = true;
  turnedAt_ = IsConfirmed() ? std::min(turnedAt_, last_) : last_;
  trend_ = trend;
  if (trend == Trend::kForward) backSteps_ = std::min(backSteps_, int64_t{1});
  ++generation_;
}

bool ReadPattern::IsSteady() const { return IsBackward() && backSteps_ >= (expected_ ? 1 : 2); }

bool ReadPattern::AsksForFill() const {
  return trend_ == Trend::kBackward && (IsConfirmed() || last_ == runStart_);
}

int64_t ReadPattern::Top() const {
  return IsConfirmed() ? std::max(last_, runStart_ + earlierRun_ - 1) : last_;
}

}  // namespace kiv
