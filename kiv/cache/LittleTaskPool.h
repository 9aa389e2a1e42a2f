// One worker thread and its queue of tasks.
#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <queue>
#include <thread>
#include <vector>

#include "kiv/base/Locks.h"

namespace LTask {

// Runs tasks one after another, in the order they were queued.
//
// Owns:     its worker thread and the tasks that wait for it.
// Threads:  any thread queues, a running task too; the owner ends the pool, never a task of its own.
// Locks:    one, a leaf: neither a task nor anything else is called with it held.
// Errors:   what a task throws waits in its future. A worker that cannot be started is a
//           std::system_error.
class CLittleTaskPool {
 public:
  CLittleTaskPool();
  // Runs what is queued, then ends the worker.
  virtual ~CLittleTaskPool();
  CLittleTaskPool(const CLittleTaskPool&) = delete;
  CLittleTaskPool& operator=(const CLittleTaskPool&) = delete;

  // Once the pool is being destroyed this is a std::runtime_error.
  std::future<int32_t> enqueue(std::function<int32_t()> task);

 private:
  using Task = std::function<void()>;

  void Work();
  // The next task; none when the pool has stopped and its queue is empty.
  Task WaitForTask();
  void Append(Task task);

  SimpleSync::CSimpleMutex lock_;
  SimpleSync::CSimpleCondition wake_;
  std::queue<Task> tasks_ KIV_GUARDED_BY(lock_);
  bool stop_ KIV_GUARDED_BY(lock_) = false;
  // Last: a worker uses all of the above as soon as it runs.
  std::vector<std::thread> workers_;
};

}  // namespace LTask
