#include "session/Verify.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string_view>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PictureFacts.h"
#include "session/Composite.h"
#include "session/Fail.h"
#include "session/FrameSpans.h"
#include "session/Frames.h"

namespace kiv::session {
namespace {

constexpr uint32_t kOrderSeed = 1;  // each run takes the same way

// A picture's size and pixels as one number. Two that differ get the same one in 2^64 cases once.
size_t FingerprintOf(const KivComPtr<IKivFrame>& frame) {
  const auto straight = Straight(frame);
  const KivSize size = SizeOf(*straight);
  const size_t bytes = PictureBytesOf(size);
  const auto* pixels = static_cast<const char*>(KivCommon::ReadPixels(straight.Get()));
  return std::hash<std::string_view>()({pixels, bytes}) + static_cast<size_t>(size.width);
}

class Verification {
 public:
  Verification(const std::string& path, const ClipOptions& options, const FrameSpan& span,
               const ProgressFunction& progress)
      : path_(path),
        options_(options),
        progress_(progress),
        clip_(BuildClip(path, options)),
        range_(ResolveFrames(span, "--frames", clip_->Result().frameCount)) {
    if (Count() > kMostFrames) {
      FailUsage("verify compares {} frames at most, not {}: name a stretch with --frames",
                kMostFrames, Count());
    }
    options_.onNote = {};  // all is said of the clip by now
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
  void OpenAnew();
  void CountLost() { lost_ += clip_->Main().LostPictures(); }
  size_t Pull();
  void Compare(int32_t frame, std::vector<int32_t>* differing);
  void PlayForward();
  void StepBack();
  void Jump();

  const std::string path_;
  ClipOptions options_;
  const ProgressFunction& progress_;
  std::unique_ptr<Composite> clip_;
  KivRange range_;
  int64_t pulled_ = 0;
  std::vector<size_t> fingerprints_;
  std::vector<int32_t> backward_, random_;
  int64_t lost_ = 0;
};

// A decoder may keep what it has learnt from earlier pictures, so each pass has one of its own.
void Verification::OpenAnew() {
  CountLost();
  const KivPropDecorator measured = clip_->Main().MotionData();
  clip_.reset();
  clip_ = BuildClip(path_, options_, measured);
  clip_->Main().Stabilize(progress_);
}

size_t Verification::Pull() {
  const size_t fingerprint = FingerprintOf(clip_->Pull());
  ++pulled_;
  Tick();
  return fingerprint;
}

void Verification::Compare(int32_t frame, std::vector<int32_t>* differing) {
  if (Pull() != fingerprints_[static_cast<size_t>(frame - range_.start)])
    differing->push_back(frame);
}

// The way of a player: from the clip's beginning, and to the first frame of a stretch by a step.
void Verification::PlayForward() {
  clip_->Seek(0);
  if (range_.start > 0) clip_->Pull();
  if (range_.start > 1) clip_->Seek(range_.start - 1);
  for (int32_t frame = range_.start; frame <= range_.end; ++frame) {
    if (frame > 0) clip_->Advance();
    fingerprints_.push_back(Pull());
  }
}

// Begins with a seek, before anything else was decoded.
void Verification::StepBack() {
  for (int32_t frame = range_.end; frame >= range_.start; --frame) {
    frame == range_.end ? clip_->Seek(frame) : clip_->Retreat();
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
  OpenAnew();
  StepBack();
  OpenAnew();
  Jump();
  CountLost();
  clip_->RequirePictures();
  std::sort(backward_.begin(), backward_.end());
  std::sort(random_.begin(), random_.end());
  return {Count(), backward_, random_, lost_};
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
