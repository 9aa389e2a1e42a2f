// Which clips are regular, and at what rate.
#include "engine/media/read/TimeGrid.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using kiv::TimeGrid;

std::vector<int64_t> Stamps(int count, KivRational rate, KivRational timeBase, double phase = 0) {
  std::vector<int64_t> stamps;
  for (int i = 0; i < count; ++i) {
    const double seconds = i / rate.ToDouble();
    stamps.push_back(
        static_cast<int64_t>(std::floor(seconds / timeBase.ToDouble() + phase + 1e-6)));
  }
  return stamps;
}

TEST(TimeGrid, FindsTheExactRateBehindRoundedStamps) {
  const KivRational cases[][2] = {
      // the rate, the time base
      {{24000, 1001}, {1, 1000}},  {{30000, 1001}, {1, 1000}},  {{60000, 1001}, {1, 1000}},
      {{120000, 1001}, {1, 1000}}, {{24, 1}, {1, 1000}},        {{25, 1}, {1, 90000}},
      {{24000, 1001}, {1, 90000}}, {{30000, 1001}, {1, 30000}}, {{50, 1}, {1, 50}},
  };
  for (const auto& [rate, timeBase] : cases) {
    for (const double phase : {0.0, 0.5}) {
      EXPECT_EQ(rate, TimeGrid(timeBase, {}).Fit(Stamps(3000, rate, timeBase, phase)))
          << rate.numerator << " in " << timeBase.denominator;
    }
  }
}

TEST(TimeGrid, AShortClipTakesTheAnnouncedRateOfThoseThatFit) {
  const KivRational ms{1, 1000};
  const auto stamps = Stamps(5, {30, 1}, ms);
  EXPECT_EQ((KivRational{30000, 1001}), TimeGrid(ms, {{2997, 100}}).Fit(stamps));
  EXPECT_EQ((KivRational{30, 1}), TimeGrid(ms, {{30, 1}}).Fit(stamps));
}

TEST(TimeGrid, AFrameOffTheGridMakesAClipIrregular) {
  const KivRational base{1, 90000};
  auto stamps = Stamps(100, {25, 1}, base);
  stamps[60] += 4;
  EXPECT_EQ((KivRational{0, 1}), TimeGrid(base, {{25, 1}}).Fit(stamps));
  stamps[60] -= 4;
  stamps.erase(stamps.begin() + 40);
  EXPECT_EQ((KivRational{0, 1}), TimeGrid(base, {{25, 1}}).Fit(stamps)) << "a frame is missing";
  EXPECT_EQ((KivRational{0, 1}),
            TimeGrid({1, 25}, {}).Fit(std::vector<int64_t>{0, 1, 3, 4, 6, 7, 8, 12}));
}

}  // namespace
