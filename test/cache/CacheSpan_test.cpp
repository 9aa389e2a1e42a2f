#include "kiv/cache/CacheSpan.h"

#include <gtest/gtest.h>

namespace {

constexpr int32_t kMax = INT32_MAX;
constexpr int32_t kMin = INT32_MIN;

struct SpanCase {
  const char* name;
  int32_t index;
  SpanRules rules;
  std::optional<CacheSpan> current;
  std::optional<PrefetchPlan> plan;
};

constexpr SpanRules kTwenty{0, 9999, 20};

const SpanCase kSpans[] = {
    {"first", 500, kTwenty, {}, {{{487, 505}, {487, 505}}}},
    {"sevenBack", 493, kTwenty, {{487, 505}}, {{{480, 498}, {480, 486}}}},
    {"threeAhead", 503, kTwenty, {{487, 505}}, {}},
    {"fourAhead", 504, kTwenty, {{487, 505}}, {{{491, 509}, {506, 509}}}},
    {"farBack", 100, kTwenty, {{487, 505}}, {{{87, 105}, {87, 105}}}},
    {"farAhead", 900, kTwenty, {{487, 505}}, {{{887, 905}, {887, 905}}}},
    {"clipStart", 3, kTwenty, {}, {{{0, 8}, {0, 8}}}},
    {"clipEnd", 98, {0, 99, 20}, {}, {{{85, 99}, {85, 99}}}},
    {"rangeStart", 12, {10, 99, 20}, {{10, 30}}, {}},
    {"noSize", 7, {0, 99, 0}, {}, {{{7, 6}, {7, 6}}}},
    {"lastStillZero", 7, {0, 0, 20}, {}, {{{0, 0}, {0, 0}}}},
    {"firstAfterLast", 50, {60, 40, 20}, {}, {{{60, 40}, {60, 40}}}},
    {"negativeSize", 50, {0, 99, -20}, {}, {{{63, 43}, {63, 43}}}},
    {"largestSize", 100, {0, kMax, kMax}, {}, {{{0, 715827981}, {0, 715827981}}}},
    {"largestAll", kMax, {kMin, kMax, kMax}, {}, {{{715827883, kMax}, {715827883, kMax}}}},
};

TEST(Prefetching, ReadsTheSpanThatIsDue) {
  for (const SpanCase& c : kSpans) {
    SCOPED_TRACE(c.name);
    const auto plan = PlanPrefetch(c.index, c.rules, c.current);
    ASSERT_EQ(c.plan.has_value(), plan.has_value());
    if (!plan) continue;
    EXPECT_EQ(c.plan->span, plan->span);
    EXPECT_EQ(c.plan->read, plan->read);
  }
}

}  // namespace
