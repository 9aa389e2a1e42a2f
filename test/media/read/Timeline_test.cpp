// Times for frames whose stamps repeat, go back, leap or are missing.
#include "engine/media/read/Timeline.h"

#include <gtest/gtest.h>

#include "engine/media/read/PacketTable.h"

namespace {

using kiv::kNoStamp;
using kiv::Timeline;
using Stamps = std::vector<int64_t>;
using Parts = std::vector<int32_t>;

Timeline Unroll(const Stamps& stamps) { return kiv::Unroll(stamps, {40, 1, 100'000}); }

TEST(Timeline, RisesWhereStampsRepeatOrAreEarly) {
  EXPECT_EQ((Stamps{0, 40, 41, 120, 121, 200}), Unroll({0, 40, 40, 120, 120, 200}).stamps);
  EXPECT_EQ((Stamps{0, 80, 81, 82, 160}), Unroll({0, 80, 80, 80, 160}).stamps);
  EXPECT_EQ((Stamps{7, 47, 48, 127}), Unroll({7, 47, 27, 127}).stamps);
  EXPECT_EQ((Stamps{0, 40, 80, 120}), Unroll({0, kNoStamp, 80, 120}).stamps);
  EXPECT_EQ((Parts{0}), Unroll({0, 40, 40, 120, 27, 160}).parts);
}

TEST(Timeline, RunsOnWhereStampsBeginAnew) {
  const Timeline twice = Unroll({5, 45, 85, 5, 45, 85, 125});
  EXPECT_EQ((Stamps{5, 45, 85, 125, 165, 205, 245}), twice.stamps);
  EXPECT_EQ((Parts{0, 3}), twice.parts);
  const Timeline back = Unroll({90'000, 90'040, 0, 40});
  EXPECT_EQ((Stamps{90'000, 90'040, 90'080, 90'120}), back.stamps) << "two of one frame's length";
  const Timeline ahead = Unroll({0, 40, 1'000'000, 1'000'040});
  EXPECT_EQ((Stamps{0, 40, 80, 120}), ahead.stamps);
  EXPECT_EQ((Parts{0, 2}), ahead.parts);
  EXPECT_EQ((Stamps{0, 40, 99'000}), Unroll({0, 40, 99'000}).stamps) << "a gap is a gap";
}

TEST(Timeline, HoldsAnyStamps) {
  const Stamps wild{INT64_MAX, INT64_MAX, INT64_MIN + 1, 0, INT64_MAX - 1, -5, INT64_MIN + 1};
  const Timeline line = kiv::Unroll(wild, {1, 1, INT64_MAX});
  EXPECT_EQ(wild.size(), line.stamps.size());
  EXPECT_TRUE(std::is_sorted(line.stamps.begin(), line.stamps.end()));
  EXPECT_TRUE(Unroll({}).stamps.empty());
}

}  // namespace
