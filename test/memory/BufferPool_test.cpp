#include "engine/memory/BufferPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace kiv {
namespace {

constexpr size_t kMiB = size_t{1} << 20;
constexpr size_t kHuge = std::numeric_limits<size_t>::max();

// By hand: size plus 64 of slack, rounded up to an eighth of the power of two below it (64 at
// least).
TEST(BufferPool, ClassesRoundUpByAnEighthAtMost) {
  const std::pair<size_t, size_t> kCases[] = {
      {0, 0}, {64, 128}, {65, 192}, {960, 1024}, {961, 1152}, {8294400, 8388608}, {kHuge, 0}};
  for (const auto& [size, expected] : kCases) {
    EXPECT_EQ(expected, BufferPool::ClassSize(size)) << size;
  }
}

TEST(BufferPool, HandsOutAlignedWritableMemoryWithSlack) {
  BufferPool pool;
  for (const size_t size : {size_t{1}, size_t{1000}, 8 * kMiB}) {
    void* const buffer = pool.Acquire(size);
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(buffer) % BufferPool::kAlignment) << size;
    std::memset(buffer, 0xAB, size + BufferPool::kSlack);
    pool.Release(buffer, size);
  }
  EXPECT_EQ(nullptr, pool.Acquire(0));
  EXPECT_EQ(nullptr, pool.Acquire(kHuge));
  EXPECT_EQ(0, pool.Figures().bytesOut);
}

TEST(BufferPool, SteadyUseOfOneClassTakesNothingMoreFromTheSystem) {
  BufferPool pool;
  const auto reserved = static_cast<int64_t>(BufferPool::ClassSize(1000000));
  for (size_t size = 1000000; size < 1000100; ++size) {
    void* const a = pool.Acquire(size);
    void* const b = pool.Acquire(size);
    EXPECT_EQ(2 * reserved, pool.Figures().bytesOut);
    pool.Release(a, size);
    pool.Release(b, size);
    EXPECT_EQ(2 * reserved, pool.Figures().bytesIdle);
  }
  EXPECT_EQ(2, pool.Figures().systemAllocations);
  pool.Trim();
  EXPECT_EQ(0, pool.Figures().bytesIdle);
}

TEST(BufferPool, IdleMemoryStaysBelowItsLimit) {
  BufferPool pool({.idleBytes = 4 * kMiB, .idleAcquisitions = 3});
  std::vector<void*> buffers;
  for (int i = 0; i < 10; ++i) buffers.push_back(pool.Acquire(kMiB));
  for (void* const buffer : buffers) pool.Release(buffer, kMiB);
  EXPECT_EQ(3 * static_cast<int64_t>(BufferPool::ClassSize(kMiB)), pool.Figures().bytesIdle);
  // What was not wanted for so many acquisitions goes back.
  for (int i = 0; i < 5; ++i) pool.Release(pool.Acquire(2000), 2000);
  EXPECT_EQ(static_cast<int64_t>(BufferPool::ClassSize(2000)), pool.Figures().bytesIdle);
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
