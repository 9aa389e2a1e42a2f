// A small fixed set of threads that share out the parts of one job.
//
// Owns:     its threads, which sleep between jobs.
// Threads:  any; a job that finds the pool at work is done by its caller alone.
// Locks:    a job's, held while its parts run, then the fields'. A part may call Run again.
// Errors:   a part that throws ends the job with that exception, after the parts begun are done.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <thread>
#include <vector>

#include "kiv/base/Mutex.h"

namespace kiv::tween {

class RowPool {
 public:
  // `threads` counts the caller, who takes part.
  explicit RowPool(int threads);
  ~RowPool();
  RowPool(const RowPool&) = delete;
  RowPool& operator=(const RowPool&) = delete;

  // The process's pool, as many threads as there are processors but no more than a few. Never
  // destroyed.
  static RowPool& Shared();

  // Runs part(0) to part(count - 1), each once, in any order; returns when all are done.
  void Run(int count, const std::function<void(int)>& part);

 private:
  void Share(int count, const std::function<void(int)>& part) KIV_REQUIRES(turn_);
  void Work();
  void TakeParts(int count, const std::function<void(int)>& part);

  Mutex turn_;  // held for a whole job, and never waited for
  Mutex lock_;
  Condition wake_, done_;
  const std::function<void(int)>* part_ KIV_GUARDED_BY(lock_) = nullptr;
  std::atomic<int> next_ = 0;
  int count_ KIV_GUARDED_BY(lock_) = 0;
  int helping_ KIV_GUARDED_BY(lock_) = 0;
  int64_t job_ KIV_GUARDED_BY(lock_) = 0;
  bool stop_ KIV_GUARDED_BY(lock_) = false;
  std::exception_ptr failure_ KIV_GUARDED_BY(lock_);
  std::vector<std::thread> threads_;
};

}  // namespace kiv::tween
