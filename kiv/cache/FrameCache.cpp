#include "kiv/cache/FrameCache.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/NodeUpkeep.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr int32_t kReadOnward = 1;

// After these, the nodes below may make other pictures of the same indices.
constexpr CommandId kNewPictures[] = {CommandId::SetDecoder,
                                      CommandId::SetSourceFrameRate,
                                      CommandId::SetRenderFrameRate,
                                      CommandId::SetRenderRange,
                                      CommandId::SetAlphaImageFill,
                                      CommandId::SetStabilizerEnabled,
                                      CommandId::SetStabilizerLevel,
                                      CommandId::SetStabilizerSettings,
                                      CommandId::SetAlphaVideoSettings,
                                      CommandId::SetProxyPath,
                                      CommandId::SetProxyEnabled,
                                      CommandId::SetOutputSize,
                                      CommandId::SetDecodeScale};

std::optional<int32_t> GetInt(IKivProperties* bag, const wchar_t* key) {
  int32_t value = 0;
  if (!bag || Failed(bag->GetInt(key, &value))) return std::nullopt;
  return value;
}

bool IsOver(const std::future<int32_t>& task) {
  return task.wait_for(std::chrono::microseconds(1)) == std::future_status::ready;
}

}  // namespace

// Says what a task is to read for as long as the task exists.
class CFrameCache::ReadingMark {
 public:
  ReadingMark(CFrameCache& cache, const PrefetchPlan& plan, int32_t wanted) : cache_(cache) {
    CSimpleMutexLock guard(cache_.mapLock_);
    mark_ = cache_.reading_.insert(cache_.reading_.end(), plan.read);
    cache_.wantedSpan_ = plan.span;
    cache_.wanted_ = wanted;
  }
  ~ReadingMark() {
    {
      CSimpleMutexLock guard(cache_.mapLock_);
      cache_.reading_.erase(mark_);
    }
    cache_.changed_.WakeAll();
  }
  ReadingMark(const ReadingMark&) = delete;
  ReadingMark& operator=(const ReadingMark&) = delete;

 private:
  CFrameCache& cache_;
  std::list<CacheSpan>::iterator mark_;
};

// Keeps the worker out of the upstream while it lives. No task may be waited for meanwhile.
class CFrameCache::UpstreamPause {
 public:
  explicit UpstreamPause(CFrameCache& cache) : cache_(cache) {
    CSimpleMutexLock guard(cache_.mapLock_);
    ++cache_.pauses_;
    while (cache_.inUpstream_) cache_.changed_.Wait(cache_.mapLock_);
  }
  ~UpstreamPause() {
    {
      CSimpleMutexLock guard(cache_.mapLock_);
      --cache_.pauses_;
    }
    cache_.changed_.WakeAll();
  }
  UpstreamPause(const UpstreamPause&) = delete;
  UpstreamPause& operator=(const UpstreamPause&) = delete;

 private:
  CFrameCache& cache_;
};

CFrameCache::CFrameCache(IUnknown* outer, NodeRef upstream)
    : CSourceBase(outer, std::move(upstream)) {}

CFrameCache::~CFrameCache() { EndTasks(); }

void CFrameCache::EndTasks() {
  CSimpleMutexLock guard(nodeLock_);
  clearing_ = true;
  pool_.reset();
}

void CFrameCache::SetLast(int32_t last) {
  CSimpleMutexLock guard(nodeLock_);
  rules_.last = last;
}

bool CFrameCache::IsActiveLocked() const { return cacheEnabled_ || (speedEnabled_ && reverse_); }

int32_t CFrameCache::GetPosition(int64_t* time) {
  CSimpleMutexLock guard(nodeLock_);
  if (!IsActiveLocked()) return CSourceBase::GetPosition(time);
  AtBoundary([&]() KIV_REQUIRES(nodeLock_) {
    LookupTimeLocked(position_, time);
    return S_OK;
  });
  return position_;
}

