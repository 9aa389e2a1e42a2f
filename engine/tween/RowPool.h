// A small fixed set of threads that share out the parts of one job.
//
// Owns:     its threads, which sleep between jobs.
// Threads:  any; a job that finds the pool at work is done by its caller alone.
// Locks:    one, never held while a part runs.
// Errors:   a part that throws ends the job with that exception, after the parts begun are done.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

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
  void Work();
  void TakeParts(const std::function<void(int)>& part);

  std::mutex turn_;  // held for a whole job
  std::mutex lock_;
  std::condition_variable wake_, done_;
  const std::function<void(int)>* part_ = nullptr;
  std::atomic<int> next_ = 0;
  int count_ = 0;
  int helping_ = 0;
  int64_t job_ = 0;
  bool stop_ = false;
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

}  // namespace kiv::tween
