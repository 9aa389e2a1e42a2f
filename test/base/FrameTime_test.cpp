// When frames start, which frame is shown when, and which frames stand for which.
#include "kiv/base/FrameTime.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(FrameAt, InvertsFrameStartForEveryFrame) {
  for (const KivRational rate :
       {KivRational{24000, 1001}, KivRational{30000, 1001}, KivRational{60000, 1001},
        KivRational{25, 1}, KivRational{120, 1}, KivRational{1, 7}, KivRational{10000, 1}}) {
    for (int64_t frame = 0; frame < 200'000; frame += frame < 2000 ? 1 : 977) {
      const int64_t start = kiv::FrameStart(frame, rate);
      ASSERT_EQ(frame, kiv::FrameAt(start, rate)) << rate.numerator;
      ASSERT_EQ(frame, kiv::FrameAt(kiv::FrameStart(frame + 1, rate) - 2, rate));
    }
  }
  EXPECT_EQ(333'666, kiv::FrameStart(1, {30000, 1001}));
  EXPECT_EQ(-2, kiv::FrameAt(-800'000, {25, 1}));
}

// Products of more than 53 bits, as far as indices go, and indices whose product no integer holds.
TEST(FrameStart, IsExactForEveryIndexAndSaturates) {
  EXPECT_EQ(9'007'199'260'000'000, kiv::FrameStart(900'719'926, 1.0));
  EXPECT_EQ(21'474'836'470'000'000, kiv::FrameStart(INT32_MAX, 1.0));
  EXPECT_EQ(-21'474'836'480'000'000, kiv::FrameStart(INT32_MIN, 1.0));
  EXPECT_EQ(858'993'458'800'000, kiv::FrameStart(INT32_MAX, {25, 1}));
  EXPECT_EQ(INT64_MAX, kiv::FrameStart(INT64_MAX, 0.5));
  EXPECT_EQ(INT64_MIN, kiv::FrameStart(INT64_MIN, 0.5));
  EXPECT_EQ(0, kiv::FrameStart(0, 0.0)) << "no number";
  EXPECT_EQ(0, kiv::FrameStart(7, HUGE_VAL));
}

TEST(IsRate, IsAboveNothingAndFinite) {
  EXPECT_TRUE(kiv::IsRate({30000, 1001}));
  EXPECT_TRUE(kiv::IsRate({-25, -1}));
  for (const KivRational rate : {KivRational{0, 1}, {-25, 1}, {25, 0}, {0, 0}}) {
    EXPECT_FALSE(kiv::IsRate(rate)) << rate.numerator << "/" << rate.denominator;
  }
}

// At a third of the speed: three frames are shown for each one given.
TEST(SpeedNumbers, SayWhichFramesStandForWhich) {
  EXPECT_EQ(2, kiv::InBetweenCountOf(1.0 / 3));
  EXPECT_EQ(0, kiv::InBetweenCountOf(1.0));
  EXPECT_EQ(1, kiv::InBetweenCountOf(0.6)) << "rounded up";
  EXPECT_EQ(12, kiv::ShownFor(4, 1.0 / 3));
  EXPECT_EQ(30, kiv::GivenFor(12, 2.5));
  EXPECT_EQ(INT32_MAX, kiv::ShownFor(INT32_MAX, 0.5));
  const int32_t kFirst[] = {0, 1, 1, 1, 2, 2, 2, 3};
  for (int32_t shown = 0; shown < 8; ++shown) {
    EXPECT_EQ(kFirst[shown], kiv::FirstGivenFor(shown, 1.0 / 3, INT32_MAX)) << shown;
  }
  EXPECT_EQ(5, kiv::FirstGivenFor(300, 1.0 / 3, 5));
}

// Frame 3 at 25 a second starts at 120 ms; what starts from 100 ms on may stand for it.
TEST(RatedFrames, AreThoseWithinHalfAFrameBefore) {
  EXPECT_EQ(1'000'000, kiv::EarliestStartFor(3, 25.0));
  EXPECT_EQ(-200'000, kiv::EarliestStartFor(0, 25.0));
  EXPECT_EQ(INT64_MAX, kiv::EarliestStartFor(1, 1e-12));
  EXPECT_EQ(2, kiv::LastRatedFor(999'999, 25.0, INT32_MAX));
  EXPECT_EQ(3, kiv::LastRatedFor(1'000'000, 25.0, INT32_MAX));
  EXPECT_EQ(1, kiv::LastRatedFor(1'000'000, 25.0, 1));
  EXPECT_EQ(0, kiv::LastRatedFor(0, 30000.0 / 1001, INT32_MAX));
}

}  // namespace
