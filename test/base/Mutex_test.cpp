#include "kiv/base/Mutex.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace {

using kiv::Condition;
using kiv::Mutex;
using kiv::MutexLock;
using kiv::MutexUnlock;

// Asked on another thread: the holder itself must not try.
bool IsFree(Mutex& mutex) {
  return std::async(std::launch::async,
                    [&mutex] {
                      if (!mutex.TryLock()) return false;
                      mutex.Unlock();
                      return true;
                    })
      .get();
}

TEST(Mutex, IsHeldAgainAfterAGapThatAnExceptionEnds) {
  Mutex mutex;
  {
    const MutexLock lock(mutex);
    EXPECT_FALSE(IsFree(mutex));
    try {
      const MutexUnlock gap(mutex);
      EXPECT_TRUE(IsFree(mutex));
      throw std::runtime_error("inside the gap");
    } catch (const std::runtime_error&) {
      EXPECT_FALSE(IsFree(mutex));
    }
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, AnAdoptedLockIsGivenBackOnce) {
  Mutex mutex;
  mutex.Lock();
  {
    const MutexLock lock(mutex, std::adopt_lock);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Condition, FreesTheMutexWhileItWaitsAndHoldsItAfterwards) {
  Mutex mutex;
  Condition changed;
  bool ready = false;
  const MutexLock lock(mutex);
  // Gets the mutex only while this thread waits.
  std::future<void> other = std::async(std::launch::async, [&] {
    const MutexLock theirs(mutex);
    ready = true;
    changed.WakeAll();
  });
  while (!ready) changed.Wait(mutex);
  EXPECT_FALSE(IsFree(mutex));
  const auto past = std::chrono::steady_clock::now() - std::chrono::seconds(1);
  EXPECT_FALSE(changed.WaitUntil(mutex, past));
  EXPECT_FALSE(IsFree(mutex));
  {
    const MutexUnlock gap(mutex);
    other.get();
  }
}

}  // namespace
