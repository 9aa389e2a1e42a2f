#include "host/Clip.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <numeric>
#include <system_error>

#include "engine/common/Frame.h"
#include "host/Alpha.h"
#include "host/ComponentLoader.h"
#include "host/HostError.h"
#include "host/Interrupt.h"
#include "host/KeptOptions.h"
#include "host/Memory.h"
#include "host/Messages.h"
#include "host/OpeningProgress.h"
#include "host/Proxy.h"
#include "host/Settings.h"
#include "kiv/chain/CommandIds.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/values/Saturate.h"
#include "kiv/values/SpeedNumbers.h"

namespace host {
namespace {

constexpr int64_t kShortestFrame = 10'000;  // of files that count in milliseconds
constexpr double kTicksPerSecond = 1e7;
constexpr int32_t kLongestProxyPath = 1024;
constexpr std::chrono::milliseconds kOpeningPatience{1000};

std::wstring Wide(const std::string& text) { return KivCommon::Char2WChar(text.c_str()); }

KivComPtr<IKivMediaSource> OpenSource(const std::string& path, const char* what) {
  const auto factory = KivCommon::GetFactory(nullptr);
  if (!factory) FailRun("cannot open {} '{}': there is no media factory", what, path);
  KivComPtr<IKivMediaSource> source;
  const KivPropDecorator options = KivCommon::CreateProperties();
  if (!options) FailRun("no memory for opening {} '{}'", what, path);
  const auto progress =
      KivComPtr<OpeningProgress>::Adopt(new OpeningProgress(path, kOpeningPatience));
  options->SetObject(kOpenProgressOption, progress.Get());
  const HRESULT hr = factory->OpenMediaFile(source.Put(), Wide(path).c_str(), options.Get());
  progress->Finish();
  ThrowIfInterrupted();
  if (Failed(hr) || !source) {
    const char* const why = hr == E_UNSUPPORTED ? "it has no video that can be decoded"
                                                : "it is damaged or no media file";
    FailRun("cannot open {} '{}': {} (result {:08x})", what, path, why, static_cast<uint32_t>(hr));
  }
  return source;
}

KivPropDecorator SettingsOf(const ChainOptions& options) {
  KivPropDecorator settings =
      options.settings.empty() ? KivCommon::CreateProperties() : ReadSettings(options.settings);
  if (!settings) FailRun("no memory for the settings");
  return settings;
}

KivRational Reduced(int64_t numerator, int64_t denominator) {
  const int64_t divisor = std::gcd(numerator, denominator);
  return {numerator / divisor, denominator / divisor};
}

// The source makes a frame for each call; these nodes pass it on, others may use one again.
bool LeavesFramesAlone(const std::vector<int32_t>& nodes) {
  return std::all_of(nodes.begin(), nodes.end(), [](int32_t node) {
    return node == static_cast<int32_t>(NodeType::kSource) ||
           node == static_cast<int32_t>(NodeType::kFrameRate) ||
           node == static_cast<int32_t>(NodeType::kCrop);
  });
}

}  // namespace

void CheckFile(const std::string& path, const char* what) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    FailRun("cannot open {} '{}': {}", what, path, std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    FailRun("cannot open {} '{}': it is not a regular file", what, path);
  }
  if (status.st_size == 0) FailRun("cannot open {} '{}': the file is empty", what, path);
  if (KivCommon::WChar2Char(Wide(path).c_str()) != path) {
    FailRun("cannot open {} '{}': its name is not valid UTF-8", what, path);
  }
}

