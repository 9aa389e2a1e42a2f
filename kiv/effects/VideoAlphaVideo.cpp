#include "kiv/effects/VideoAlphaVideo.h"

#include <algorithm>
#include <string>
#include <utility>

#include "kiv/StreamCommon/MediaLocations.h"
#include "kiv/base/AtBoundary.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/values/Saturate.h"

namespace {

constexpr KivRational kDefaultRate{25, 1};
constexpr int32_t kReadOnward = static_cast<int32_t>(KivSeekMode::kReadOnward);
constexpr int32_t kGreenChannel = 1;
constexpr int32_t kAlphaChannel = 3;

// As it stands when it cannot be translated.
std::wstring Translated(const std::wstring& location) {
  const auto service = ObtainPathService();
  wchar_t path[AlphaVideoSettings::kPathCapacity] = {};
  constexpr auto kCapacity = static_cast<int32_t>(AlphaVideoSettings::kPathCapacity);
  if (!service || Failed(service->TranslateLocation(location.c_str(), path, kCapacity))) {
    return location;
  }
  return path;
}

}  // namespace

CVideoAlphaVideo::CVideoAlphaVideo(IUnknown* outer, NodeRef upstream)
    : CSourceBase(outer, std::move(upstream)) {}

AlphaVideoTiming CVideoAlphaVideo::Timing() const {
  return {sourceRate_,      renderRate_,       renderRange_,
          fields_.duration, fields_.pauseTime, fields_.loopCount};
}

int32_t CVideoAlphaVideo::GetPosition(int64_t* time) {
  if (fields_.preset == 0) return CSourceBase::GetPosition(time);
  if (time) *time = AlphaFrameTime(Timing(), timelineFrame_);
  return timelineFrame_;
}

HRESULT CVideoAlphaVideo::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  if (fields_.preset == 0) return CSourceBase::Seek(frame, reached, mode);
  const int32_t before = std::exchange(timelineFrame_, frame);
  const int32_t presetFrame = Mapped(frame);
  if (fields_.canChangeColour == 0 && isMaskReady_) {
    OpenFullHDSource();
    if (UsesMask()) mask_.Seek(AlphaFrameTime(Timing(), presetFrame), mode);
  }
  const HRESULT hr = CSourceBase::Seek(presetFrame, reached, mode);
  if (Failed(hr)) {
    timelineFrame_ = before;
  } else {
    isHeld_ = false;
  }
  return hr;
}

HRESULT CVideoAlphaVideo::Skip(int32_t count, int32_t* moved) {
  if (fields_.preset == 0) return CSourceBase::Skip(count, moved);
  const int32_t wanted = kiv::ClampToInt32(int64_t{timelineFrame_} + count);
  const HRESULT hr = SkipTo(Mapped(wanted), count, moved);
  if (Succeeded(hr)) timelineFrame_ = wanted;
  return hr;
}

HRESULT CVideoAlphaVideo::SkipTo(int32_t presetFrame, int32_t count, int32_t* moved) {
  const int32_t at = std::max(position_, 0);
  // The host has seen one picture for a while; a seek tells the source where to read onward.
  const bool inStep = !isHeld_ && presetFrame == kiv::ClampToInt32(int64_t{at} + count);
  if (inStep) return StepTo(presetFrame, count, moved);
  if (presetFrame == at) {
    isHeld_ = true;
    return S_OK;
  }
  const HRESULT hr = JumpTo(presetFrame);
  if (Succeeded(hr)) isHeld_ = false;
  return hr;
}

HRESULT CVideoAlphaVideo::StepTo(int32_t presetFrame, int32_t count, int32_t* moved) {
  if (UsesMask()) {
    const AlphaVideoTiming timing = Timing();
    mask_.Skip(count, moved, AlphaFrameTime(timing, presetFrame), AlphaFrameTime(timing, 1));
  }
  return CSourceBase::Skip(count, moved);
}

HRESULT CVideoAlphaVideo::JumpTo(int32_t presetFrame) {
  int32_t local = 0;
  const HRESULT hr = CSourceBase::Seek(presetFrame, &local, kReadOnward);
  if (UsesMask()) mask_.Seek(AlphaFrameTime(Timing(), presetFrame), kReadOnward);
  return hr;
}

HRESULT CVideoAlphaVideo::OpenFullHDSource() {
  HRESULT hr = mask_.Open(fields_.fullHdDataPath);
  if (hr == S_FALSE || Failed(hr)) return Failed(hr) ? hr : S_OK;
  const int32_t presetFrame = Mapped(timelineFrame_);
  int32_t local = 0;
  hr = CSourceBase::Seek(presetFrame, &local, kReadOnward);
  mask_.Seek(AlphaFrameTime(Timing(), presetFrame), kReadOnward);
  return hr;
}

KivComPtr<IKivFrame> CVideoAlphaVideo::GetCurrentFrame(int32_t* status) {
  KivComPtr<IKivFrame> frame = CSourceBase::GetCurrentFrame(status);
  if (fields_.preset == 0 || !KivCommon::ReadPixels(frame.Get())) return frame;
  return AtBoundaryOr(frame, [&] { return Compose(frame); });
}

