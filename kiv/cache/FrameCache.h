// The frame cache: reads spans of frames ahead on a worker thread, so that walking backwards costs
// one seek of the decoder a span.
#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <list>
#include <memory>
#include <optional>

#include "kiv/base/Locks.h"
#include "kiv/cache/CacheSpan.h"
#include "kiv/cache/FrameStore.h"
#include "kiv/cache/LittleTaskPool.h"
#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"

// Passes everything on while caching is off. While it is on (switched on itself, or playing in
// reverse with speed settings enabled), frames come from memory, and what is missing is read by a
// task; a frame that no task can bring is read through from upstream.
//
// Units:    frame index int32; time int64 in 100 ns.
// Owns:     the frames in memory, bounded as FrameStore says whatever span size the host asks for;
//           the output frame, one object that is refilled for each request; the worker.
// Threads:  one caller at a time, and commands from any thread, and its own worker. A caller waits
//           for the index it asked for only, except where it is about to use the upstream:
//           then every task is over first, so that nobody moves the upstream under a reading task.
//           A command that changes nothing there holds the worker up between two frames instead.
// Locks:    nodeLock_ before mapLock_ before the upstream's locks. The upstream is called, and tasks
//           are waited for, with nodeLock_ held; the worker never takes that. mapLock_ is held by
//           the caller while it copies or reads through, by the worker only to look and to store.
// Errors:   a failed upstream ends a task. What cannot be allocated is a null frame, or one that is
//           not kept.
class CFrameCache : public CSourceBase {
 public:
  CFrameCache(IUnknown* outer, NodeRef upstream);
  // The class that implements the operations below has ended the tasks by then, see EndTasks.
  ~CFrameCache() override;

  // A frame shaped like `source` to copy it into; null when no memory is available.
  virtual void GetSpareFrame(KivComPtr<IKivFrame>* spare, IKivFrame* source) = 0;
  virtual HRESULT CopyToOutput(IKivFrame* source) KIV_REQUIRES(mapLock_) = 0;
  virtual void OnOutputFrameCreated() {}

  // While active, `time` is left alone when there is no frame.
  int32_t GetPosition(int64_t* time) override;
  // While active, `reached` and `moved` are not written: frames are positioned when they are read.
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  // While active, `status` is not written, and the frame is the output frame. One without a picture,
  // or that cannot be copied, is the upstream's.
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
  void FinishReading() override;
  void Forget() override;

 protected:
  // Stops and joins the worker; for the destructors of derived classes.
  void EndTasks();
  void SetLast(int32_t last);

  SimpleSync::CSimpleMutex mapLock_;
  KivComPtr<IKivFrame> output_ KIV_GUARDED_BY(mapLock_);
  FrameStore store_ KIV_GUARDED_BY(mapLock_);

 private:
  class ReadingMark;
  class UpstreamPause;
  class UpstreamTurn;

  // What the nodes below were told last that moves their pictures to other indices.
  struct Timing {
    KivRational sourceRate, renderRate, scale;
    uint32_t interpolationMode = 0;
    KivRange mirrored;
    friend bool operator==(const Timing&, const Timing&) = default;
  };

  HRESULT OnSetCacheRange(const CommandArgs& args);
  HRESULT OnSetSpeedSettings(const CommandArgs& args);
  HRESULT OnSetCacheReverse(const CommandArgs& args);

  // What the bags say, else what `timing` holds. Either bag may be null.
  static Timing TimingIn(IKivProperties* settings, IKivProperties* info, Timing timing);

  // The caller's side, in FrameCache.cpp.
  bool IsActiveLocked() const KIV_REQUIRES(nodeLock_);
  void UpdateReverseLocked(bool reverse) KIV_REQUIRES(nodeLock_);
  void UpdatePoolLocked() KIV_REQUIRES(nodeLock_);
  void ApplySettingsLocked(IKivProperties* settings, IKivProperties* info) KIV_REQUIRES(nodeLock_);
  void ClearCacheLocked() KIV_REQUIRES(nodeLock_);
  void UseTimingLocked(const Timing& timing) KIV_REQUIRES(nodeLock_);
  void PrefetchLocked(int32_t index) KIV_REQUIRES(nodeLock_);
  void EnqueueLocked(const PrefetchPlan& plan, int32_t wanted) KIV_REQUIRES(nodeLock_);
  void ReapLocked() KIV_REQUIRES(nodeLock_);
  void WaitForTasksLocked() KIV_REQUIRES(nodeLock_);
  void BringLocked(int32_t index) KIV_REQUIRES(nodeLock_);
  // Calls `use` once, with the frame in memory or, when there is none, null and no task left.
  template <typename Use>
  void FindLocked(int32_t index, const Use& use) KIV_REQUIRES(nodeLock_);
  KivComPtr<IKivFrame> LookupLocked(int32_t index) KIV_REQUIRES(nodeLock_);
  void LookupTimeLocked(int32_t index, int64_t* time) KIV_REQUIRES(nodeLock_);
  KivComPtr<IKivFrame> ReadFromUpstream(int32_t index) KIV_REQUIRES(nodeLock_);
  KivComPtr<IKivFrame> ReadThroughLocked(int32_t index) KIV_REQUIRES(nodeLock_, mapLock_);
  // False when no task is left that would bring it.
  bool WaitForIndex(int64_t index);

  // The worker's side, in FrameCacheFill.cpp.
  void Evict();
  void FillRange(const CacheSpan& range);
  void StoreCurrent(int64_t index);
  CacheSpan WantedSpan();

  SimpleSync::CSimpleMutex nodeLock_;
  SpanRules rules_ KIV_GUARDED_BY(nodeLock_){0, 0, 20};
  bool cacheEnabled_ KIV_GUARDED_BY(nodeLock_) = false;
  bool speedEnabled_ KIV_GUARDED_BY(nodeLock_) = true;
  bool reverse_ KIV_GUARDED_BY(nodeLock_) = false;
  Timing timing_ KIV_GUARDED_BY(nodeLock_);
  // How far below 0, where the position stays, skips have gone: the node above counts on there.
  int32_t below_ KIV_GUARDED_BY(nodeLock_) = 0;
  std::optional<CacheSpan> span_ KIV_GUARDED_BY(nodeLock_);
  // The bound that cut span_ short, 0 for none.
  int32_t spanBound_ KIV_GUARDED_BY(nodeLock_) = 0;
  std::list<std::future<int32_t>> pending_ KIV_GUARDED_BY(nodeLock_);
  std::unique_ptr<LTask::CLittleTaskPool> pool_ KIV_GUARDED_BY(nodeLock_);

  std::atomic<bool> clearing_{false};

  // Wakes all that wait: a frame was stored, a task is over, another thread may use the upstream.
  SimpleSync::CSimpleCondition changed_;
  // What each queued or running task is to read.
  std::list<CacheSpan> reading_ KIV_GUARDED_BY(mapLock_);
  // The span asked for last, and the index it was asked for.
  CacheSpan wantedSpan_ KIV_GUARDED_BY(mapLock_);
  int64_t wanted_ KIV_GUARDED_BY(mapLock_) = 0;
  // The worker is in the upstream; callers that want it to stay out.
  bool inUpstream_ KIV_GUARDED_BY(mapLock_) = false;
  int pauses_ KIV_GUARDED_BY(mapLock_) = 0;
};
