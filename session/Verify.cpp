#include "session/Verify.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string_view>

#include "kiv/platform/KivCommon.h"
#include "session/Composite.h"
#include "session/Fail.h"
#include "session/FrameSpans.h"
#include "session/Frames.h"

namespace kiv::session {
namespace {

constexpr uint32_t kOrderSeed = 1;  // each run takes the same way

// A picture's size and pixels as one number. Two that differ get the same one in 2^64 cases once.
size_t PrintOf(const KivComPtr<IKivFrame>& frame) {
  const auto straight = Straight(frame);
  const KivSize size = SizeOf(*straight);
  const auto bytes = static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 4;
  const auto* pixels = static_cast<const char*>(KivCommon::ReadPixels(straight.Get()));
  return std::hash<std::string_view>()({pixels, bytes}) + static_cast<size_t>(size.width);
}

class Verification {
 public:
  Verification(const std::string& path, const ClipOptions& options, const FrameSpan& span,
               const ProgressFunction& progress)
      : progress_(progress),
        clip_(BuildClip(path, options)),
        range_(ResolveFrames(span, "--frames", clip_->Result().frameCount)) {
    if (Count() > kMostFrames) {
      FailUsage("verify compares {} frames at most, not {}: name a stretch with --frames",
                kMostFrames, Count());
    }
    clip_->Main().Stabilize(progress);
    Tick();
  }

  VerifyResult Run();
  void SaveSettings(const std::string& path) {
    if (!path.empty()) clip_->Main().SaveSettings(path);
  }

 private:
  static constexpr int32_t kPasses = 3;
  static constexpr int32_t kMostFrames = 10'000'000;  // 12 bytes each are remembered

  int32_t Count() const { return range_.end - range_.start + 1; }
  void Tick() const { Report(progress_, {Stage::kVerify, pulled_, int64_t{kPasses} * Count()}); }
  size_t Pull();
  void Compare(int32_t frame, std::vector<int32_t>* differing);
  void PlayForward();
  void StepBack();
  void Jump();

  const ProgressFunction& progress_;
  std::unique_ptr<Composite> clip_;
  KivRange range_;
  int64_t pulled_ = 0;
  std::vector<size_t> prints_;
  std::vector<int32_t> backward_, random_;
};

size_t Verification::Pull() {
  const size_t print = PrintOf(clip_->Pull());
  ++pulled_;
  Tick();
  return print;
}

void Verification::Compare(int32_t frame, std::vector<int32_t>* differing) {
  if (Pull() != prints_[static_cast<size_t>(frame - range_.start)]) differing->push_back(frame);
}

void Verification::PlayForward() {
  for (int32_t frame = range_.start; frame <= range_.end; ++frame) {
    frame == range_.start ? clip_->Seek(frame) : clip_->Advance();
    prints_.push_back(Pull());
  }
}

// The speed node steps forwards only: what lies behind it is sought.
void Verification::StepBack() {
  const bool seeks = clip_->Main().HowItPlays().IsShifted();
  for (int32_t frame = range_.end; frame >= range_.start; --frame) {
    frame == range_.end || seeks ? clip_->Seek(frame) : clip_->Retreat();
    Compare(frame, &backward_);
  }
}

void Verification::Jump() {
  std::vector<int32_t> order(static_cast<size_t>(Count()));
  std::iota(order.begin(), order.end(), range_.start);
  std::shuffle(order.begin(), order.end(), std::mt19937(kOrderSeed));
  for (const int32_t frame : order) {
    clip_->Seek(frame);
    Compare(frame, &random_);
  }
}

VerifyResult Verification::Run() {
  PlayForward();
  StepBack();
  Jump();
  std::sort(backward_.begin(), backward_.end());
  std::sort(random_.begin(), random_.end());
  return {Count(), backward_, random_, clip_->Main().LostPictures()};
}

}  // namespace

VerifyResult Verify(const std::string& path, const ClipOptions& options, const FrameSpan& frames,
                    const ProgressFunction& progress, const std::string& saveSettings) {
  Verification verification(path, options, frames, progress);
  VerifyResult result = verification.Run();
  verification.SaveSettings(saveSettings);
  return result;
}

}  // namespace kiv::session
