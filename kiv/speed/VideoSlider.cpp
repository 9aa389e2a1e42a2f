#include "kiv/speed/VideoSlider.h"

#include <algorithm>
#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/values/Saturate.h"
#include "kiv/values/SpeedNumbers.h"

namespace {

constexpr KivRational kDefaultRate{25, 1};
constexpr int32_t kReadOnward = 1;

}  // namespace

CVideoSlider::CVideoSlider(IUnknown* outer, NodeRef upstream)
    : CSourceBase(outer, std::move(upstream)) {}

int32_t CVideoSlider::GetPosition(int64_t* /*time*/) { return position_; }

HRESULT CVideoSlider::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  const double ratio = sourceRate_.ToDouble() / renderRate_.ToDouble();
  const int64_t wanted = kiv::SaturateToInt64(ratio * static_cast<double>(frame) + 0.5);
  int32_t local = 0;
  const HRESULT hr = upstream_ ? upstream_->Seek(kiv::ClampToInt32(wanted), &local, mode) : S_OK;
  if (reached) *reached = Succeeded(hr) ? frame : 0;
  if (Failed(hr)) return hr;
  position_ = frame;
  beyondEnd_ = 0;
  return hr;
}

HRESULT CVideoSlider::Skip(int32_t count, int32_t* moved) {
  const int32_t wanted = kiv::ClampToInt32(int64_t{position_} + count);
  HRESULT hr = S_OK;
  if (upstream_) {
    const int64_t earliest = kiv::EarliestStartFor(wanted, renderRate_.ToDouble());
    if (count < 0 && !UpstreamTellsTime()) {
      int32_t local = 0;
      hr = upstream_->Skip(-1, &local);
    } else {
      if (count < 0) hr = StepBack(wanted, earliest);
      // Also after stepping back: that ends one frame too early.
      if (Succeeded(hr)) hr = StepForward(earliest);
    }
  }
  if (moved) *moved = Succeeded(hr) ? count : 0;
  if (Failed(hr)) return hr;
  position_ = wanted;
  return hr;
}

HRESULT CVideoSlider::StepForward(int64_t earliest) {
  HRESULT hr = S_OK;
  for (int64_t time = UpstreamTime(0); earliest > time;) {
    int32_t local = 0;
    hr = upstream_->Skip(1, &local);
    if (Failed(hr)) return hr;
    const int64_t before = std::exchange(time, UpstreamTime(time));
    if (time <= before) {
      if (time > 0) ++beyondEnd_;
      break;
    }
    beyondEnd_ = 0;
  }
  return hr;
}

HRESULT CVideoSlider::StepBack(int32_t wanted, int64_t earliest) {
  HRESULT hr = StepBackToEnd();
  int standing = 0;
  // The first frame starts at 0; there is nothing before it.
  for (int64_t time = UpstreamTime(0); Succeeded(hr) && earliest <= time && time > 0;) {
    int32_t local = 0;
    hr = upstream_->Skip(-1, &local);
    const int64_t before = std::exchange(time, UpstreamTime(time));
    // A seek may have gone one frame beyond the end, so standing still once proves nothing.
    standing = time < before ? 0 : standing + 1;
    if (standing > 1 && Succeeded(hr)) return SeekBefore(wanted);
  }
  return hr;
}

// For an upstream that stands far beyond its end: to where stepping forward finds the frame.
HRESULT CVideoSlider::SeekBefore(int32_t wanted) {
  const double ratio = sourceRate_.ToDouble() / renderRate_.ToDouble();
  const int64_t before = kiv::SaturateToInt64(ratio * (static_cast<double>(wanted) - 1));
  const int64_t frame = std::max<int64_t>(before, 1) - 1;
  int32_t local = 0;
  return upstream_->Seek(kiv::ClampToInt32(frame), &local, kReadOnward);
}

// Takes back the steps that forward skips made beyond the upstream's last frame.
HRESULT CVideoSlider::StepBackToEnd() {
  if (beyondEnd_ == 0) return S_OK;
  int32_t local = 0;
  const HRESULT hr = upstream_->Skip(-beyondEnd_, &local);
  if (Succeeded(hr)) beyondEnd_ = 0;
  return hr;
}

// Without it there is nothing to step by.
bool CVideoSlider::UpstreamTellsTime() const {
  int64_t time = 0;
  return upstream_->GetPosition(&time) <= 0 || time != 0;
}

// A node that cannot tell leaves the value alone.
int64_t CVideoSlider::UpstreamTime(int64_t unknown) const {
  int64_t time = unknown;
  upstream_->GetPosition(&time);
  return time;
}

HRESULT CVideoSlider::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  static constexpr CommandRow<CVideoSlider> kRows[] = {
      {CommandId::SetSourceFrameRate, &CVideoSlider::OnSetSourceFrameRate, Route::kForward},
      {CommandId::SetRenderFrameRate, &CVideoSlider::OnSetRenderFrameRate, Route::kForward},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

HRESULT CVideoSlider::OnSetSourceFrameRate(const CommandArgs& args) {
  return args.CopyTo(&sourceRate_);
}

HRESULT CVideoSlider::OnSetRenderFrameRate(const CommandArgs& args) {
  return args.CopyTo(&renderRate_);
}

HRESULT CVideoSlider::Initialize(KivComPtr<IKivProperties> settings,
                                 KivComPtr<IKivProperties> info) {
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (Failed(hr)) return hr;
  const HRESULT read = AtBoundary([&] {
    ReadRates(settings.Get(), info.Get());
    return S_OK;
  });
  return Failed(read) ? read : hr;
}

void CVideoSlider::ReadRates(IKivProperties* settings, IKivProperties* info) {
  if (!settings) {
    sourceRate_ = renderRate_ = kDefaultRate;
    return;
  }
  settings->GetRational(KivKey::Render::kRender_Framerate, &renderRate_);
  const std::wstring key = std::wstring(KivKey::Source::kSource_Framerate) + L".Video";
  if (info) info->GetRational(key.c_str(), &sourceRate_);
}
