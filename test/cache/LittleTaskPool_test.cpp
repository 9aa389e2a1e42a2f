#include "kiv/cache/LittleTaskPool.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "kiv/platform/OsServices.h"

namespace {

struct Pool : testing::Test {
  std::unique_ptr<LTask::CLittleTaskPool> pool = std::make_unique<LTask::CLittleTaskPool>();
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
};

TEST_F(Pool, RunsTasksInOrderOnOneThreadThatIsInsideTheObjectServices) {
  std::vector<std::thread::id> threads;
  std::vector<int32_t> order;
  HRESULT entered = S_OK;
  pool->enqueue([&] {
    entered = CoInitialize(nullptr);
    CoUninitialize();
    threads.push_back(std::this_thread::get_id());
    order.push_back(1);
    return 0;
  });
  auto second = pool->enqueue([&] {
    threads.push_back(std::this_thread::get_id());
    order.push_back(2);
    return 7;
  });
  EXPECT_EQ(7, second.get());
  EXPECT_EQ((std::vector<int32_t>{1, 2}), order);
  EXPECT_EQ(threads[0], threads[1]);
  EXPECT_NE(std::this_thread::get_id(), threads[0]);
  EXPECT_EQ(S_FALSE, entered);
}

TEST_F(Pool, ATaskThatThrowsLeavesTheExceptionInItsFutureAndTheNextOneRuns) {
  auto thrown = pool->enqueue([]() -> int32_t { throw std::invalid_argument("7"); });
  auto next = pool->enqueue([] { return 5; });
  EXPECT_THROW(thrown.get(), std::invalid_argument);
  EXPECT_EQ(5, next.get());
}

TEST_F(Pool, EndingItRunsWhatIsQueuedAndRefusesMore) {
  std::string refusal;
  auto* const raw = pool.get();
  auto first = raw->enqueue([this] { return released.wait(), 1; });
  auto second = raw->enqueue([&] {
    // Refused from the moment the destructor has said so.
    try {
      while (true) raw->enqueue([] { return 3; });
    } catch (const std::runtime_error& error) {
      refusal = error.what();
    }
    return 2;
  });
  std::thread ending([this] { pool.reset(); });
  release.set_value();
  ending.join();
  EXPECT_EQ(1, first.get());
  EXPECT_EQ(2, second.get());
  EXPECT_EQ("enqueue on stopped ThreadPool", refusal);
}

}  // namespace
