#include "session/Clip.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/NodeTimes.h"
#include "session/CameraPathReader.h"
#include "session/Composite.h"
#include "session/Convert.h"
#include "session/ExportRun.h"
#include "session/Fail.h"
#include "session/FileChecks.h"
#include "session/FrameMaker.h"
#include "session/FrameSpans.h"
#include "session/Frames.h"

namespace kiv::session {
namespace {

constexpr int32_t kNowhere = -1;
// What lies so few frames ahead is stepped to; a seek may begin at a key frame far back.
constexpr int32_t kNearby = 16;

FilesInUse FilesOf(const std::string& path, const ClipOptions& options) {
  FilesInUse files;
  files.input = path;
  files.options = options;
  return files;
}

}  // namespace

struct Clip::Impl {
  explicit Impl(const std::string& path, const ClipOptions& options)
      : files(FilesOf(path, options)), composite(BuildClip(path, options)) {
    times = composite->TimesOf({0, composite->Result().frameCount - 1});
  }

  void EnsureAnalysed(const ProgressFunction& progress) {
    if (isAnalysed) return;
    composite->Main().Stabilize(progress);
    isAnalysed = true;
    position = kNowhere;
  }
  void GoTo(int32_t index);
  Frame Pull(int32_t index);

  const ExportRun::Clock::time_point opened = ExportRun::Clock::now();
  const FilesInUse files;
  std::unique_ptr<Composite> composite;
  std::optional<MediaInfo> info;  // once asked for: it takes a look at every frame
  std::vector<int64_t> times;     // of the result's frames and its end; empty: by its rate
  bool isAnalysed = false;
  int32_t position = kNowhere;
  Frame last;  // the one at the position
};

void Clip::Impl::GoTo(int32_t index) {
  const int32_t from = std::exchange(position, kNowhere);
  if (from != kNowhere && index > from && index - from <= kNearby) {
    for (int32_t i = from; i < index; ++i) composite->Advance();
  } else if (from != kNowhere && index == from - 1) {
    composite->Retreat();
  } else {
    composite->Seek(index);
  }
}

Frame Clip::Impl::Pull(int32_t index) {
  const auto pulled = composite->Pull();
  const ChainClip& main = composite->Main();
  FramePlace place{index, main.SourceFrameOf(*pulled, index), 0, main.SourceTimeOf(*pulled, index)};
  place.time = times.empty()
                   ? KivCommon::FrameNumberToPTS(index, composite->Result().frameRate.ToDouble())
                   : times[static_cast<size_t>(index)];
  last = FrameMaker::Make(composite->FramesStay() ? Straight(pulled) : CopyOf(*pulled), place);
  position = index;
  return last;
}

Clip::Clip(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Clip::Clip(Clip&&) noexcept = default;
Clip& Clip::operator=(Clip&&) noexcept = default;
Clip::~Clip() = default;

Clip Clip::Open(const std::string& path, const ClipOptions& options) {
  if (options.measureNodes) KivMeasureNodes();
  return Clip(std::make_unique<Impl>(path, options));
}

const MediaInfo& Clip::Info() const {
  if (!impl_->info) {
    const ChainClip& main = impl_->composite->Main();
    MediaInfo info = InfoOf(main.Info());
    info.keyFrames = KeyFramesOf(main.Stream(), info.frameCount);
    impl_->info = std::move(info);
  }
  return *impl_->info;
}

int32_t Clip::FrameCount() const { return impl_->composite->Result().frameCount; }

Rational Clip::FrameRate() const { return FromKiv(impl_->composite->Result().frameRate); }

Rational Clip::SampleAspect(Size size) const {
  return FromKiv(impl_->composite->SampleAspect(ToKiv(size)));
}

Frame Clip::At(int32_t index) {
  if (index < 0 || index >= FrameCount()) {
    Fail(ErrorCode::kOutOfRange, "there is no frame {}: the result has the frames 0 to {}", index,
         FrameCount() - 1);
  }
  impl_->EnsureAnalysed({});
  if (index == impl_->position) return impl_->last;
  impl_->GoTo(index);
  return impl_->Pull(index);
}

int64_t Clip::TimeOf(int32_t index) const {
  const auto& times = impl_->times;
  const int32_t shown = std::clamp(index, 0, FrameCount() - 1);
  if (times.empty()) return KivCommon::FrameNumberToPTS(shown, FrameRate().ToDouble());
  return times[static_cast<size_t>(shown)];
}

int32_t Clip::IndexAt(int64_t time) const {
  int32_t low = 0;
  for (int32_t high = FrameCount() - 1; low < high;) {
    const int32_t middle = low + (high - low + 1) / 2;
    if (TimeOf(middle) <= time) {
      low = middle;
    } else {
      high = middle - 1;
    }
  }
  return low;
}

FrameRange Clip::Frames() & { return Frames({}); }

FrameRange Clip::Frames(const FrameSpan& span, const char* what) & {
  const KivRange range = ResolveFrames(span, what, FrameCount());
  return {this, range.start, range.end + 1};
}

void Clip::Analyse(const ProgressFunction& progress) { impl_->EnsureAnalysed(progress); }

CameraPath Clip::Camera() {
  impl_->EnsureAnalysed({});
  ChainClip& main = impl_->composite->Main();
  return CameraPathOf(main.CollectSettings(), main.StabilizationLevel());
}

ExportReport Clip::Export(const ExportPlan& plan, const ProgressFunction& progress) {
  FilesInUse files = impl_->files;
  files.output = plan.output;
  files.form = FormOf(plan);
  CheckFiles(files);
  ExportRun run(*impl_->composite, plan, files.options.onNote, progress, impl_->opened);
  impl_->EnsureAnalysed(progress);
  impl_->position = kNowhere;
  run.Run();
  return run.Report();
}

ExportReport Clip::Export(const std::string& output, const ProgressFunction& progress) {
  ExportPlan plan;
  plan.output = output;
  return Export(plan, progress);
}

void Clip::RequirePictures() const { impl_->composite->RequirePictures(); }

void Clip::SaveSettings(const std::string& path) {
  FilesInUse files = impl_->files;
  files.saveSettings = path;
  CheckFiles(files);
  impl_->composite->Main().SaveSettings(path);
}

}  // namespace kiv::session
