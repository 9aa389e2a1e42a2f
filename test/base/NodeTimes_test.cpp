#include "kiv/platform/NodeTimes.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

constexpr int32_t kOuter = 8, kInner = 9;  // no chain uses these
constexpr int64_t kWork = 2'000'000;

int64_t Now() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

void Work() {
  const int64_t end = Now() + kWork;
  while (Now() < end) {
  }
}

TEST(NodeTimes, TimeBelongsToTheInnermostCall) {
  EXPECT_FALSE(KivEnterNode(kOuter));  // nobody asked
  KivMeasureNodes();
  for (const int32_t type : {-1, 16, INT32_MAX}) EXPECT_FALSE(KivEnterNode(type)) << type;
  const int64_t start = Now();
  ASSERT_TRUE(KivEnterNode(kOuter));
  ASSERT_TRUE(KivEnterNode(kInner));
  Work();
  KivLeaveNode();
  EXPECT_GE(KivNodeTime(kInner), kWork);
  Work();
  KivLeaveNode();
  EXPECT_GE(KivNodeTime(kOuter), kWork);
  EXPECT_LE(KivNodeTime(kOuter) + KivNodeTime(kInner), Now() - start);  // nothing counts twice
  EXPECT_EQ(0, KivNodeTime(INT32_MAX));
}

TEST(NodeTimes, AChainTooDeepIsNotMeasuredFurther) {
  KivMeasureNodes();
  int entered = 0;
  while (KivEnterNode(kOuter)) ++entered;
  EXPECT_GE(entered, 16);
  for (; entered > 0; --entered) KivLeaveNode();
  EXPECT_TRUE(KivEnterNode(kOuter));
  KivLeaveNode();
}

}  // namespace
