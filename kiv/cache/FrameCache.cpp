#include "kiv/cache/FrameCache.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr wchar_t kCleanup[] = L"CLIP.CMD.CLEANUP";
constexpr int32_t kReadOnward = 1;

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
  if (!IsActiveLocked()) return CSourceBase::Skip(count, moved);
  return AtBoundary([&]() KIV_REQUIRES(nodeLock_) {
    const int32_t target = kiv::ClampToInt32(int64_t{position_} + count);
    PrefetchLocked(target);
    position_ = std::max(target, 0);
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
  {
    CSimpleMutexLock guard(nodeLock_);
    ClearCacheLocked();
  }
  return CSourceBase::Flush();
}

HRESULT CFrameCache::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CFrameCache;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetCacheRange, &Self::OnSetCacheRange, Route::kForward},
      {CommandId::SetSpeedSettings, &Self::OnSetSpeedSettings, Route::kForward},
      {CommandId::SetCacheReverse, &Self::OnSetCacheReverse, Route::kStop},
  };
  return Dispatch(*this, kRows, id, param, extra);
}

HRESULT CFrameCache::OnSetCacheRange(const CommandArgs& args) {
  const auto* range = args.As<const KivRange>();
  if (!range) return E_POINTER;
  CSimpleMutexLock guard(nodeLock_);
  rules_.first = range->start;
  rules_.last = range->end;
  return S_OK;
}

HRESULT CFrameCache::OnSetSpeedSettings(const CommandArgs& args) {
  const auto* speed = args.As<const SpeedSettings>();
  if (!speed) return E_POINTER;
  CSimpleMutexLock guard(nodeLock_);
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

HRESULT CFrameCache::Initialize(KivComPtr<IKivProperties> settings,
                                KivComPtr<IKivProperties> info) {
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (Failed(hr) || !settings) return hr;
  CSimpleMutexLock guard(nodeLock_);
  ApplySettingsLocked(settings.Get(), info.Get());
  UpdatePoolLocked();
  return hr;
}

void CFrameCache::ApplySettingsLocked(IKivProperties* settings, IKivProperties* info) {
  if (const auto on = GetInt(settings, KivKey::Render::kRender_CacheEnable))
    cacheEnabled_ = *on == 1;
  rules_.size = GetInt(info, KivKey::Speed::kReverse_FrameCacheCount).value_or(rules_.size);
  if (GetInt(settings, kCleanup) == 1) ClearCacheLocked();
  if (const auto on = GetInt(settings, KivKey::Speed::kReverse)) {
    if (reverse_ && *on == 0) ClearCacheLocked();
    reverse_ = *on == 1;
  }
  if (const auto on = GetInt(settings, KivKey::Speed::kEnabled)) speedEnabled_ = *on == 1;
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
    Evict(plan.span);
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

// Afterwards the frame is in memory, or it never will be and no task is using the upstream.
void CFrameCache::BringLocked(int32_t index) {
  if (WaitForIndex(index)) return;
  PrefetchLocked(index);
  if (!WaitForIndex(index)) WaitForTasksLocked();
}

KivComPtr<IKivFrame> CFrameCache::LookupLocked(int32_t index) {
  BringLocked(index);
  CSimpleMutexLock guard(mapLock_);
  IKivFrame* const stored = store_.Find(index);
  if (!stored) return ReadThroughLocked(index);
  return Succeeded(CopyToOutput(stored)) ? output_ : nullptr;
}

void CFrameCache::LookupTimeLocked(int32_t index, int64_t* time) {
  BringLocked(index);
  CSimpleMutexLock guard(mapLock_);
  KivComPtr<IKivFrame> frame(store_.Find(index));
  if (!frame) frame = ReadThroughLocked(index);
  if (frame) frame->GetTime(time, nullptr);
}

KivComPtr<IKivFrame> CFrameCache::ReadThroughLocked(int32_t index) {
  if (!upstream_) return nullptr;
  int32_t status = 0;
  upstream_->Seek(index, nullptr, kReadOnward);
  return upstream_->GetCurrentFrame(&status);
}
