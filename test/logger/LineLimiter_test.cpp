#include "engine/logger/LineLimiter.h"

#include <gtest/gtest.h>

#include <string>

namespace kiv {
namespace {

int WrittenOf(LineLimiter& limiter, const std::string& line, int times, int64_t now) {
  int written = 0;
  for (int i = 0; i < times; ++i) written += limiter.Judge(line, now).write;
  return written;
}

TEST(LineLimiter, OneComplaintIsWrittenThreeTimesAWindow) {
  LineLimiter limiter;
  EXPECT_EQ(3, WrittenOf(limiter, "bad block", 1000, 0));
  EXPECT_EQ(0, WrittenOf(limiter, "bad block", 1, 9999));
  EXPECT_EQ(3, WrittenOf(limiter, "bad block", 1000, 10000));
}

TEST(LineLimiter, NumbersDoNotMakeAComplaintNew) {
  LineLimiter limiter;
  int written = 0;
  for (int i = 0; i < 100; ++i) {
    written += limiter.Judge("error at MB " + std::to_string(i), 5).write;
  }
  EXPECT_EQ(3, written);
  EXPECT_TRUE(limiter.Judge("another error", 5).write);
}

TEST(LineLimiter, ManyDifferentComplaintsAreBoundedTogether) {
  LineLimiter limiter;
  int written = 0;
  for (int i = 0; i < 1000; ++i) {
    written += limiter.Judge(std::string(static_cast<size_t>(i), 'x'), 5).write;
  }
  EXPECT_EQ(30, written);
}

TEST(LineLimiter, TheNextWindowTellsOnceWhatWasLeftOut) {
  LineLimiter limiter;
  WrittenOf(limiter, "bad block", 10, 0);
  const LineLimiter::Verdict first = limiter.Judge("something else", 20000);
  EXPECT_TRUE(first.write);
  EXPECT_EQ(7, first.leftOut);
  EXPECT_EQ(0, limiter.Judge("something else", 20000).leftOut);
}

}  // namespace
}  // namespace kiv