OpenedInput OpenInput(const std::string& path, const char* what) {
  CheckFile(path, what);
  const auto source = OpenSource(path, what);
  OpenedInput input;
  const HRESULT hr = source->GetVideoStream(0, input.decoder.Put());
  if (Failed(hr) || !input.decoder) {
    FailRun("cannot open {} '{}': it has no video stream that can be decoded", what, path);
  }
  input.streamInfo = input.decoder.As<IKivStreamInfo>();
  if (!input.streamInfo || Failed(input.streamInfo->GetInfo(&input.info))) {
    FailRun("cannot open {} '{}': its video stream cannot be described", what, path);
  }
  if (input.info.frameCount < 1 || input.info.size.width < 1 || input.info.size.height < 1) {
    FailRun("cannot open {} '{}': its video stream has no pictures", what, path);
  }
  if (const int32_t missing = input.info.picturesBeyondEnd; missing > 0) {
    PrintNote(fmt::format("warning: '{}' is cut off: {} of its pictures reach beyond its end", path,
                          missing));
  }
  return input;
}

KivRational OutputSampleAspect(const KivStreamInfo& info, KivSize size) {
  const KivRational& aspect = info.sampleAspect;
  if (aspect.numerator <= 0 || aspect.denominator <= 0) return {1, 1};
  const int64_t across = int64_t{info.size.width} * size.height;
  const int64_t along = int64_t{info.size.height} * size.width;
  // Within the rounding of a scaled side the shape is the same.
  if (std::llabs(across - along) <= std::max(info.size.width, info.size.height)) return aspect;
  const KivRational shape = Reduced(across, along);
  return Reduced(aspect.numerator * shape.numerator, aspect.denominator * shape.denominator);
}

Clip::Clip(const std::string& input, const ChainOptions& options, KivPropDecorator measured)
    : path_(input),
      input_(OpenInput(input)),
      decoder_(MeteredDecoder::Make(input_.decoder)),
      kept_(options.kept),
      isMeasured_(static_cast<bool>(measured)),
      settings_(measured ? std::move(measured) : SettingsOf(options)),
      isPreset_(StoreAlpha(options, settings_.Get())),
      shown_(input_.info),
      stabilization_(StabilizationOf(options, settings_.Get())) {
  OpenFootage(options);
  PlanPlayback(options);
  lastBeforeHeld_ = LastBeforeHeld(result_.rated.end - result_.rated.start + 1, playback_);
  inBetween_ = SetUpInterpolation(options.interpolation, playback_.speed);
  if (!options.proxy.empty()) CheckFile(options.proxy, "the proxy");
  if (options.memory) SetPictureMemory(*options.memory);
  nodes_ = NodesFor(options, playback_, {isPreset_, stabilization_.isOn});
  if (options.nodes.empty() && Crop::IsWanted(options, settings_.Get())) {
    nodes_.push_back(static_cast<int32_t>(NodeType::kCrop));
  }
  BuildChain(nodes_);
  LoadSettings(options);
  SetUpSource(options);
  SetUpRender();
  SetUpNodes();
  crop_.SetUp(options, settings_.Get(), process_, *render_.Get());
  if (FillsWithImage(settings_.Get())) overlay_.SetFill(PreparedImage(*process_.Get()));
}

void Clip::OpenFootage(const ChainOptions& options) {
  if (!isPreset_ || options.alpha.over.empty()) return;
  ChainOptions plain;
  plain.frameRate = options.frameRate;
  overlay_.SetFootage(std::make_unique<Clip>(options.alpha.over, plain));
}

void Clip::PlanPlayback(const ChainOptions& options) {
  ChainOptions wanted = options;
  const Clip* const footage = Footage();
  if (footage && !SameValue(footage->Result().frameRate, SourceRate(input_.info))) {
    wanted.frameRate = footage->Result().frameRate;
  }
  if (isPreset_) {
    KivStreamInfo endless = input_.info;
    endless.frameCount = KivCommon::Const::FRAMEINDEX_MAX - 1;
    const Playback how = PlaybackOf(wanted, settings_.Get(), endless);
    int32_t frames = footage ? footage->Result().frameCount : 0;
    if (options.alpha.length) {
      const double count = *options.alpha.length * how.frameRate.ToDouble() + 0.5;
      frames = std::max(kiv::SaturateToInt32(count), 1);
      if (footage) frames = std::min(frames, footage->Result().frameCount);
    }
    const AlphaLength length = LengthFor(frames, how, input_.info);
    shown_.frameCount = length.clipFrames;
    renderRange_ = length.renderRange;
    playback_ = PlaybackOf(wanted, settings_.Get(), shown_);
    result_ = ResultOf(playback_, shown_, TimesOfFrames());
    if (frames > 0) result_.frameCount = std::min(result_.frameCount, frames);
    return;
  }
  playback_ = PlaybackOf(wanted, settings_.Get(), shown_);
  result_ = ResultOf(playback_, shown_, TimesOfFrames());
}

