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
  explicit Verification(const Options& options)
      : clip_(options.input, options.chain),
        range_(ResolveFrames(options.frames, "--frames", clip_.Result().frameCount)) {
    if (Count() > kMostFrames) {
      FailUsage("verify compares {} frames at most, not {}: name a stretch with --frames",
                kMostFrames, Count());
    }
    clip_.Stabilize(options.progress);
    progress_.emplace(options.progress, kPasses * Count(), clip_.Stage());
  }

  void Run();
  void SaveSettings(const std::string& path) {
    if (!path.empty()) clip_.SaveSettings(path);
  }

 private:
  static constexpr int32_t kPasses = 3;
  static constexpr int32_t kMostFrames = 10'000'000;  // 12 bytes each are remembered

  int32_t Count() const { return range_.end - range_.start + 1; }
  size_t Pull();
  void Compare(int32_t frame, std::vector<int32_t>* differing);
  void PlayForward();
  void StepBack();
  void Jump();
  void Tell() const;

  Clip clip_;
  KivRange range_;
  std::optional<Progress> progress_;
  int32_t pulled_ = 0;
  std::vector<size_t> prints_;
  std::vector<int32_t> backward_, random_;
};

size_t Verification::Pull() {
  ThrowIfInterrupted();
  const size_t print = PrintOf(clip_.Pull());
  progress_->Update(++pulled_);
  return print;
}

void Verification::Compare(int32_t frame, std::vector<int32_t>* differing) {
  if (Pull() != prints_[static_cast<size_t>(frame - range_.start)]) differing->push_back(frame);
}

void Verification::PlayForward() {
  for (int32_t frame = range_.start; frame <= range_.end; ++frame) {
    frame == range_.start ? clip_.Seek(frame) : clip_.Advance();
    prints_.push_back(Pull());
  }
}

// The speed node steps forwards only: what lies behind it is sought.
void Verification::StepBack() {
  const bool seeks = clip_.HowItPlays().IsShifted();
  for (int32_t frame = range_.end; frame >= range_.start; --frame) {
    frame == range_.end || seeks ? clip_.Seek(frame) : clip_.Retreat();
    Compare(frame, &backward_);
  }
}

void Verification::Jump() {
  std::vector<int32_t> order(static_cast<size_t>(Count()));
  std::iota(order.begin(), order.end(), range_.start);
  std::shuffle(order.begin(), order.end(), std::mt19937(kOrderSeed));
  for (const int32_t frame : order) {
    clip_.Seek(frame);
    Compare(frame, &random_);
  }
}

void Verification::Run() {
  PlayForward();
  StepBack();
  Jump();
  clip_.RequirePictures();
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
  if (const int64_t unread = clip_.LostPictures(); unread > 0) {
    return PrintNote(
        fmt::format("note: {} or more frames differ, the clip is damaged: {} of its "
                    "pictures could not be decoded",
                    differing, unread));
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
