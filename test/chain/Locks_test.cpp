#include "kiv/chain/Locks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>

using SimpleSync::CSimpleMutex;
using SimpleSync::CSimpleMutexLock;

namespace {

TEST(SimpleMutex, IsFreeOnlyAfterItsLastGuard) {
  CSimpleMutex mutex;
  std::atomic<int> step{0};
  int seen = -1;
  auto outer = std::make_unique<CSimpleMutexLock>(mutex);
  auto inner = std::make_unique<CSimpleMutexLock>(mutex);
  std::latch started(1);
  std::thread other([&] {
    started.count_down();
    CSimpleMutexLock guard(mutex);
    seen = step.load();
  });
  started.wait();
  step = 1;
  inner.reset();
  step = 2;
  outer.reset();
  other.join();
  EXPECT_EQ(2, seen);
}

TEST(SimpleMutex, KeepsThreadsApart) {
  CSimpleMutex mutex;
  int64_t count = 0;
  const auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      CSimpleMutexLock guard(mutex);
      ++count;
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(40000, count);
}

TEST(SingleLock, ReleasesAlsoWhenItsScopeIsLeftByAnException) {
  std::mutex mutex;
  try {
    CKivSingleLock guard(mutex);
    bool free = true;
    std::thread([&] {
      free = mutex.try_lock();
      if (free) mutex.unlock();
    }).join();
    EXPECT_FALSE(free);
    throw std::runtime_error("leaving");
  } catch (const std::runtime_error&) {
  }
  EXPECT_TRUE(mutex.try_lock());
  mutex.unlock();
}

}  // namespace