// An alpha preset counts frames of the clip's rate, whatever the times of its own.
FrameTimes Clip::TimesOfFrames() const {
  if (isPreset_) {
    return [rate = SourceRate(input_.info).ToDouble()](int32_t frame) {
      return kiv::SaturateToInt64(frame * kTicksPerSecond / rate);
    };
  }
  return [this](int32_t frame) {
    int64_t time = 0;
    decoder_->TimeOf(std::clamp(frame, 0, shown_.frameCount - 1), &time, nullptr);
    return time;
  };
}

bool Clip::HasAlpha() const {
  if (Footage()) return Footage()->HasAlpha();
  return isPreset_ || Info().hasAlpha != 0;
}

void Clip::BuildChain(const std::vector<int32_t>& nodes) {
  process_ = ComponentLoader::ByClassId().CreateProcess();
  render_ = process_.As<IKivRenderEx>();
  if (!render_) FailRun("the component has no render interface");
  process_->BuildChain(nodes.data(), static_cast<int32_t>(nodes.size()));
  framesStay_ = LeavesFramesAlone(nodes);
}

void Clip::LoadSettings(const ChainOptions& options) {
  StorePlayback(playback_, settings_.Get());
  if (options.stabilize) StoreStabilization(stabilization_, settings_.Get());
  durationIsSupplied_ = SupplyDuration(input_.info, settings_.Get());
  const bool isStored = !options.settings.empty() || isPreset_ || isMeasured_;
  if (isStored) process_->LoadSettings(settings_.Get());
  SetUpProxy(options);
}

void Clip::SetUpProxy(const ChainOptions& options) {
  if (!options.proxy.empty()) {
    process_->SetProxyPath(Wide(options.proxy).c_str());
    process_->SetProxyEnabled(1);
  }
  if (options.noProxy) process_->SetProxyEnabled(0);
  std::array<wchar_t, kLongestProxyPath> path{};
  int32_t enabled = 0;
  process_->GetProxyEnabled(&enabled);
  process_->GetProxyPath(path.data(), kLongestProxyPath);
  if (enabled != 0 && path[0] != L'\0') TellOfProxy(path.data(), input_.info);
}

void Clip::SetUpSource(const ChainOptions& options) {
  IUnknown* const decoder = static_cast<IKivMediaDecoder*>(decoder_.Get());
  const KivRational sourceRate = SourceRate(input_.info);
  process_->SetSourceFrameRate(&sourceRate);
  process_->SetRenderFrameRate(&result_.frameRate);
  if (options.decodeScale) process_->SetDecodeScale(&*options.decodeScale);
  process_->SetDecoder(decoder);
  if (options.size) process_->SetOutputSize(&*options.size);
}

void Clip::SetUpRender() {
  const auto settings = render_.As<IKivRenderSettings>();
  if (!settings) FailRun("the component has no render settings");
  KivSize size = input_.info.size;
  process_->GetScaledSize(&size);
  if (size.width < 1 || size.height < 1) {
    FailUsage("the decode scale leaves no picture: {}x{} pixels", size.width, size.height);
  }
  if (!kiv::IsPictureSize(size.width, size.height)) {
    FailUsage("the decode scale makes too large a picture: {}x{} pixels", size.width, size.height);
  }
  settings->SetRenderFrameRate(&result_.frameRate);
  settings->SetRenderSize(&size);
  wholeSize_ = size;
}

