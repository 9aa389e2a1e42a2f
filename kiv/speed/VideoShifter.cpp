#include "kiv/speed/VideoShifter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/base/FrameTime.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr double kUnitTolerance = 1e-6;
// From here on jumping is cheaper than stepping.
constexpr double kSeekingSpeed = 20.0;
constexpr int32_t kReadOnward = 1;
constexpr KivRational kUnitScale{1, 1};
constexpr KivRational kDefaultRate{25, 1};

}  // namespace

CVideoShifter::CVideoShifter(IUnknown* outer, NodeRef upstream)
    : CSourceBase(outer, std::move(upstream)) {}

double CVideoShifter::Speed() const {
  const double parent = parentScale_.ToDouble();
  return speedEnabled_ != 0 ? parent * scale_.ToDouble() : parent;
}

bool CVideoShifter::PassesThrough(double speed) const {
  return !upstream_ || std::abs(speed - 1.0) <= kUnitTolerance;
}

int32_t CVideoShifter::MapUpstreamPosition() const {
  return kiv::ShownFor(upstream_->GetPosition(nullptr), Speed());
}

int32_t CVideoShifter::GetPosition(int64_t* /*time*/) { return position_; }

HRESULT CVideoShifter::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  const double speed = Speed();
  if (PassesThrough(speed)) return CSourceBase::Seek(frame, reached, mode);
  int32_t local = 0;
  const int32_t wanted = kiv::ClampToInt32(kiv::GivenFor(frame, speed));
  const HRESULT hr = upstream_->Seek(wanted, &local, mode);
  // Also after a failure: nobody knows where the upstream stands then.
  if (speed < 1.0 && Interpolates()) {
    interpolator_.Reset();
    FeedKeyFrames();
  }
  if (reached) *reached = Succeeded(hr) ? frame : 0;
  if (Succeeded(hr)) position_ = frame;
  return hr;
}

HRESULT CVideoShifter::Skip(int32_t count, int32_t* moved) {
  const double speed = Speed();
  if (PassesThrough(speed)) return CSourceBase::Skip(count, moved);
  const int32_t target = kiv::ClampToInt32(int64_t{position_} + count);
  HRESULT hr = count < 0 ? StepBack(target, speed) : S_OK;
  // Also after stepping back: a seek may have left the upstream before the frame wanted here.
  if (Succeeded(hr) && speed < 1.0) hr = StepSlow(target, speed);
  if (Succeeded(hr) && speed > 1.0) hr = StepFast(target, speed);
  if (moved) *moved = Succeeded(hr) ? count : 0;
  if (Succeeded(hr)) position_ = target;
  return hr;
}

HRESULT CVideoShifter::StepSlow(int32_t target, double speed) {
  HRESULT hr = S_OK;
  int32_t mapped = MapUpstreamPosition();
  const double ahead = (static_cast<double>(target) - mapped) * speed;
  if (ahead > kiv::kLongestWalk) return JumpSlow(target, speed);
  while (target > mapped) {
    int32_t local = 0;
    hr = upstream_->Skip(1, &local);
    if (Failed(hr)) return hr;
    if (Interpolates()) hr = AdvancePair();
    const int32_t before =
        std::exchange(mapped, kiv::ShownFor(upstream_->GetPosition(nullptr), speed));
    // An upstream that stands still, or a speed below 0.
    if (mapped <= before) break;
  }
  return hr;
}

HRESULT CVideoShifter::JumpSlow(int32_t target, double speed) {
  const int32_t wanted = kiv::FirstGivenFor(target, speed, std::numeric_limits<int32_t>::max());
  const HRESULT hr = SeekTo(wanted);
  return Succeeded(hr) && Interpolates() ? RebuildPair(wanted) : hr;
}

HRESULT CVideoShifter::StepFast(int32_t target, double speed) {
  const int64_t wanted = kiv::GivenFor(target, speed);
  HRESULT hr = S_OK;
  for (int32_t at = upstream_->GetPosition(nullptr); wanted > at;) {
    if (speed >= kSeekingSpeed || wanted - at > kiv::kLongestWalk) return SeekTo(wanted);
    int32_t local = 0;
    hr = upstream_->Skip(1, &local);
    if (Failed(hr)) return hr;
    const int32_t before = std::exchange(at, upstream_->GetPosition(nullptr));
    if (at <= before) break;  // it stands still
  }
  return hr;
}

HRESULT CVideoShifter::SeekTo(int64_t target) {
  int32_t local = 0;
  return upstream_->Seek(kiv::ClampToInt32(target), &local, kReadOnward);
}

