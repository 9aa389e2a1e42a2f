// The component's locks and their guards.
//
// Threads:  a mutex may be locked from any thread; a guard lives on one thread's stack.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <mutex>

#include "kiv/base/ThreadAnnotations.h"

namespace SimpleSync {

// Recursive: its holder may lock it again.
class KIV_CAPABILITY("mutex") CSimpleMutex {
 public:
  CSimpleMutex();
  virtual ~CSimpleMutex();
  CSimpleMutex(const CSimpleMutex&) = delete;
  CSimpleMutex& operator=(const CSimpleMutex&) = delete;

 private:
  friend class CSimpleMutexLock;
  friend class CSimpleCondition;
  pthread_mutex_t mutex_;
};

class KIV_SCOPED_CAPABILITY CSimpleMutexLock {
 public:
  explicit CSimpleMutexLock(CSimpleMutex& mutex) KIV_ACQUIRE(mutex);
  virtual ~CSimpleMutexLock() KIV_RELEASE();
  CSimpleMutexLock(const CSimpleMutexLock&) = delete;
  CSimpleMutexLock& operator=(const CSimpleMutexLock&) = delete;

 private:
  CSimpleMutex* const mutex_;
};

// Lets the holder of a mutex sleep until another thread has changed what the mutex guards.
class CSimpleCondition {
 public:
  CSimpleCondition();
  ~CSimpleCondition();
  CSimpleCondition(const CSimpleCondition&) = delete;
  CSimpleCondition& operator=(const CSimpleCondition&) = delete;

  // The caller holds `mutex` once, not deeper: it is free during the sleep. May return early.
  void Wait(CSimpleMutex& mutex) KIV_REQUIRES(mutex);
  void WakeAll();

 private:
  pthread_cond_t condition_;
};

}  // namespace SimpleSync

// Guards a mutex that is not recursive: its holder must not lock it again.
// Errors:   a failing lock is thrown as std::system_error.
class CKivSingleLock {
 public:
  explicit CKivSingleLock(std::mutex& mutex);
  virtual ~CKivSingleLock();
  CKivSingleLock(const CKivSingleLock&) = delete;
  CKivSingleLock& operator=(const CKivSingleLock&) = delete;

 private:
  std::mutex* const mutex_;
  int32_t held_ = 0;
};