// The render initializes the chain at its first operation, without knowing the stream. What the
// stream is has to come after that.
void Clip::SetUpNodes() {
  KivComPtr<IKivFrame> none;
  render_->GetLastFrame(&none);
  KivComPtr<IKivSourceBase> tail;
  process_->GetTailNode(&tail);
  const InitialBags bags = MakeInitialBags(playback_, result_, shown_, settings_.Get());
  if (isPreset_) bags.facts->SetRange(KivKey::Render::kRender_RangeFrameNumber, &renderRange_);
  bags.facts->SetInt(KivKey::Speed::kReverse_FrameCacheCount, CacheSpanFor(wholeSize_));
  if (stabilization_.isOn) {
    DescribeSource(path_, input_.info, bags.settings.Get(), bags.facts.Get());
  }
  const HRESULT hr = tail->Initialize(bags.settings.Reference(), bags.facts.Reference());
  if (Failed(hr)) {
    FailRun("the chain cannot be initialized: result {:08x}", static_cast<uint32_t>(hr));
  }
  process_->SetCacheRange(&playback_.used);
}

void Clip::Stabilize(ProgressForm progress) {
  if (!stabilization_.isOn) return;
  KivComPtr<IKivStabExtendControl> control;
  process_->GetStabExtendControl(control.Put());
  if (!control) FailRun("the component cannot stabilize");
  analysed_ = Analyse(*control, path_, input_.info.frameCount, progress);
  // What was looked at before, for the crop's size, may still be kept as it was.
  KivComPtr<IKivSourceBase> tail;
  process_->GetTailNode(&tail);
  tail->Flush();
}

KivPropDecorator Clip::MotionData() {
  if (!stabilization_.isOn) return {};
  CollectSettings();
  return settings_;
}

// Nodes rewrite a frame's time, not its number, which is where the source stood: before the first or
// beyond the last frame, where it shows these. Generated frames have no number.
int64_t Clip::SourceTimeOf(IKivFrame& frame, int32_t number) const {
  int64_t time = 0;
  frame.GetTime(&time, nullptr);
  const auto numbered = KivComPtr<IKivFrame>(&frame).As<IKivVideoFrame>();
  if (!numbered) return time;
  const int32_t index = numbered->GetFrameIndex();
  if (IsStretched()) {
    decoder_->TimeOf(index, &time, nullptr);
    return time;
  }
  if (inBetween_ == InBetween::kGenerated && index < 0) return TimeInBetween(number);
  decoder_->TimeOf(std::clamp(index, 0, shown_.frameCount - 1), &time, nullptr);
  return time;
}

int64_t Clip::TimeInBetween(int32_t number) const {
  const InBetweenPlace place = PlaceInBetween(std::min(number, lastBeforeHeld_), playback_.speed);
  const auto timeOf = [this](int32_t given) {
    return TimeOfRated(playback_.reverse ? result_.rated.end - given : given);
  };
  const int64_t older = timeOf(place.older);
  const int64_t newer = timeOf(kiv::ClampToInt32(int64_t{place.older} + 1));
  return older + kiv::SaturateToInt64(place.part * static_cast<double>(newer - older));
}

int64_t Clip::TimeOfRated(int32_t number) const {
  const FrameTimes timeOf = TimesOfFrames();
  if (!playback_.rated) return timeOf(number);
  // The rate node shows the first frame that starts no earlier than half a frame of its own before.
  const int64_t earliest = kiv::EarliestStartFor(number, playback_.frameRate.ToDouble());
  int32_t first = 0;
  for (int32_t end = shown_.frameCount - 1; first < end;) {
    const int32_t middle = first + (end - first) / 2;
    if (timeOf(middle) < earliest) {
      first = middle + 1;
    } else {
      end = middle;
    }
  }
  return timeOf(first);
}

