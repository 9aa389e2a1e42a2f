// What the frame cache's worker does.

#include <algorithm>

#include "kiv/cache/FrameCache.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr int32_t kReadOnward = 1;

}  // namespace

// The worker's call of the upstream, which waits while a caller wants that for itself.
class CFrameCache::UpstreamTurn {
 public:
  explicit UpstreamTurn(CFrameCache& cache) : cache_(cache) {
    CSimpleMutexLock guard(cache_.mapLock_);
    while (cache_.pauses_ > 0) cache_.changed_.Wait(cache_.mapLock_);
    cache_.inUpstream_ = true;
  }
  ~UpstreamTurn() {
    {
      CSimpleMutexLock guard(cache_.mapLock_);
      cache_.inUpstream_ = false;
    }
    cache_.changed_.WakeAll();
  }
  UpstreamTurn(const UpstreamTurn&) = delete;
  UpstreamTurn& operator=(const UpstreamTurn&) = delete;

 private:
  CFrameCache& cache_;
};

// What lies outside the span asked for last, which may be another task's: a frame that somebody waits
// for stays.
void CFrameCache::Evict() {
  CSimpleMutexLock guard(mapLock_);
  store_.Evict(wantedSpan_);
}

CacheSpan CFrameCache::WantedSpan() {
  CSimpleMutexLock guard(mapLock_);
  return wantedSpan_;
}

// Leaves out what lies outside the span asked for last: its own task, queued after this one, would
// drop it.
void CFrameCache::FillRange(const CacheSpan& range) {
  CacheSpan wanted = WantedSpan();
  int64_t index = std::max({range.start, wanted.start, int64_t{0}});
  if (!upstream_ || clearing_ || !range.Contains(index) || !wanted.Contains(index)) return;
  {
    const UpstreamTurn turn(*this);
    if (Failed(upstream_->Seek(kiv::ClampToInt32(index), nullptr, kReadOnward))) return;
  }
  while (!clearing_ && range.Contains(index) && wanted.Contains(index)) {
    const UpstreamTurn turn(*this);
    StoreCurrent(index);
    wanted = WantedSpan();
    const bool jump = wanted.start > index && range.Contains(wanted.start);
    const int64_t next = jump ? wanted.start : index + 1;
    if (Failed(upstream_->Skip(kiv::ClampToInt32(next - index), nullptr))) return;
    index = next;
  }
}

// A frame that is missing or cannot be copied is not kept; its index is read through later.
void CFrameCache::StoreCurrent(int64_t index) {
  int32_t status = 0;
  const KivComPtr<IKivFrame> frame = upstream_->GetCurrentFrame(&status);
  if (!KivCommon::ReadPixels(frame.Get())) return;
  KivComPtr<IKivFrame> copy;
  GetSpareFrame(&copy, frame.Get());
  if (!copy || Failed(copy->CopyFrom(frame.Get()))) return;
  {
    CSimpleMutexLock guard(mapLock_);
    store_.Put(index, copy, wanted_);
  }
  changed_.WakeAll();
}
