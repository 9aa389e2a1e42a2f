#include "engine/common/BufferPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace kiv {
namespace {

constexpr size_t kMiB = size_t{1} << 20;

struct ClassCase {
  size_t size;
  size_t classSize;
};

class BufferClass : public testing::TestWithParam<ClassCase> {};

// By hand: size plus 64 of slack, rounded up to an eighth of the power of two below it (64 at
// least).
TEST_P(BufferClass, RoundsUpByAnEighthAtMost) {
  EXPECT_EQ(GetParam().classSize, BufferPool::ClassSize(GetParam().size));
}

INSTANTIATE_TEST_SUITE_P(Sizes, BufferClass,
                         testing::Values(ClassCase{0, 0}, ClassCase{1, 128}, ClassCase{64, 128},
                                         ClassCase{65, 192}, ClassCase{960, 1024},
                                         ClassCase{961, 1152}, ClassCase{8294400, 8388608},
                                         ClassCase{std::numeric_limits<size_t>::max(), 0}));

TEST(BufferPool, HandsOutAlignedWritableMemoryWithSlack) {
  BufferPool pool;
  for (const size_t size : {size_t{1}, size_t{63}, size_t{1000}, 8 * kMiB}) {
    void* const buffer = pool.Acquire(size);
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(buffer) % BufferPool::kAlignment) << size;
    std::memset(buffer, 0xAB, size + BufferPool::kSlack);
    pool.Release(buffer, size);
  }
}

TEST(BufferPool, RefusesWhatCannotBeHad) {
  BufferPool pool;
  EXPECT_EQ(nullptr, pool.Acquire(0));
  EXPECT_EQ(nullptr, pool.Acquire(std::numeric_limits<size_t>::max()));
  EXPECT_EQ(0, pool.Figures().bytesOut);
}

TEST(BufferPool, SteadyUseTakesNothingMoreFromTheSystem) {
  BufferPool pool;
  for (int round = 0; round < 100; ++round) {
    void* const a = pool.Acquire(kMiB);
    void* const b = pool.Acquire(kMiB);
    pool.Release(a, kMiB);
    pool.Release(b, kMiB);
  }
  EXPECT_EQ(2, pool.Figures().systemAllocations);
}

TEST(BufferPool, SizesOfOneClassShareABuffer) {
  BufferPool pool;
  void* const first = pool.Acquire(1000000);
  pool.Release(first, 1000000);
  void* const second = pool.Acquire(1000001);
  EXPECT_EQ(first, second);
  pool.Release(second, 1000001);
  void* const other = pool.Acquire(2000000);
  EXPECT_NE(first, other);
  pool.Release(other, 2000000);
}

TEST(BufferPool, FiguresFollowWhatIsOutAndIdle) {
  BufferPool pool;
  const auto reserved = static_cast<int64_t>(BufferPool::ClassSize(kMiB));
  void* const buffer = pool.Acquire(kMiB);
  EXPECT_EQ(reserved, pool.Figures().bytesOut);
  EXPECT_EQ(0, pool.Figures().bytesIdle);
  pool.Release(buffer, kMiB);
  EXPECT_EQ(0, pool.Figures().bytesOut);
  EXPECT_EQ(reserved, pool.Figures().bytesIdle);
  pool.Trim();
  EXPECT_EQ(0, pool.Figures().bytesIdle);
}

TEST(BufferPool, IdleMemoryStaysBelowItsLimit) {
  BufferPool pool({.idleBytes = 4 * kMiB, .idleAcquisitions = 1000});
  std::vector<void*> buffers;
  for (int i = 0; i < 10; ++i) buffers.push_back(pool.Acquire(kMiB));
  for (void* const buffer : buffers) pool.Release(buffer, kMiB);
  EXPECT_EQ(3 * static_cast<int64_t>(BufferPool::ClassSize(kMiB)), pool.Figures().bytesIdle);
}

TEST(BufferPool, WhatIsNotWantedAnyMoreGoesBack) {
  BufferPool pool({.idleBytes = 64 * kMiB, .idleAcquisitions = 3});
  pool.Release(pool.Acquire(2 * kMiB), 2 * kMiB);
  for (int i = 0; i < 4; ++i) pool.Release(pool.Acquire(kMiB), kMiB);
  EXPECT_EQ(static_cast<int64_t>(BufferPool::ClassSize(kMiB)), pool.Figures().bytesIdle);
}

TEST(BufferPool, PooledBufferMovesAndGivesBackOnce) {
  const int64_t before = BufferPool::Shared().Figures().bytesOut;
  {
    PooledBuffer a(5000);
    ASSERT_TRUE(a);
    uint8_t* const data = a.Data();
    PooledBuffer b(std::move(a));
    EXPECT_EQ(data, b.Data());
    b = PooledBuffer(7000);
    EXPECT_EQ(7000U, b.Size());
    EXPECT_EQ(before + static_cast<int64_t>(BufferPool::ClassSize(7000)),
              BufferPool::Shared().Figures().bytesOut);
  }
  EXPECT_EQ(before, BufferPool::Shared().Figures().bytesOut);
}

TEST(BufferPool, ThreadsNeverShareABuffer) {
  BufferPool pool({.idleBytes = 2 * kMiB, .idleAcquisitions = 8});
  std::vector<std::thread> threads;
  std::atomic<int> clashes{0};
  for (uint8_t mark = 1; mark <= 4; ++mark) {
    threads.emplace_back([&pool, &clashes, mark] {
      for (size_t round = 0; round < 2000; ++round) {
        const size_t size = 64 + 997 * (round % 13);
        auto* const bytes = static_cast<uint8_t*>(pool.Acquire(size));
        std::memset(bytes, mark, size);
        if (bytes[0] != mark || bytes[size - 1] != mark) ++clashes;
        pool.Release(bytes, size);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, clashes.load());
  EXPECT_EQ(0, pool.Figures().bytesOut);
}

}  // namespace
}  // namespace kiv