HRESULT CFrameCache::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  CSimpleMutexLock guard(nodeLock_);
  below_ = 0;
  if (!IsActiveLocked()) return CSourceBase::Seek(frame, reached, mode);
  return AtBoundary([&]() KIV_REQUIRES(nodeLock_) {
    PrefetchLocked(frame);
    position_ = frame;
    return S_OK;
  });
}

// The present frame is not looked up for this: that would make every step wait for a picture that
// nobody asked for.
HRESULT CFrameCache::Skip(int32_t count, int32_t* moved) {
  CSimpleMutexLock guard(nodeLock_);
  if (!IsActiveLocked()) {
    below_ = 0;
    return CSourceBase::Skip(count, moved);
  }
  return AtBoundary([&]() KIV_REQUIRES(nodeLock_) {
    const int32_t target = kiv::ClampToInt32(int64_t{position_} + below_ + count);
    PrefetchLocked(target);
    position_ = std::max(target, 0);
    below_ = std::min(target, 0);
    return S_OK;
  });
}

KivComPtr<IKivFrame> CFrameCache::GetCurrentFrame(int32_t* status) {
  CSimpleMutexLock guard(nodeLock_);
  if (!IsActiveLocked()) return CSourceBase::GetCurrentFrame(status);
  return AtBoundaryOr(KivComPtr<IKivFrame>(),
                      [&]() KIV_REQUIRES(nodeLock_) { return LookupLocked(position_); });
}

HRESULT CFrameCache::Flush() {
  CSimpleMutexLock guard(nodeLock_);
  ClearCacheLocked();
  return CSourceBase::Flush();
}

void CFrameCache::FinishReading() {
  CSimpleMutexLock guard(nodeLock_);
  WaitForTasksLocked();
}

void CFrameCache::Forget() {
  CSimpleMutexLock guard(nodeLock_);
  ClearCacheLocked();
}

HRESULT CFrameCache::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CFrameCache;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetCacheRange, &Self::OnSetCacheRange, Route::kForward},
      {CommandId::SetSpeedSettings, &Self::OnSetSpeedSettings, Route::kForward},
      {CommandId::SetCacheReverse, &Self::OnSetCacheReverse, Route::kStop},
  };
  CSimpleMutexLock guard(nodeLock_);
  const auto is = [id](CommandId other) { return static_cast<uint32_t>(other) == id; };
  const auto isRow = [&](const CommandRow<Self>& row) { return is(row.id); };
  // These leave no task running that could be in the upstream when they are passed on.
  if (std::any_of(std::begin(kRows), std::end(kRows), isRow)) {
    return Dispatch(*this, kRows, id, param, extra);
  }
  if (std::any_of(std::begin(kNewPictures), std::end(kNewPictures), is)) {
    timing_ = {};
    ClearCacheLocked();
  }
  const UpstreamPause pause(*this);
  return CSourceBase::ProcessCommand(id, param, extra);
}

HRESULT CFrameCache::OnSetCacheRange(const CommandArgs& args) {
  const auto* range = args.As<const KivRange>();
  if (!range) return E_POINTER;
  CSimpleMutexLock guard(nodeLock_);
  WaitForTasksLocked();
  rules_.first = range->start;
  rules_.last = range->end;
  return S_OK;
}

HRESULT CFrameCache::OnSetSpeedSettings(const CommandArgs& args) {
  const auto* speed = args.As<const SpeedSettings>();
  if (!speed) return E_POINTER;
  CSimpleMutexLock guard(nodeLock_);
  Timing timing = timing_;
  timing.scale = {speed->scaleNumerator, speed->scaleDenominator};
  timing.interpolationMode = speed->interpolationMode;
  timing.mirrored = {speed->reverseStart, speed->reverseEnd};
  UseTimingLocked(timing);
  WaitForTasksLocked();
  UpdateReverseLocked(speed->reverse != 0);
  return S_OK;
}

