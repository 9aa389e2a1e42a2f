#include "kiv/cache/Reverser.h"

#include <algorithm>
#include <utility>

#include "kiv/base/FrameTime.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"

namespace {

void ReadSwitch(IKivProperties* bag, const wchar_t* key, bool* value) {
  int32_t number = 0;
  if (Succeeded(bag->GetInt(key, &number))) *value = number == 1;
}

}  // namespace

CReverser::CReverser(IUnknown* outer, NodeRef upstream) : CSourceBase(outer, std::move(upstream)) {}

// The range's first index and its last change places. Applied twice it gives the index back.
int32_t CReverser::Mirror(int32_t index) const {
  const int64_t length = std::max<int64_t>(int64_t{range_.end} - range_.start + 1, 0);
  return kiv::ClampToInt32(int64_t{2} * range_.start - 1 - index + length);
}

int32_t CReverser::GetPosition(int64_t* /*time*/) {
  return IsActive() ? Mirror(position_) : position_;
}

HRESULT CReverser::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  return CSourceBase::Seek(IsActive() ? Mirror(frame) : frame, reached, mode);
}

// Not the base's: a mirrored position may lie below 0, and stays there.
HRESULT CReverser::Skip(int32_t count, int32_t* moved) {
  if (!IsActive()) return CSourceBase::Skip(count, moved);
  if (position_ == -1 && !moved_) position_ = 0;
  const int32_t steps = kiv::ClampToInt32(-int64_t{count});
  const HRESULT hr = upstream_ ? upstream_->Skip(steps, moved) : S_OK;
  if (Failed(hr)) return hr;
  position_ = kiv::ClampToInt32(int64_t{position_} - count);
  moved_ = true;
  if (!upstream_ && moved) *moved = steps;
  return hr;
}

KivComPtr<IKivFrame> CReverser::GetCurrentFrame(int32_t* status) {
  KivComPtr<IKivFrame> frame = CSourceBase::GetCurrentFrame(status);
  if (frame && IsActive()) Retime(frame.Get());
  return frame;
}

void CReverser::Retime(IKivFrame* frame) const {
  const int64_t whole = kiv::FrameStart(total_, renderRate_);
  int64_t time = 0;
  int64_t duration = 0;
  frame->GetTime(&time, &duration);
  if (KivCommon::ReadPixels(frame)) {
    frame->SetTime(kiv::SaturatingSubtract(whole, time), duration);
  } else {
    frame->SetTime(0, 0);
  }
}

HRESULT CReverser::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CReverser;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetSourceFrameRate, &Self::OnSetSourceFrameRate, Route::kForward},
      {CommandId::SetRenderFrameRate, &Self::OnSetRenderFrameRate, Route::kForward},
      {CommandId::GetSpeedSettings, &Self::OnGetSpeedSettings, Route::kForward},
      {CommandId::SetSpeedSettings, &Self::OnSetSpeedSettings, Route::kForward},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

HRESULT CReverser::OnSetSourceFrameRate(const CommandArgs& args) {
  return kiv::TakeRate(args, &sourceRate_);
}

HRESULT CReverser::OnSetRenderFrameRate(const CommandArgs& args) {
  return kiv::TakeRate(args, &renderRate_);
}

HRESULT CReverser::OnGetSpeedSettings(const CommandArgs& args) {
  auto* speed = args.As<SpeedSettings>();
  if (!speed) return E_POINTER;
  speed->reverse = reverse_ ? 1 : 0;
  return S_OK;
}

HRESULT CReverser::OnSetSpeedSettings(const CommandArgs& args) {
  const auto* speed = args.As<const SpeedSettings>();
  if (!speed) return E_POINTER;
  reverse_ = speed->reverse != 0;
  range_ = {speed->reverseStart, speed->reverseEnd};
  return S_OK;
}

HRESULT CReverser::Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) {
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (Failed(hr)) return hr;
  if (info) info->GetInt(KivKey::Render::kRender_TotalFrameCount, &total_);
  if (!settings) return hr;
  settings->GetRange(KivKey::Speed::kReverse_Range, &range_);
  kiv::ReadRate(settings.Get(), KivKey::Render::kRender_Framerate, &renderRate_);
  ReadSourceInfo(settings.Get(), info.Get());
  ReadSwitch(settings.Get(), KivKey::Speed::kReverse, &reverse_);
  ReadSwitch(settings.Get(), KivKey::Speed::kEnabled, &speedEnabled_);
  return hr;
}
