// render and frame: pull frames from the chain, hand them to a writer.

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

#include "engine/media/Writer.h"
#include "host/Clip.h"
#include "host/Commands.h"
#include "host/Frames.h"
#include "host/HostError.h"
#include "host/InputChecks.h"
#include "host/Interrupt.h"
#include "host/Messages.h"
#include "host/OptionValues.h"
#include "host/Progress.h"
#include "host/Report.h"
#include "host/Settings.h"
#include "host/Sound.h"
#include "host/WriterQueue.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/NodeTimes.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

class RenderRun {
 public:
  RenderRun(const Options& options, KivRange (*resolve)(const Options&, int32_t))
      : options_(options),
        clip_(options.input, options.chain),
        range_(resolve(options, clip_.Result().frameCount)),
        sound_(SoundFor(options, clip_, range_)) {}

  void Run();
  RenderReport Report() const;
  Clip& TheClip() { return clip_; }

 private:
  KivComPtr<IKivFrame> PullNext(int32_t number);
  void OpenOutput(IKivFrame& first);
  void Write(const KivComPtr<IKivFrame>& frame);
  void Finish();

  const Clock::time_point start_ = Clock::now();  // opening counts
  const Options& options_;
  Clip clip_;
  KivRange range_;
  Sound sound_;
  KivSize size_;
  KivSize written_;  // size_, or what the encoder makes of it
  std::atomic<bool> cancelled_{false};
  // Nothing is read of discarded pictures, so they need no thread.
  std::unique_ptr<WriterQueue> queue_;
  double pullSeconds_ = 0;
  double wallSeconds_ = 0;
};

void RenderRun::Run() {
  Progress progress(options_.progress, range_.end - range_.start + 1, clip_.Stage());
  for (int32_t number = range_.start; number <= range_.end; ++number) {
    ThrowIfInterrupted();
    const auto frame = PullNext(number);
    if (number == range_.start) OpenOutput(*frame);
    Write(frame);
    progress.Update(number - range_.start + 1);
  }
  clip_.RequirePictures();
  Finish();
}

KivComPtr<IKivFrame> RenderRun::PullNext(int32_t number) {
  const auto start = Clock::now();
  if (number == range_.start) {
    clip_.Seek(number);
  } else {
    clip_.Advance();
  }
  auto frame = clip_.Pull();
  pullSeconds_ += SecondsSince(start);
  return frame;
}

void RenderRun::OpenOutput(IKivFrame& first) {
  size_ = written_ = SizeOf(first);
  if (options_.plan.kind == kiv::OutputKind::kDiscard) return;
  const kiv::PictureSeries series{
      size_,       clip_.Result().frameRate, clip_.SampleAspect(size_), range_.start,
      sound_.file, clip_.HasAlpha(),         clip_.TimesOf(range_)};
  written_ = kiv::WrittenSize(options_.plan, series);
  if (written_ != size_) {
    PrintNote(fmt::format("the pictures of {}x{} are written as {}x{}: H.264 has even sides",
                          size_.width, size_.height, written_.width, written_.height));
  }
  TellOfSound(options_, sound_);
  std::unique_ptr<kiv::Writer> writer;
  if (const auto error = kiv::OpenWriter(options_.plan, series, &cancelled_, &writer)) {
    ThrowIfInterrupted();
    FailRun("{}", *error);
  }
  queue_ = std::make_unique<WriterQueue>(std::move(writer), &cancelled_);
}

void RenderRun::Write(const KivComPtr<IKivFrame>& frame) {
  const KivSize size = SizeOf(*frame);
  if (size != size_) {
    FailRun("a frame of {}x{} came after frames of {}x{}", size.width, size.height, size_.width,
            size_.height);
  }
  if (!queue_) return;
  queue_->Push(clip_.FramesStay() ? Straight(frame) : CopyOf(*frame));
}

void RenderRun::Finish() {
  if (queue_) queue_->Finish();
  wallSeconds_ = SecondsSince(start_);
  if (const int64_t unread = clip_.LostPictures(); unread > 0) {
    PrintNote(
        fmt::format("warning: {} of the pictures of '{}' could not be decoded and were "
                    "replaced",
                    unread, options_.input));
  }
}

std::vector<NodeSeconds> SecondsOf(const std::vector<int32_t>& nodes) {
  std::vector<NodeSeconds> seconds;
  seconds.reserve(nodes.size());
  for (const int32_t type : nodes) {
    seconds.push_back({NameOf(NodeType{type}), static_cast<double>(KivNodeTime(type)) * 1e-9});
  }
  return seconds;
}

RenderReport RenderRun::Report() const {
  RenderReport report;
  report.frames = range_.end - range_.start + 1;
  report.size = written_;
  report.frameRate = clip_.Result().frameRate;
  report.inBetweenFrames = NameOf(clip_.InBetweenFrames());
  report.wallSeconds = wallSeconds_;
  report.nodes = SecondsOf(clip_.Nodes());
  report.decoderSeconds = clip_.Decoder().Seconds();
  report.pullSeconds = pullSeconds_;
  report.writeSeconds = queue_ ? queue_->SecondsWriting() : 0;
  report.soundStreams = sound_.fit.streams;
  report.soundCopied = sound_.fit.fitting;
  report.soundLeftOut = sound_.leftOut;
  report.unreadPictures = clip_.LostPictures();
  report.decoder = clip_.DecoderStats();
  return report;
}

void RunOver(const Options& options, KivRange (*resolve)(const Options&, int32_t)) {
  CheckFiles(options);
  if (!options.report.empty()) KivMeasureNodes();
  RenderRun run(options, resolve);
  run.TheClip().Stabilize(options.progress);
  run.Run();
  if (!options.report.empty()) WriteTextFile(options.report, ReportText(run.Report()));
  if (!options.chain.saveSettings.empty()) run.TheClip().SaveSettings(options.chain.saveSettings);
}

}  // namespace

void RunRender(const Options& options) {
  RunOver(options, [](const Options& wanted, int32_t frameCount) {
    return ResolveFrames(wanted.frames, "--frames", frameCount);
  });
}

void RunFrame(const Options& options) {
  RunOver(options, [](const Options& wanted, int32_t frameCount) {
    return ResolveFrames({wanted.at, wanted.at}, "--at", frameCount);
  });
}

}  // namespace host