HRESULT CFrameCache::OnSetCacheReverse(const CommandArgs& args) {
  CSimpleMutexLock guard(nodeLock_);
  UpdateReverseLocked(args.Integer() != 0);
  return S_OK;
}

void CFrameCache::UpdateReverseLocked(bool reverse) {
  const bool turnedOff = reverse_ && !reverse;
  reverse_ = reverse;
  if (turnedOff) ClearCacheLocked();
  UpdatePoolLocked();
}

void CFrameCache::UpdatePoolLocked() {
  if (!IsActiveLocked()) {
    pool_.reset();
  } else if (!pool_) {
    const HRESULT hr = AtBoundary([&]() KIV_REQUIRES(nodeLock_) {
      pool_ = std::make_unique<LTask::CLittleTaskPool>();
      return S_OK;
    });
    // Without a worker every frame is read through.
    if (Failed(hr)) KIV_LOG(LogLevel::kFailure, L"CFrameCache: there is no worker thread");
  }
}

CFrameCache::Timing CFrameCache::TimingIn(IKivProperties* settings, IKivProperties* info,
                                          Timing timing) {
  const std::wstring sourceRateKey = KivKey::OfVideo(KivKey::Source::kSource_Framerate);
  kiv::ReadRate(info, sourceRateKey.c_str(), &timing.sourceRate);
  kiv::ReadRate(settings, KivKey::Render::kRender_Framerate, &timing.renderRate);
  if (!settings) return timing;
  settings->GetRational(KivKey::Speed::kScale, &timing.scale);
  settings->GetRange(KivKey::Speed::kReverse_Range, &timing.mirrored);
  int32_t mode = 0;
  const bool hasMode = Succeeded(settings->GetInt(KivKey::Speed::kInterpolationMode, &mode));
  if (hasMode) timing.interpolationMode = static_cast<uint32_t>(mode);
  return timing;
}

HRESULT CFrameCache::Initialize(KivComPtr<IKivProperties> settings,
                                KivComPtr<IKivProperties> info) {
  CSimpleMutexLock guard(nodeLock_);
  if (GetInt(settings.Get(), KivKey::Mark::kCleanup) == 1) ClearCacheLocked();
  AtBoundary([&]() KIV_REQUIRES(nodeLock_) {
    UseTimingLocked(TimingIn(settings.Get(), info.Get(), timing_));
    return S_OK;
  });
  WaitForTasksLocked();
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (Failed(hr) || !settings) return hr;
  ApplySettingsLocked(settings.Get(), info.Get());
  UpdatePoolLocked();
  return hr;
}

void CFrameCache::ApplySettingsLocked(IKivProperties* settings, IKivProperties* info) {
  if (const auto on = GetInt(settings, KivKey::Render::kRender_CacheEnable))
    cacheEnabled_ = *on == 1;
  rules_.size = GetInt(info, KivKey::Speed::kReverse_FrameCacheCount).value_or(rules_.size);
  if (const auto on = GetInt(settings, KivKey::Speed::kReverse)) {
    if (reverse_ && *on == 0) ClearCacheLocked();
    reverse_ = *on == 1;
  }
  if (const auto on = GetInt(settings, KivKey::Speed::kEnabled)) speedEnabled_ = *on == 1;
}

void CFrameCache::UseTimingLocked(const Timing& timing) {
  if (timing == timing_) return;
  timing_ = timing;
  ClearCacheLocked();
}

void CFrameCache::ClearCacheLocked() {
  clearing_ = true;
  WaitForTasksLocked();
  FrameStore dropped;
  {
    CSimpleMutexLock guard(mapLock_);
    std::swap(dropped, store_);
  }
  pending_.clear();
  span_.reset();
  clearing_ = false;
}

void CFrameCache::WaitForTasksLocked() {
  for (const std::future<int32_t>& task : pending_) {
    if (task.valid()) task.wait();
  }
}