HRESULT CVideoShifter::StepBack(int32_t target, double speed) {
  const int32_t at = upstream_->GetPosition(nullptr);
  int32_t wanted = at;
  if (speed < 1.0) wanted = kiv::FirstGivenFor(target, speed, at);
  if (speed > 1.0) {
    wanted =
        kiv::ClampToInt32(std::clamp<int64_t>(kiv::GivenFor(target, speed), 0, std::max(at, 0)));
  }
  if (wanted >= at) return S_OK;
  if (speed >= kSeekingSpeed) return SeekTo(wanted);
  int32_t local = 0;
  const HRESULT hr = upstream_->Skip(wanted - at, &local);
  if (Failed(hr) || speed > 1.0 || !Interpolates()) return hr;
  return RebuildPair(wanted);
}

// With the upstream at `at` before and after: the pair is then the one that stepping forward would
// have left.
HRESULT CVideoShifter::RebuildPair(int32_t at) {
  interpolator_.Reset();
  interpolator_.EnsureAlgorithm();
  if (!interpolator_.HasAlgorithm()) return S_OK;
  if (at > 0) {
    int32_t local = 0;
    if (const HRESULT hr = upstream_->Skip(-1, &local); Failed(hr)) return hr;
  }
  return FeedKeyFrames();
}

HRESULT CVideoShifter::AdvancePair() {
  if (interpolator_.HasAlgorithm() && !interpolator_.WantsInput()) {
    // Reading the last frame of the pair makes the algorithm ask for the next key frame.
    CSimpleMutexLock guard(lock_);
    if (!output_) EnsureOutputFrameLocked(interpolator_.KeyFrameSize());
    interpolator_.GetInterpolatedFrame(output_.Get(), interpolator_.InBetweenCount());
  }
  return FeedKeyFrames();
}

HRESULT CVideoShifter::FeedKeyFrames() {
  interpolator_.EnsureAlgorithm();
  HRESULT status = S_OK;
  if (interpolator_.WantsInput()) status = FeedOne();
  if (Failed(status) || !interpolator_.WantsInput()) return status;
  int32_t local = 0;
  upstream_->Skip(1, &local);
  return FeedOne();
}

HRESULT CVideoShifter::FeedOne() {
  int32_t status = 0;
  const KivComPtr<IKivFrame> frame = upstream_->GetCurrentFrame(&status);
  if (Succeeded(status)) interpolator_.PushKeyFrame(frame.Get());
  return status;
}

KivComPtr<IKivFrame> CVideoShifter::GetCurrentFrame(int32_t* status) {
  if (!upstream_ || !(Speed() < 1.0) || !interpolator_.HasAlgorithm() || !Interpolates()) {
    return CSourceBase::GetCurrentFrame(status);
  }
  if (status) *status = 0;
  const int64_t behind = int64_t{position_} - MapUpstreamPosition();
  const int64_t index = std::max<int64_t>(behind + interpolator_.InBetweenCount(), 0);
  CSimpleMutexLock guard(lock_);
  if (!EnsureOutputFrameLocked(interpolator_.KeyFrameSize())) return nullptr;
  if (!interpolator_.GetInterpolatedFrame(output_.Get(), kiv::ClampToInt32(index))) return nullptr;
  return output_;
}

bool CVideoShifter::EnsureOutputFrameLocked(const KivSize& size) {
  if (size == KivSize{}) return false;
  if (output_) {
    if (kiv::SizeOf(*output_) == size) return true;
    interpolator_.Reset();
    FeedKeyFrames();
  }
  KivComPtr<IKivFrame> output;
  const bool made = Succeeded(kiv::MakeFrame(size, KivCGMemoryType::kDownstream, &output));
  if (!made) {
    KIV_LOG(LogLevel::kCreation, L"CVideoShifter: no output frame of %dx%d", size.width,
            size.height);
  }
  output_ = std::move(output);
  return made;
}

HRESULT CVideoShifter::Flush() {
  KivComPtr<IKivFrame> dropped;
  CSimpleMutexLock guard(lock_);
  dropped.Swap(output_);
  return CSourceBase::Flush();
}

HRESULT CVideoShifter::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CVideoShifter;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetSourceFrameRate, &Self::OnSetSourceFrameRate, Route::kForward},
      {CommandId::SetRenderFrameRate, &Self::OnSetRenderFrameRate, Route::kForward},
      {CommandId::GetSpeedSettings, &Self::OnGetSpeedSettings, Route::kForward},
      {CommandId::SetSpeedSettings, &Self::OnSetSpeedSettings, Route::kForward},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

HRESULT CVideoShifter::OnSetSourceFrameRate(const CommandArgs& args) {
  return kiv::TakeRate(args, &sourceRate_);
}

HRESULT CVideoShifter::OnSetRenderFrameRate(const CommandArgs& args) {
  return kiv::TakeRate(args, &renderRate_);
}

