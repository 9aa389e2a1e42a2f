#include "kiv/base/Locks.h"

namespace SimpleSync {

CSimpleMutex::CSimpleMutex() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&mutex_, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CSimpleMutex::~CSimpleMutex() { pthread_mutex_destroy(&mutex_); }

CSimpleMutexLock::CSimpleMutexLock(CSimpleMutex& mutex) : mutex_(&mutex) {
  pthread_mutex_lock(&mutex_->mutex_);
}

CSimpleMutexLock::~CSimpleMutexLock() { pthread_mutex_unlock(&mutex_->mutex_); }

CSimpleCondition::CSimpleCondition() { pthread_cond_init(&condition_, nullptr); }

CSimpleCondition::~CSimpleCondition() { pthread_cond_destroy(&condition_); }

void CSimpleCondition::Wait(CSimpleMutex& mutex) { pthread_cond_wait(&condition_, &mutex.mutex_); }

void CSimpleCondition::WakeAll() { pthread_cond_broadcast(&condition_); }

}  // namespace SimpleSync

CKivSingleLock::CKivSingleLock(std::mutex& mutex) : mutex_(&mutex) {
  mutex_->lock();
  held_ = 1;
}

CKivSingleLock::~CKivSingleLock() {
  if (!held_) return;
  mutex_->unlock();
  held_ = 0;
}
