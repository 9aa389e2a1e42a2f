#include "engine/memory/SlabPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace {

using kiv::SlabPool;

constexpr size_t kPicture = 3'200'000;

TEST(SlabPool, BuffersAreApartAndGoBackToTheSystem) {
  SlabPool pool;
  struct Buffer {
    uint8_t* data;
    size_t size;
    uint8_t mark;
  };
  std::vector<Buffer> out;
  std::mt19937 random(3);
  for (int i = 0; i < 2000; ++i) {
    if (random() % 3 != 0 || out.empty()) {
      const size_t size = random() % 4 == 0 ? kPicture : 100'000;
      auto* const data = static_cast<uint8_t*>(pool.Acquire(size));
      ASSERT_NE(nullptr, data);
      EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(data) % SlabPool::kAlignment);
      data[0] = data[size - 1] = static_cast<uint8_t>(i);
      out.push_back({data, size, static_cast<uint8_t>(i)});
    }
    if (out.size() < 60 && random() % 2 == 0) continue;
    std::swap(out[random() % out.size()], out.back());
    const Buffer buffer = out.back();
    ASSERT_EQ(buffer.mark, buffer.data[0]);
    ASSERT_EQ(buffer.mark, buffer.data[buffer.size - 1]) << "two buffers overlap";
    pool.Release(buffer.data);
    out.pop_back();
  }
  for (const Buffer& buffer : out) pool.Release(buffer.data);
  pool.Release(nullptr);
  EXPECT_EQ(0, pool.Figures().bytesOut);
  EXPECT_EQ(0, pool.Figures().bytesReserved);
}

TEST(SlabPool, GivesSlabsBackAsTheyRunEmpty) {
  SlabPool pool;
  std::vector<void*> out;
  for (int i = 0; i < 100; ++i) out.push_back(pool.Acquire(kPicture));
  const int64_t most = pool.Figures().bytesReserved;
  EXPECT_LE(most, static_cast<int64_t>(120 * SlabPool::RoundedSize(kPicture)));
  for (int i = 0; i < 80; ++i, out.pop_back()) pool.Release(out.back());
  EXPECT_LE(pool.Figures().bytesReserved, most / 2);
  for (void* const buffer : out) pool.Release(buffer);
  EXPECT_EQ(nullptr, pool.Acquire(SIZE_MAX));
}

TEST(SlabPool, FromSeveralThreads) {
  SlabPool pool;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&pool, i] {
      for (int round = 0; round < 300; ++round) {
        void* const buffer = pool.Acquire(50'000);
        std::memset(buffer, i, 50'000);
        EXPECT_EQ(i, static_cast<uint8_t*>(buffer)[49'999]);
        pool.Release(buffer);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, pool.Figures().bytesOut);
}

}  // namespace
