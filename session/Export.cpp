#include "session/Export.h"

#include <utility>

#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/NodeTimes.h"
#include "session/Convert.h"
#include "session/ExportRun.h"
#include "session/Fail.h"
#include "session/FrameSpans.h"
#include "session/Frames.h"
#include "session/NodeNames.h"
#include "session/Notes.h"

namespace kiv::session {
namespace {

double SecondsSince(ExportRun::Clock::time_point start) {
  return std::chrono::duration<double>(ExportRun::Clock::now() - start).count();
}

}  // namespace

ExportRun::ExportRun(Composite& clip, const ExportPlan& plan, const NoteFunction& onNote,
                     const ProgressFunction& progress, Clock::time_point opened)
    : opened_(opened),
      clip_(clip),
      plan_(PlanOf(plan)),
      onNote_(onNote),
      progress_(progress),
      range_(ResolveFrames(plan.frames, plan.framesOption, clip.Result().frameCount)),
      sound_(SoundFor(plan_, clip, range_)) {}

void ExportRun::Tick() const {
  session::Report(progress_, {Stage::kRender, done_, range_.end - range_.start + 1});
}

void ExportRun::Run() {
  Tick();
  for (int32_t number = range_.start; number <= range_.end; ++number) {
    const auto frame = PullNext(number);
    if (number == range_.start) OpenOutput(*frame);
    Write(frame);
    ++done_;
    Tick();
  }
  clip_.RequirePictures();
  Finish();
}

KivComPtr<IKivFrame> ExportRun::PullNext(int32_t number) {
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

void ExportRun::OpenOutput(IKivFrame& first) {
  size_ = written_ = SizeOf(first);
  if (plan_.kind == kiv::OutputKind::kDiscard) return;
  const kiv::PictureSeries series{
      size_,       clip_.Result().frameRate, clip_.SampleAspect(size_), range_.start,
      sound_.file, clip_.HasAlpha(),         clip_.TimesOf(range_)};
  written_ = kiv::WrittenSize(plan_, series);
  if (written_ != size_) {
    Tell(onNote_, "the pictures of {}x{} are written as {}x{}: {} has even sides", size_.width,
         size_.height, written_.width, written_.height,
         plan_.codec == kiv::OutputCodec::kHevc ? "HEVC" : "H.264");
  }
  TellOfSound(plan_, sound_, onNote_);
  std::unique_ptr<kiv::Writer> writer;
  if (const auto error = kiv::OpenWriter(plan_, series, &cancelled_, &writer)) {
    Tick();
    Fail(ErrorCode::kWriteFailed, "{}", *error);
  }
  queue_ = std::make_unique<WriterQueue>(std::move(writer), &cancelled_, [this] { Tick(); });
}

void ExportRun::Write(const KivComPtr<IKivFrame>& frame) {
  const KivSize size = SizeOf(*frame);
  if (size != size_) {
    FailRun("a frame of {}x{} came after frames of {}x{}", size.width, size.height, size_.width,
            size_.height);
  }
  if (!queue_) return;
  queue_->Push(clip_.FramesStay() ? Straight(frame) : CopyOf(*frame));
}

void ExportRun::Finish() {
  if (queue_) queue_->Finish();
  wallSeconds_ = SecondsSince(opened_);
  if (const int64_t lost = clip_.Main().LostPictures(); lost > 0) {
    Tell(onNote_, "warning: {} of the pictures of '{}' could not be decoded and were replaced",
         lost, clip_.Main().Path());
  }
}

ExportReport ExportRun::Report() const {
  const ChainClip& main = clip_.Main();
  const KivDecoderStats decoder = main.DecoderStats();
  ExportReport report;
  report.frames = range_.end - range_.start + 1;
  report.size = FromKiv(written_);
  report.frameRate = FromKiv(clip_.Result().frameRate);
  report.inBetweenFrames = NameOf(main.InBetweenFrames());
  report.wallSeconds = wallSeconds_;
  for (const int32_t type : main.Nodes()) {
    report.nodeSeconds.emplace_back(NameOf(NodeType{type}),
                                    static_cast<double>(KivNodeTime(type)) * 1e-9);
  }
  report.decoderSeconds = main.Decoder().Seconds();
  report.pullSeconds = pullSeconds_;
  report.writeSeconds = queue_ ? queue_->SecondsWriting() : 0;
  report.picturesDecoded = decoder.picturesDecoded;
  report.picturesConverted = decoder.picturesConverted;
  report.picturesLost = main.LostPictures();
  report.picturesPassedOver = decoder.picturesPassedOver;
  report.picturesFromMemory = decoder.picturesFromMemory;
  report.seeks = decoder.seeks;
  report.cacheBytesNow = decoder.cacheBytesNow;
  report.cacheBytesAtMost = decoder.cacheBytesAtMost;
  report.soundStreams = sound_.fit.streams;
  report.soundCopied = sound_.fit.fitting;
  report.soundLeftOut = sound_.leftOut;
  return report;
}

kiv::OutputPlan PlanOf(const ExportPlan& plan) {
  const kiv::OutputRequest request{plan.output, plan.format, plan.codec,
                                   plan.quality.value_or(kiv::kQualityUnset)};
  kiv::OutputPlan result;
  if (const auto error = kiv::PlanOutput(request, &result)) FailUsage("{}", *error);
  return result;
}

OutputForm FormOf(const ExportPlan& plan) {
  switch (PlanOf(plan).kind) {
    case kiv::OutputKind::kDiscard:
      return OutputForm::kNothing;
    case kiv::OutputKind::kEncoded:
      return OutputForm::kVideo;
    case kiv::OutputKind::kPicture:
      return OutputForm::kPicture;
    case kiv::OutputKind::kPictures:
      return OutputForm::kPictures;
    case kiv::OutputKind::kYuv4Mpeg:
    case kiv::OutputKind::kRawBgra:
      return OutputForm::kStream;
  }
  return OutputForm::kNothing;
}

bool MayBePicture(const std::string& pattern, const std::string& name) {
  return kiv::MayBePicture(pattern, name);
}

}  // namespace kiv::session