HRESULT CVideoShifter::OnGetSpeedSettings(const CommandArgs& args) {
  auto* record = args.As<SpeedSettings>();
  if (!record) return E_POINTER;
  record->interpolationMode = interpolationMode_;
  record->scaleNumerator = scale_.numerator;
  record->scaleDenominator = scale_.denominator;
  return S_OK;
}

HRESULT CVideoShifter::OnSetSpeedSettings(const CommandArgs& args) {
  const auto* record = args.As<const SpeedSettings>();
  if (!record) return E_POINTER;
  interpolationMode_ = record->interpolationMode;
  scale_ = {record->scaleNumerator, record->scaleDenominator};
  const double speed = Speed();
  if (speed < 1.0) interpolator_.SetInBetweenCount(kiv::InBetweenCountOf(speed));
  return S_OK;
}

HRESULT CVideoShifter::Initialize(KivComPtr<IKivProperties> settings,
                                  KivComPtr<IKivProperties> info) {
  int32_t cleanup = 0;
  if (settings && Succeeded(settings->GetInt(KivKey::Mark::kCleanup, &cleanup)) && cleanup == 1) {
    Flush();
  }
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (Failed(hr)) return hr;
  if (!info) return E_POINTER;
  const HRESULT own = AtBoundary([&] { return InitializeFrom(settings.Get(), info.Get()); });
  return own == S_FALSE ? hr : own;
}

// S_FALSE when the length of the source is not known: nothing is written then.
HRESULT CVideoShifter::InitializeFrom(IKivProperties* settings, IKivProperties* info) {
  if (!settings) return WriteUnknownLength(info);
  int32_t total = 0;
  ReadSettings(settings, info, &total);
  const double speed = Speed();
  if (speed < 1.0) interpolator_.SetInBetweenCount(kiv::InBetweenCountOf(speed));
  if (total <= 0) return S_FALSE;
  const int32_t rendered = RenderTotal(total);
  info->SetInt(KivKey::OfVideo(KivKey::Render::kRender_TotalFrameCount).c_str(), rendered);
  const bool finite = rendered < KivCommon::Const::FRAMEINDEX_MAX;
  const KivRange range = finite ? KivRange{0, kiv::ClampToInt32(int64_t{rendered} - 1)}
                                : KivCommon::Const::RANGE_INFINITY;
  return info->SetRange(KivKey::OfVideo(KivKey::Render::kRender_RangeFrameNumber).c_str(), &range);
}

HRESULT CVideoShifter::WriteUnknownLength(IKivProperties* info) {
  scale_ = parentScale_ = kUnitScale;
  sourceRate_ = renderRate_ = kDefaultRate;
  info->SetInt(KivKey::OfVideo(KivKey::Render::kRender_TotalFrameCount).c_str(), 0);
  return info->SetRange(KivKey::OfVideo(KivKey::Render::kRender_RangeFrameNumber).c_str(),
                        &KivCommon::Const::RANGE_INFINITY);
}

void CVideoShifter::ReadSettings(IKivProperties* settings, IKivProperties* info, int32_t* total) {
  settings->GetRational(KivKey::Speed::kScale, &scale_);
  auto enabled = static_cast<int32_t>(speedEnabled_);
  settings->GetInt(KivKey::Speed::kEnabled, &enabled);
  speedEnabled_ = static_cast<uint32_t>(enabled);
  settings->GetRational(KivKey::OfParent(KivKey::Speed::kScale).c_str(), &parentScale_);
  info->GetInt(KivKey::OfVideo(KivKey::Source::kSource_TotalFrameCount).c_str(), total);
  kiv::ReadRate(info, KivKey::OfVideo(KivKey::Source::kSource_Framerate).c_str(), &sourceRate_);
  kiv::ReadRate(settings, KivKey::Render::kRender_Framerate, &renderRate_);
  settings->GetInt(KivKey::Speed::kInterpolation_Enabled, &isInterpolationOn_);
  auto mode = static_cast<int32_t>(IsFromClipRender() ? interpolationMode_ : 0);
  settings->GetInt(KivKey::Speed::kInterpolationMode, &mode);
  ChangeMode(static_cast<uint32_t>(mode));
}

void CVideoShifter::ChangeMode(uint32_t mode) {
  if (mode == interpolationMode_) return;
  interpolationMode_ = mode;
  interpolator_.SetMode(mode);
  interpolator_.Reset();
  interpolator_.EnsureAlgorithm();
}

int32_t CVideoShifter::RenderTotal(int32_t total) const {
  if (total == KivCommon::Const::FRAMEINDEX_MAX) return total;
  const double seconds =
      renderRate_.ToDouble() * static_cast<double>(total) / sourceRate_.ToDouble();
  return kiv::SaturateToInt32(seconds / Speed());
}
