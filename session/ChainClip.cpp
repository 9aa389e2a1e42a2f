#include "session/ChainClip.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "engine/picture/Frame.h"
#include "kiv/base/FrameTime.h"
#include "kiv/chain/CommandIds.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/values/Saturate.h"
#include "session/Alpha.h"
#include "session/ComponentLoader.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/Memory.h"
#include "session/NodeNames.h"
#include "session/OptionChecks.h"
#include "session/Proxy.h"
#include "session/Settings.h"

namespace kiv::session {
namespace {

constexpr int64_t kShortestFrame = 10'000;  // of files that count in milliseconds
constexpr int32_t kLongestProxyPath = 1024;

std::wstring Wide(const std::string& text) { return KivCommon::Char2WChar(text.c_str()); }

KivPropDecorator SettingsOf(const ClipOptions& options) {
  KivPropDecorator settings =
      options.settings.empty() ? KivCommon::CreateProperties() : ReadSettings(options.settings);
  if (!settings) Fail(ErrorCode::kNoMemory, "no memory for the settings");
  return settings;
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

PreparedClip Prepare(const std::string& path, const ClipOptions& options,
                     KivPropDecorator measured) {
  CheckValues(options);
  PreparedClip clip;
  clip.path = path;
  clip.input = OpenInput(path, "the input", options.onNote, options.onOpening);
  clip.isMeasured = static_cast<bool>(measured);
  clip.settings = measured ? std::move(measured) : SettingsOf(options);
  clip.isPreset = StoreAlpha(options, clip.settings.Get());
  return clip;
}

ChainClip::ChainClip(PreparedClip prepared, const ClipOptions& options, const ResultShape* canvas)
    : path_(std::move(prepared.path)),
      input_(std::move(prepared.input)),
      decoder_(MeteredDecoder::Make(input_.decoder)),
      kept_(options.kept),
      isMeasured_(prepared.isMeasured),
      settings_(std::move(prepared.settings)),
      isPreset_(prepared.isPreset),
      shown_(input_.info),
      stabilization_(StabilizationOf(options, settings_.Get())) {
  PlanPlayback(options, canvas);
  lastBeforeHeld_ = LastBeforeHeld(result_.rated.end - result_.rated.start + 1, playback_);
  inBetween_ = SetUpInterpolation(options, playback_.speed);
  if (!options.proxy.empty()) CheckFile(options.proxy, "the proxy");
  if (options.memory) SetPictureMemory(*options.memory);
  nodes_ = NodesFor(options, playback_, {isPreset_, stabilization_.isOn});
  if (options.chain.empty() && Crop::IsWanted(options, settings_.Get())) {
    nodes_.push_back(static_cast<int32_t>(NodeType::kCrop));
  }
  BuildChain(nodes_);
  LoadSettings(options);
  SetUpSource(options);
  SetUpRender();
  SetUpNodes(options);
  crop_.SetUp(options, settings_.Get(), process_, *render_.Get());
  if (FillsWithImage(settings_.Get())) fill_ = PreparedImage(*process_.Get());
}

void ChainClip::PlanPlayback(const ClipOptions& options, const ResultShape* canvas) {
  ClipOptions wanted = options;
  if (canvas && !SameValue(canvas->frameRate, SourceRate(input_.info))) {
    wanted.frameRate = FromKiv(canvas->frameRate);
  }
  if (isPreset_) {
    KivStreamInfo endless = input_.info;
    endless.frameCount = KivCommon::Const::FRAMEINDEX_MAX - 1;
    const Playback how = PlaybackOf(wanted, settings_.Get(), endless);
    int32_t frames = canvas ? canvas->frameCount : 0;
    if (options.alpha.length) {
      const double count = *options.alpha.length * how.frameRate.ToDouble() + 0.5;
      frames = std::max(kiv::SaturateToInt32(count), 1);
      if (canvas) frames = std::min(frames, canvas->frameCount);
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
FrameTimes ChainClip::TimesOfFrames() const {
  if (isPreset_) {
    return [rate = SourceRate(input_.info)](int32_t frame) { return FrameStart(frame, rate); };
  }
  return [this](int32_t frame) {
    int64_t time = 0;
    decoder_->TimeOf(std::clamp(frame, 0, shown_.frameCount - 1), &time, nullptr);
    return time;
  };
}

bool ChainClip::HasAlpha() const { return isPreset_ || Info().hasAlpha != 0; }

void ChainClip::BuildChain(const std::vector<int32_t>& nodes) {
  process_ = ComponentLoader::ByClassId().CreateProcess();
  render_ = process_.As<IKivRenderEx>();
  if (!render_) FailRun("the component has no render interface");
  process_->BuildChain(nodes.data(), static_cast<int32_t>(nodes.size()));
  framesStay_ = LeavesFramesAlone(nodes);
}

void ChainClip::LoadSettings(const ClipOptions& options) {
  StorePlayback(playback_, settings_.Get());
  if (options.stabilize) StoreStabilization(stabilization_, settings_.Get());
  durationIsSupplied_ = SupplyDuration(input_.info, settings_.Get());
  const bool isStored = !options.settings.empty() || isPreset_ || isMeasured_;
  if (isStored) process_->LoadSettings(settings_.Get());
  SetUpProxy(options);
}

void ChainClip::SetUpProxy(const ClipOptions& options) {
  if (!options.proxy.empty()) {
    process_->SetProxyPath(Wide(options.proxy).c_str());
    process_->SetProxyEnabled(1);
  }
  if (options.noProxy) process_->SetProxyEnabled(0);
  std::array<wchar_t, kLongestProxyPath> path{};
  int32_t enabled = 0;
  process_->GetProxyEnabled(&enabled);
  process_->GetProxyPath(path.data(), kLongestProxyPath);
  if (enabled != 0 && path[0] != L'\0') TellOfProxy(path.data(), input_.info, options.onNote);
}

void ChainClip::SetUpSource(const ClipOptions& options) {
  IUnknown* const decoder = static_cast<IKivMediaDecoder*>(decoder_.Get());
  const KivRational sourceRate = SourceRate(input_.info);
  process_->SetSourceFrameRate(&sourceRate);
  process_->SetRenderFrameRate(&result_.frameRate);
  if (options.decodeScale) {
    const KivRational scale = ToKiv(*options.decodeScale);
    process_->SetDecodeScale(&scale);
  }
  process_->SetDecoder(decoder);
  if (options.size) {
    const KivSize size = ToKiv(*options.size);
    process_->SetOutputSize(&size);
  }
}

void ChainClip::SetUpRender() {
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
void ChainClip::SetUpNodes(const ClipOptions& options) {
  KivComPtr<IKivFrame> none;
  render_->GetLastFrame(&none);
  KivComPtr<IKivSourceBase> tail;
  process_->GetTailNode(&tail);
  const InitialBags bags = MakeInitialBags(playback_, result_, shown_, settings_.Get());
  if (isPreset_) bags.facts->SetRange(KivKey::Render::kRender_RangeFrameNumber, &renderRange_);
  bags.facts->SetInt(KivKey::Speed::kReverse_FrameCacheCount, CacheSpanFor(wholeSize_));
  bags.settings->SetInt(KivKey::Speed::kInterpolation_Enabled,
                        options.interpolation == Interpolation::kOff ? 0 : 1);
  if (stabilization_.isOn) {
    DescribeSource(path_, input_.info, bags.settings.Get(), bags.facts.Get());
  }
  const HRESULT hr = tail->Initialize(bags.settings.Reference(), bags.facts.Reference());
  if (Failed(hr)) {
    FailRun("the chain cannot be initialized: result {:08x}", static_cast<uint32_t>(hr));
  }
  process_->SetCacheRange(&playback_.used);
}

void ChainClip::Stabilize(const ProgressFunction& progress) {
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

KivPropDecorator ChainClip::MotionData() {
  if (!stabilization_.isOn) return {};
  CollectSettings();
  return settings_;
}

// Nodes rewrite a frame's time, not its number, which is where the source stood: before the first or
// beyond the last frame, where it shows these. Generated frames have no number.
int64_t ChainClip::SourceTimeOf(IKivFrame& frame, int32_t number) const {
  int64_t time = 0;
  frame.GetTime(&time, nullptr);
  const auto numbered = KivComPtr<IKivFrame>(&frame).As<IKivVideoFrame>();
  if (!numbered) return time;
  const int32_t index = numbered->GetFrameIndex();
  if (IsStretched()) {
    decoder_->TimeOf(index, &time, nullptr);
    return time;
  }
  if (inBetween_ == InBetween::kGenerated && index < 0) {
    return TimeInBetween(PlaceOf(number));
  }
  decoder_->TimeOf(std::clamp(index, 0, shown_.frameCount - 1), &time, nullptr);
  return time;
}

// The speed node makes every frame anew, those too that are one of the clip's.
int32_t ChainClip::SourceFrameOf(IKivFrame& frame, int32_t number) const {
  const auto numbered = KivComPtr<IKivFrame>(&frame).As<IKivVideoFrame>();
  if (!numbered) return -1;
  int32_t index = numbered->GetFrameIndex();
  if (inBetween_ == InBetween::kGenerated && index < 0) {
    const InBetweenPlace place = PlaceOf(number);
    const bool isNewer = place.part >= 1;
    if (place.part > 0 && !isNewer) return -1;
    index = FrameGiven(kiv::ClampToInt32(int64_t{place.older} + (isNewer ? 1 : 0)));
  }
  return std::clamp(index, 0, input_.info.frameCount - 1);
}

InBetweenPlace ChainClip::PlaceOf(int32_t number) const {
  return PlaceInBetween(std::min(number, lastBeforeHeld_), playback_.speed);
}

int64_t ChainClip::TimeInBetween(const InBetweenPlace& place) const {
  const FrameTimes timeOf = TimesOfFrames();
  const int64_t older = timeOf(FrameGiven(place.older));
  const int64_t newer = timeOf(FrameGiven(kiv::ClampToInt32(int64_t{place.older} + 1)));
  return older + kiv::SaturateToInt64(place.part * static_cast<double>(newer - older));
}

int32_t ChainClip::FrameGiven(int32_t given) const {
  return FrameRated(playback_.reverse ? result_.rated.end - given : given);
}

int32_t ChainClip::FrameRated(int32_t number) const {
  if (!playback_.rated) return number;
  const FrameTimes timeOf = TimesOfFrames();
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
  return first;
}

std::vector<int64_t> ChainClip::TimesOf(KivRange range) const {
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

void ChainClip::Seek(int32_t frame) {
  position_ = frame;
  const PreRoll way = PreRollTo(std::min(frame, lastBeforeHeld_), playback_, shown_);
  HRESULT hr = render_->Seek(way.from, nullptr, static_cast<int32_t>(KivSeekMode::kReadOnward));
  for (const int32_t steps : {way.there, way.back}) {
    if (Succeeded(hr) && steps != 0) hr = render_->Skip(steps, nullptr);
  }
  if (Failed(hr)) {
    FailRun("cannot go to frame {}: result {:08x}", frame, static_cast<uint32_t>(hr));
  }
}

void ChainClip::Step(int32_t count) {
  const int32_t before = std::min(position_, lastBeforeHeld_);
  position_ += count;
  const int32_t steps = std::min(position_, lastBeforeHeld_) - before;
  const HRESULT hr = steps == 0 ? S_OK : render_->Skip(steps, nullptr);
  if (Failed(hr)) FailRun("cannot go on by {}: result {:08x}", count, static_cast<uint32_t>(hr));
}

KivComPtr<IKivFrame> ChainClip::Pull() {
  KivComPtr<IKivFrame> frame;
  const HRESULT hr = IsHeld() ? PullHeld(&frame) : render_->GetFrame(&frame);
  if (Failed(hr) || !frame) {
    FailRun("frame {} could not be made: result {:08x}", render_->GetPosition(),
            static_cast<uint32_t>(hr));
  }
  return crop_.Cut(frame);
}

// What the speed node generates there lies between the frame that is held and the one before it. Where
// it has given way to the next already, that node stands on the one held, and shows it at normal speed.
HRESULT ChainClip::PullHeld(KivComPtr<IKivFrame>* frame) {
  const bool isShown = inBetween_ != InBetween::kGenerated || lastBeforeHeld_ == 0;
  if (isShown) return render_->GetFrame(frame);
  HRESULT hr = SetSpeed({1, 1});
  if (Succeeded(hr)) hr = render_->GetFrame(frame);
  const HRESULT restored = SetSpeed(playback_.speed);
  return Failed(hr) ? hr : restored;
}

HRESULT ChainClip::SetSpeed(const KivRational& speed) {
  SpeedSettings settings;
  process_->GetSpeedSettings(&settings);
  settings.scaleNumerator = speed.numerator;
  settings.scaleDenominator = speed.denominator;
  settings.reverse = playback_.reverse ? 1 : 0;
  settings.reverseStart = 0;
  settings.reverseEnd = result_.rated.end;
  return process_->SetSpeedSettings(&settings);
}

void ChainClip::RequirePictures() const {
  if (decoder_->ReadNothing()) {
    Fail(ErrorCode::kDamaged, "no picture of '{}' could be decoded", path_);
  }
}

KivRational ChainClip::SampleAspect(KivSize size) const {
  return OutputSampleAspect(Info(), crop_.IsOn() ? wholeSize_ : size);
}

// A duration that nobody gave is not kept.
IKivProperties* ChainClip::CollectSettings() {
  process_->SaveSettings(settings_.Get());
  if (durationIsSupplied_) RemoveDuration(settings_.Get());
  StoreTexts(kept_, settings_.Get());
  return settings_.Get();
}

void ChainClip::SaveSettings(const std::string& path) { WriteSettings(CollectSettings(), path); }

}  // namespace kiv::session
