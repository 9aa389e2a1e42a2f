// verify: whether every frame of the chain is the same picture however one comes to it.

#include <algorithm>
#include <numeric>
#include <optional>
#include <random>
#include <string_view>
#include <vector>

#include "host/Clip.h"
#include "host/Commands.h"
#include "host/Frames.h"
#include "host/HostError.h"
#include "host/InputChecks.h"
#include "host/Interrupt.h"
#include "host/Messages.h"
#include "host/Progress.h"
#include "kiv/platform/KivCommon.h"

namespace host {
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

// 3, 7-9 and so on.
std::string ListOf(const std::vector<int32_t>& frames) {
  std::string text;
  for (size_t i = 0; i < frames.size();) {
    size_t end = i + 1;
    while (end < frames.size() && frames[end] == frames[end - 1] + 1) ++end;
    text += fmt::format("{}{}", text.empty() ? "" : ", ", frames[i]);
    if (end - i > 1) text += fmt::format("-{}", frames[end - 1]);
    i = end;
  }
  return text;
}

class Verification {
 public:
  explicit Verification(const Options& options) : options_(options) {
    clip_.emplace(options.input, options.chain);
    range_ = ResolveFrames(options.frames, "--frames", clip_->Result().frameCount);
    if (Count() > kMostFrames) {
      FailUsage("verify compares {} frames at most, not {}: name a stretch with --frames",
                kMostFrames, Count());
    }
    clip_->Stabilize(options.progress);
    progress_.emplace(options.progress, kPasses * Count(), clip_->Stage());
  }

  void Run();
  void SaveSettings(const std::string& path) {
    if (!path.empty()) clip_->SaveSettings(path);
  }

 private:
  static constexpr int32_t kPasses = 3;
  static constexpr int32_t kMostFrames = 10'000'000;  // 12 bytes each are remembered

  int32_t Count() const { return range_.end - range_.start + 1; }
  void OpenAnew();
  void CountLost() { lost_ += clip_->LostPictures(); }
  size_t Pull();
  void Compare(int32_t frame, std::vector<int32_t>* differing);
  void PlayForward();
  void StepBack();
  void Jump();
  void Tell() const;

  const Options& options_;
  std::optional<Clip> clip_;
  KivRange range_;
  std::optional<Progress> progress_;
  int32_t pulled_ = 0;
  std::vector<size_t> prints_;
  std::vector<int32_t> backward_, random_;
  int64_t lost_ = 0;
};

// A decoder may keep what it has learnt from earlier pictures, so each pass has one of its own.
void Verification::OpenAnew() {
  CountLost();
  const KivPropDecorator measured = clip_->MotionData();
  clip_.reset();
  const Silence saidAlready;
  clip_.emplace(options_.input, options_.chain, measured);
  clip_->Stabilize(options_.progress);
}

size_t Verification::Pull() {
  ThrowIfInterrupted();
  const size_t print = PrintOf(clip_->Pull());
  progress_->Update(++pulled_);
  return print;
}

void Verification::Compare(int32_t frame, std::vector<int32_t>* differing) {
  if (Pull() != prints_[static_cast<size_t>(frame - range_.start)]) differing->push_back(frame);
}

// The way of a player: from the clip's beginning, and to the first frame of a stretch by a step.
void Verification::PlayForward() {
  clip_->Seek(0);
  if (range_.start > 0) clip_->Pull();
  if (range_.start > 1) clip_->Seek(range_.start - 1);
  for (int32_t frame = range_.start; frame <= range_.end; ++frame) {
    if (frame > 0) clip_->Advance();
    prints_.push_back(Pull());
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

void Verification::Run() {
  PlayForward();
  OpenAnew();
  StepBack();
  OpenAnew();
  Jump();
  CountLost();
  clip_->RequirePictures();
  std::sort(backward_.begin(), backward_.end());
  std::sort(random_.begin(), random_.end());
  Tell();
}

void Verification::Tell() const {
  std::string text;
  if (!backward_.empty()) text += "backward: " + ListOf(backward_) + "\n";
  if (!random_.empty()) text += "random: " + ListOf(random_) + "\n";
  if (text.empty()) text = fmt::format("{} frames: forward, backward and random agree\n", Count());
  PrintOutput(text);
  const size_t differing = std::max(backward_.size(), random_.size());
  if (differing == 0) return;
  // A decoder conceals damage with what it decoded before, so the way there matters.
  if (lost_ > 0) {
    return PrintNote(
        fmt::format("note: {} or more frames differ, the clip is damaged: {} of its "
                    "pictures could not be decoded",
                    differing, lost_));
  }
  FailRun("{} or more of {} frames are other pictures than those shown when playing forward",
          differing, Count());
}

}  // namespace

void RunVerify(const Options& options) {
  CheckFiles(options);
  Verification verification(options);
  verification.Run();
  verification.SaveSettings(options.chain.saveSettings);
}

}  // namespace host
