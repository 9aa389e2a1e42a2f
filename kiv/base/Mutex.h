// The lock of a class, its guards and its condition: the standard library's, in a form that clang's
// thread-safety analysis follows.
//
// A condition is waited for in a loop, not with a predicate: the analysis does not know which locks
// are held in a lambda.
//
// Threads:  a mutex and a condition any; a guard lives on one thread's stack.
// Locks:    a mutex is not recursive (SimpleSync::CSimpleMutex is); its holder must not lock it again.
// Errors:   a failing lock is thrown as std::system_error.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "kiv/base/ThreadAnnotations.h"

namespace kiv {

class KIV_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() KIV_ACQUIRE() { mutex_.lock(); }
  bool TryLock() KIV_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void Unlock() KIV_RELEASE() { mutex_.unlock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

// Holds a mutex to the end of the block.
class KIV_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) KIV_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  // Takes over a mutex that the caller has locked.
  MutexLock(Mutex& mutex, std::adopt_lock_t /*locked*/) KIV_REQUIRES(mutex) : mutex_(mutex) {}
  ~MutexLock() KIV_RELEASE() { mutex_.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

// Lets a held mutex go to the end of the block, also when that is left by an exception.
class KIV_SCOPED_CAPABILITY MutexUnlock {
 public:
  explicit MutexUnlock(Mutex& mutex) KIV_RELEASE(mutex) : mutex_(mutex) { mutex_.Unlock(); }
  ~MutexUnlock() KIV_RELEASE() { mutex_.Lock(); }
  MutexUnlock(const MutexUnlock&) = delete;
  MutexUnlock& operator=(const MutexUnlock&) = delete;

 private:
  Mutex& mutex_;
};

// Lets the holder of a mutex sleep until another thread has changed what the mutex guards.
class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  // May return early. The mutex is free during the sleep.
  void Wait(Mutex& mutex) KIV_REQUIRES(mutex) {
    std::unique_lock held(mutex.mutex_, std::adopt_lock);
    changed_.wait(held);
    held.release();
  }
  // The same, until `end` at the latest. False when that has come.
  template <typename Clock, typename Duration>
  bool WaitUntil(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& end)
      KIV_REQUIRES(mutex) {
    std::unique_lock held(mutex.mutex_, std::adopt_lock);
    const std::cv_status status = changed_.wait_until(held, end);
    held.release();
    return status == std::cv_status::no_timeout;
  }
  void WakeAll() { changed_.notify_all(); }

 private:
  std::condition_variable changed_;
};

}  // namespace kiv
