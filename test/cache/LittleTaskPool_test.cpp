#include "kiv/cache/LittleTaskPool.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "kiv/platform/OsServices.h"

namespace {

struct Pool : testing::Test {
  std::unique_ptr<LTask::CLittleTaskPool> pool = std::make_unique<LTask::CLittleTaskPool>();
};

TEST_F(Pool, RunsTasksInOrderOnOneThreadThatIsInsideTheObjectServices) {
  std::vector<std::pair<int32_t, std::thread::id>> ran;
  HRESULT entered = S_OK;
  pool->enqueue([&] {
    entered = CoInitialize(nullptr);
    CoUninitialize();
    return ran.emplace_back(1, std::this_thread::get_id()).first;
  });
  auto second =
      pool->enqueue([&] { return ran.emplace_back(2, std::this_thread::get_id()).first; });
  EXPECT_EQ(2, second.get());
  EXPECT_EQ(1, ran[0].first);
  EXPECT_EQ(ran[0].second, ran[1].second);
  EXPECT_NE(std::this_thread::get_id(), ran[0].second);
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
  auto task = raw->enqueue([&] {
    // Refused from the moment the destructor has said so.
    try {
      while (true) raw->enqueue([] { return 3; });
    } catch (const std::runtime_error& error) {
      refusal = error.what();
    }
    return 2;
  });
  pool.reset();
  EXPECT_EQ(2, task.get());
  EXPECT_EQ("enqueue on stopped ThreadPool", refusal);
}

}  // namespace
