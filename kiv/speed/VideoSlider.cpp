#include "kiv/speed/VideoSlider.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/base/FrameTime.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/values/Saturate.h"

namespace {

constexpr KivRational kDefaultRate{25, 1};
constexpr int32_t kReadOnward = 1;
// Of a walk that was thought to be short; frames may lie closer than their rate says.
constexpr int kMostSteps = 2 * kiv::kLongestWalk;
constexpr int kMostSeeks = 16;
constexpr int64_t kNoTime = INT64_MIN;

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
  const HRESULT hr = upstream_ ? SkipTo(wanted, count) : S_OK;
  if (moved) *moved = Succeeded(hr) ? count : 0;
  if (Failed(hr)) return hr;
  position_ = wanted;
  return hr;
}

HRESULT CVideoSlider::SkipTo(int32_t wanted, int32_t count) {
  if (count < 0 && !UpstreamTellsTime()) {
    int32_t local = 0;
    return upstream_->Skip(-1, &local);
  }
  const int64_t earliest = kiv::EarliestStartFor(wanted, renderRate_.ToDouble());
  HRESULT hr = S_OK;
  if (IsFar(wanted)) {
    hr = SeekBefore(earliest);
  } else if (count < 0) {
    hr = StepBack(earliest);
  }
  // Also after stepping back: that ends one frame too early.
  return Failed(hr) ? hr : StepForward(earliest);
}

bool CVideoSlider::IsFar(int32_t wanted) const {
  const double ratio = sourceRate_.ToDouble() / renderRate_.ToDouble();
  return std::abs(ratio * (static_cast<double>(wanted) - position_)) > kiv::kLongestWalk;
}

HRESULT CVideoSlider::StepForward(int64_t earliest) {
  int steps = 0;
  for (int64_t time = UpstreamTime(0); earliest > time; ++steps) {
    int32_t local = 0;
    // The upstream stood elsewhere than the position said, or its times say little.
    if (steps == kMostSteps) {
      const HRESULT sought = SeekBefore(earliest);
      if (Failed(sought)) return sought;
      time = UpstreamTime(time);
    }
    if (steps == 2 * kMostSteps) break;
    const HRESULT hr = upstream_->Skip(1, &local);
    if (Failed(hr)) return hr;
    const int64_t before = std::exchange(time, UpstreamTime(time));
    if (time <= before) {
      if (time > 0) ++beyondEnd_;
      break;
    }
    beyondEnd_ = 0;
  }
  return S_OK;
}

HRESULT CVideoSlider::StepBack(int64_t earliest) {
  HRESULT hr = StepBackToEnd();
  int standing = 0;
  int steps = 0;
  // The first frame starts at 0; there is nothing before it.
  for (int64_t time = UpstreamTime(0); Succeeded(hr) && earliest <= time && time > 0;) {
    if (++steps > kMostSteps) return SeekBefore(earliest);
    int32_t local = 0;
    hr = upstream_->Skip(-1, &local);
    const int64_t before = std::exchange(time, UpstreamTime(time));
    // A seek may have gone one frame beyond the end, so standing still once proves nothing.
    standing = time < before ? 0 : standing + 1;
    if (standing > 1 && Succeeded(hr)) return SeekBefore(earliest);
  }
  return hr;
}

// For an upstream that is far away: to a frame that starts before `earliest`, from where stepping forward
// finds the wanted one. Frames need not be evenly spaced, so where a seek ended corrects the next one.
HRESULT CVideoSlider::SeekBefore(int64_t earliest) {
  beyondEnd_ = 0;
  const double framesPerTick = sourceRate_.ToDouble() / static_cast<double>(kiv::kTicksPerSecond);
  double target = static_cast<double>(earliest) * framesPerTick - 1;
  int64_t margin = 1;
  int64_t last = kNoTime;
  for (int i = 0; i < kMostSeeks; ++i, margin *= 2) {
    const int32_t frame = kiv::SaturateToInt32(std::max(target, 0.0));
    int32_t local = 0;
    const HRESULT hr = upstream_->Seek(frame, &local, kReadOnward);
    if (Failed(hr)) return hr;
    const int64_t time = UpstreamTime(earliest);
    const double ahead = static_cast<double>(earliest - time) * framesPerTick;
    // At the first frame, or at the last, where time stands still.
    if ((time >= earliest && frame == 0) || time == last) return S_OK;
    if (time < earliest && ahead <= kiv::kLongestWalk) return S_OK;
    last = time;
    target = frame + ahead - static_cast<double>(margin);
  }
  return S_OK;
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
  return kiv::TakeRate(args, &sourceRate_);
}

HRESULT CVideoSlider::OnSetRenderFrameRate(const CommandArgs& args) {
  return kiv::TakeRate(args, &renderRate_);
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
  kiv::ReadRate(settings, KivKey::Render::kRender_Framerate, &renderRate_);
  const std::wstring key = KivKey::OfVideo(KivKey::Source::kSource_Framerate);
  kiv::ReadRate(info, key.c_str(), &sourceRate_);
}