KivComPtr<IKivFrame> CVideoAlphaVideo::Compose(const KivComPtr<IKivFrame>& frame) {
  const AlphaVideoTiming timing = Timing();
  pictures_.SetTime(AlphaFrameTime(timing, timelineFrame_), AlphaFrameTime(timing, 1));
  KivComPtr<IKivFrame> picture = frame;
  if (imageFill_ != 0) {
    pictures_.LoadFillImage(fields_.imagePath, frame);
    if (pictures_.FillImage()) picture = pictures_.FillImage();
  }
  const bool hasMask = fields_.fullHd == 1 && imageFill_ == 0;
  if (fields_.canChangeColour != 0) {
    return pictures_.Recolour(fields_, hasMask ? kGreenChannel : kAlphaChannel, picture, frame);
  }
  if (hasMask && isMaskReady_) return pictures_.Masked(MaskFor(frame), frame);
  // A picture shown at another time than the preset's own is a copy that says so.
  const bool isInPlace = std::max(position_, 0) == timelineFrame_;
  return picture == frame && isInPlace ? frame : pictures_.Replaced(picture, frame);
}

KivComPtr<IKivFrame> CVideoAlphaVideo::MaskFor(const KivComPtr<IKivFrame>& frame) {
  OpenFullHDSource();
  return mask_.Frame(kiv::SizeOf(*frame));
}

HRESULT CVideoAlphaVideo::Flush() {
  ReleaseWorkingObjects();
  return CSourceBase::Flush();
}

void CVideoAlphaVideo::ReleaseWorkingObjects() {
  pictures_.Release();
  mask_.Release();
}

HRESULT CVideoAlphaVideo::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CVideoAlphaVideo;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetRenderFrameRate, &Self::OnSetRenderFrameRate, Route::kForward},
      {CommandId::SetRenderRange, &Self::OnSetRenderRange, Route::kStop},
      {CommandId::SetAlphaImageFill, &Self::OnSetImageFill, Route::kStop},
      {CommandId::SetAlphaVideoSettings, &Self::OnSetSettings, Route::kStop},
      {CommandId::GetAlphaVideoSettings, &Self::OnGetSettings, Route::kStop},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

HRESULT CVideoAlphaVideo::OnSetRenderFrameRate(const CommandArgs& args) {
  return kiv::TakeRate(args, &renderRate_);
}

HRESULT CVideoAlphaVideo::OnSetRenderRange(const CommandArgs& args) {
  return args.CopyTo(&renderRange_);
}

HRESULT CVideoAlphaVideo::OnSetImageFill(const CommandArgs& args) {
  imageFill_ = args.Integer();
  return S_OK;
}

HRESULT CVideoAlphaVideo::OnSetSettings(const CommandArgs& args) {
  const auto* record = args.As<const AlphaVideoSettings>();
  if (!record) return E_POINTER;
  return AtBoundary([&] { return fields_.TakeRecord(*record); });
}

HRESULT CVideoAlphaVideo::OnGetSettings(const CommandArgs& args) {
  auto* record = args.As<AlphaVideoSettings>();
  if (!record) return E_POINTER;
  fields_.FillRecord(record);
  return S_OK;
}

HRESULT CVideoAlphaVideo::Initialize(KivComPtr<IKivProperties> settings,
                                     KivComPtr<IKivProperties> info) {
  int32_t cleanup = 0;
  if (settings && Succeeded(settings->GetInt(KivKey::Mark::kCleanup, &cleanup)) && cleanup != 0) {
    ReleaseWorkingObjects();
  }
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (Failed(hr)) return hr;
  const HRESULT read = AtBoundary([&] {
    ReadSettings(settings.Get(), info.Get());
    return S_OK;
  });
  return Failed(read) ? read : hr;
}

void CVideoAlphaVideo::ReadSettings(IKivProperties* settings, IKivProperties* info) {
  if (!settings) {
    fields_.ResetNumbers();
    sourceRate_ = kDefaultRate;
    return;
  }
  const std::wstring rateKey = KivKey::OfVideo(KivKey::Source::kSource_Framerate);
  kiv::ReadRate(info, rateKey.c_str(), &sourceRate_);
  fields_.ReadFrom(settings);
  if (info) info->GetRange(KivKey::Render::kRender_RangeFrameNumber, &renderRange_);
}

HRESULT CVideoAlphaVideo::SaveSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    fields_.SaveTo(bag);
    return S_OK;
  });
}

HRESULT CVideoAlphaVideo::LoadSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    const HRESULT hr = bag->GetInt(KivKey::AlphaVideo::kAlphaVideo_PresetVideo, &fields_.preset);
    if (Failed(hr) || fields_.preset == 0) return S_OK;
    LoadPaths(bag);
    fields_.ReadNumbersFrom(bag);
    return S_OK;
  });
}

void CVideoAlphaVideo::LoadPaths(IKivProperties* bag) {
  const std::wstring mask =
      StoredAlphaPath(bag, KivKey::AlphaVideo::kAlphaVideo_FullHDDataFilepath);
  if (!mask.empty()) {
    fields_.fullHdDataPath = Translated(mask);
    if (IsMediaLocationAvailable(fields_.fullHdDataPath.c_str())) isMaskReady_ = true;
  }
  const std::wstring image = StoredAlphaPath(bag, KivKey::AlphaVideo::kAlphaVideo_ImageFilepath);
  if (!image.empty()) fields_.imagePath = Translated(image);
}