std::vector<int64_t> Clip::TimesOf(KivRange range) const {
  if (Footage()) return Footage()->TimesOf(range);
  if (isPreset_ || Info().constantRate != 0) return {};
  if (playback_.reverse || playback_.IsShifted() || playback_.rated) return {};
  std::vector<int64_t> times;
  const auto add = [&times](int64_t time) {
    times.push_back(times.empty() ? time : std::max(time, times.back() + kShortestFrame));
  };
  int64_t time = 0, duration = 0;
  for (int32_t frame = range.start; frame <= range.end; ++frame) {
    if (!decoder_->TimeOf(frame, &time, &duration)) return {};
    add(time);
  }
  add(time + duration);
  const int64_t first = times.front();
  for (int64_t& each : times) each -= first;
  return times;
}

void Clip::Seek(int32_t frame) {
  position_ = frame;
  const RollIn way = RollInTo(std::min(frame, lastBeforeHeld_), playback_, shown_);
  HRESULT hr = render_->Seek(way.from, nullptr, static_cast<int32_t>(KivSeekMode::kReadOnward));
  for (const int32_t steps : {way.there, way.back}) {
    if (Succeeded(hr) && steps != 0) hr = render_->Skip(steps, nullptr);
  }
  if (Failed(hr)) {
    FailRun("cannot go to frame {}: result {:08x}", frame, static_cast<uint32_t>(hr));
  }
  overlay_.Seek(frame);
}

void Clip::Step(int32_t count) {
  const int32_t before = std::min(position_, lastBeforeHeld_);
  position_ += count;
  const int32_t steps = std::min(position_, lastBeforeHeld_) - before;
  const HRESULT hr = steps == 0 ? S_OK : render_->Skip(steps, nullptr);
  if (Failed(hr)) FailRun("cannot go on by {}: result {:08x}", count, static_cast<uint32_t>(hr));
  overlay_.Step(count);
}

KivComPtr<IKivFrame> Clip::Pull() {
  KivComPtr<IKivFrame> frame;
  const HRESULT hr = IsHeld() ? PullHeld(&frame) : render_->GetFrame(&frame);
  if (Failed(hr) || !frame) {
    FailRun("frame {} could not be made: result {:08x}", render_->GetPosition(),
            static_cast<uint32_t>(hr));
  }
  return overlay_.Compose(crop_.Cut(frame));
}

// What the speed node generates there lies between the frame that is held and the one before it. Where
// it has given way to the next already, that node stands on the one held, and shows it at normal speed.
HRESULT Clip::PullHeld(KivComPtr<IKivFrame>* frame) {
  const bool isShown = inBetween_ != InBetween::kGenerated || lastBeforeHeld_ == 0;
  if (isShown) return render_->GetFrame(frame);
  HRESULT hr = SetSpeed({1, 1});
  if (Succeeded(hr)) hr = render_->GetFrame(frame);
  const HRESULT restored = SetSpeed(playback_.speed);
  return Failed(hr) ? hr : restored;
}

HRESULT Clip::SetSpeed(const KivRational& speed) {
  SpeedSettings settings;
  process_->GetSpeedSettings(&settings);
  settings.scaleNumerator = speed.numerator;
  settings.scaleDenominator = speed.denominator;
  settings.reverse = playback_.reverse ? 1 : 0;
  settings.reverseStart = 0;
  settings.reverseEnd = result_.rated.end;
  return process_->SetSpeedSettings(&settings);
}

void Clip::RequirePictures() const {
  if (decoder_->ReadNothing()) FailRun("no picture of '{}' could be decoded", path_);
  if (Footage()) Footage()->RequirePictures();
}

KivRational Clip::SampleAspect(KivSize size) const {
  if (Footage()) return Footage()->SampleAspect(size);
  return OutputSampleAspect(Info(), crop_.IsOn() ? wholeSize_ : size);
}

// A duration that nobody gave is not kept.
void Clip::CollectSettings() {
  process_->SaveSettings(settings_.Get());
  if (durationIsSupplied_) RemoveDuration(settings_.Get());
}

void Clip::SaveSettings(const std::string& path) {
  CollectSettings();
  StoreKeptOptions(kept_, settings_.Get());
  WriteSettings(settings_.Get(), path);
}

}  // namespace host
