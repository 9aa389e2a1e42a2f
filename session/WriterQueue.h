// Writes frames on a thread of its own, so that the next frame is rendered meanwhile. Where the system
// refuses the thread, the producer writes them itself.
//
// Owns:     the writer and the frames waiting, a handful at most.
// Threads:  one producer.
// Locks:    one, a leaf; not held while writing.
// Errors:   SessionError with the writer's line, thrown at the producer's next call. A queue that is
//           destroyed unfinished abandons its output, also in a pipe that nobody reads.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <thread>

#include "engine/write/Writer.h"
#include "kiv/base/Mutex.h"
#include "kiv/platform/Frame.h"

namespace kiv::session {

class WriterQueue {
 public:
  // `cancelled` is the one the writer was opened with. `onWait` is called now and then while the
  // producer waits; what it throws ends the wait.
  WriterQueue(std::unique_ptr<kiv::Writer> writer, std::atomic<bool>* cancelled,
              std::function<void()> onWait);
  ~WriterQueue();
  WriterQueue(const WriterQueue&) = delete;
  WriterQueue& operator=(const WriterQueue&) = delete;

  // Waits while the queue is full.
  void Push(KivComPtr<IKivFrame> frame);
  // Waits until everything is written and the output has its final name.
  void Finish();
  double SecondsWriting() const { return static_cast<double>(nanoseconds_.load()) * 1e-9; }

 private:
  static constexpr size_t kCapacity = 3;

  void Run();
  // Null: no more will come.
  KivComPtr<IKivFrame> Next();
  kiv::WriteError WriteOne(IKivFrame& frame);
  void Report(kiv::WriteError error);
  // Sleeps for a while, then calls onWait_ with the lock free.
  void WaitLocked() KIV_REQUIRES(lock_);
  void ThrowErrorLocked() KIV_REQUIRES(lock_);

  std::unique_ptr<kiv::Writer> writer_;
  std::atomic<bool>* cancelled_;
  const std::function<void()> onWait_;
  std::atomic<int64_t> nanoseconds_{0};

  Mutex lock_;  // a leaf
  Condition changed_;
  std::deque<KivComPtr<IKivFrame>> frames_ KIV_GUARDED_BY(lock_);
  bool complete_ KIV_GUARDED_BY(lock_) = false;   // Finish was called
  bool abandoned_ KIV_GUARDED_BY(lock_) = false;  // the queue is going away
  bool ended_ KIV_GUARDED_BY(lock_) = false;      // the thread is done
  kiv::WriteError error_ KIV_GUARDED_BY(lock_);

  std::thread thread_;  // last: it uses all of the above
};

}  // namespace kiv::session