void CFrameCache::ReapLocked() {
  pending_.remove_if([](const auto& task) { return !task.valid() || IsOver(task); });
}

void CFrameCache::PrefetchLocked(int32_t index) {
  if (!pool_) return;
  SpanRules rules = rules_;
  {
    CSimpleMutexLock guard(mapLock_);
    rules.size = std::clamp(rules_.size, 0, store_.Capacity());
  }
  // Pictures of another size change how far a span reaches: what the last one covers says nothing.
  const int32_t bound = rules.size < rules_.size ? rules.size : 0;
  if (bound != std::exchange(spanBound_, bound)) span_.reset();
  if (const auto plan = PlanPrefetch(index, rules, span_)) EnqueueLocked(*plan, index);
  ReapLocked();
}

void CFrameCache::EnqueueLocked(const PrefetchPlan& plan, int32_t wanted) {
  std::list<std::future<int32_t>> task(1);
  auto mark = std::make_shared<ReadingMark>(*this, plan, wanted);
  task.front() = pool_->enqueue([this, plan, mark]() mutable {
    // The future keeps this callable beyond its run; the mark must go when that is over.
    const auto untilTheEnd = std::move(mark);
    Evict();
    FillRange(plan.read);
    return 0;
  });
  pending_.splice(pending_.end(), task);
  span_ = plan.span;
}

bool CFrameCache::WaitForIndex(int64_t index) {
  const auto isRead = [index](const CacheSpan& span) { return span.Contains(index); };
  CSimpleMutexLock guard(mapLock_);
  while (!store_.Contains(index)) {
    if (std::none_of(reading_.begin(), reading_.end(), isRead)) return false;
    changed_.Wait(mapLock_);
  }
  return true;
}

// Afterwards the frame is in memory, or no task is left that would bring it.
void CFrameCache::BringLocked(int32_t index) {
  if (WaitForIndex(index)) return;
  PrefetchLocked(index);
  WaitForIndex(index);
}

template <typename Use>
void CFrameCache::FindLocked(int32_t index, const Use& use) {
  BringLocked(index);
  {
    CSimpleMutexLock guard(mapLock_);
    if (IKivFrame* const stored = store_.Find(index)) return use(stored);
  }
  // Also when it was there a moment ago: a task may have dropped it and be in the upstream now.
  WaitForTasksLocked();
  CSimpleMutexLock guard(mapLock_);
  use(store_.Find(index));
}

KivComPtr<IKivFrame> CFrameCache::LookupLocked(int32_t index) {
  KivComPtr<IKivFrame> frame;
  FindLocked(index, [&](IKivFrame* stored) KIV_REQUIRES(nodeLock_, mapLock_) {
    if (!stored) {
      frame = ReadThroughLocked(index);
    } else if (Succeeded(CopyToOutput(stored))) {
      frame = output_;
    }
  });
  return frame;
}

void CFrameCache::LookupTimeLocked(int32_t index, int64_t* time) {
  FindLocked(index, [&](IKivFrame* stored) KIV_REQUIRES(nodeLock_, mapLock_) {
    KivComPtr<IKivFrame> frame(stored);
    if (!frame) frame = ReadFromUpstream(index);
    if (frame) frame->GetTime(time, nullptr);
  });
}

KivComPtr<IKivFrame> CFrameCache::ReadFromUpstream(int32_t index) {
  if (!upstream_) return nullptr;
  int32_t status = 0;
  upstream_->Seek(index, nullptr, kReadOnward);
  return upstream_->GetCurrentFrame(&status);
}

// A copy, since a node below may refill its frame when the worker reads next.
KivComPtr<IKivFrame> CFrameCache::ReadThroughLocked(int32_t index) {
  KivComPtr<IKivFrame> frame = ReadFromUpstream(index);
  if (!KivCommon::ReadPixels(frame.Get()) || Failed(CopyToOutput(frame.Get()))) return frame;
  return output_;
}
