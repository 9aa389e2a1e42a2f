#include "kiv/base/Locks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
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

}  // namespace
