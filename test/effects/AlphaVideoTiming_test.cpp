// Which frame of a preset each frame of a clip shows.
#include "kiv/effects/AlphaVideoTiming.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

struct Mapped {
  int32_t frame, expected;
};

struct TimingCase {
  const char* name;
  AlphaVideoTiming timing;
  std::vector<Mapped> frames;
};

constexpr KivRational k25{25, 1}, k30{30, 1}, k50{50, 1}, kNtsc{30000, 1001};
constexpr KivRange kTenSeconds{0, 249};
constexpr int32_t kMost = INT32_MAX, kLeast = INT32_MIN;

// Source rate, render rate, range, duration, pause, loop.
const TimingCase kCases[] = {
    {"holds the frame before the pause point",
     {k25, k25, kTenSeconds, 5, 2, 0},
     {{0, 0}, {1, 1}, {49, 49}, {50, 49}, {120, 49}, {175, 49}, {176, 50}, {200, 74}, {249, 123}}},
    {"loops from there",
     {k25, k25, kTenSeconds, 5, 2, 10},
     {{49, 49}, {50, 57}, {52, 49}, {60, 57}, {61, 58}, {62, 49}, {175, 52}, {176, 50}}},
    {"by a negative count as by a positive one", {k25, k25, kTenSeconds, 5, 2, -10}, {{60, 57}}},
    {"by one as if held", {k25, k25, kTenSeconds, 5, 2, 1}, {{60, 49}, {175, 49}}},
    {"beyond the preset's end", {k25, k25, kTenSeconds, 5, 2, 1000}, {{60, 107}, {175, 222}}},
    {"loops as a whole",
     {k25, k25, kTenSeconds, 5, 0, 0},
     {{0, 0}, {1, 0}, {2, 1}, {124, 123}, {125, 0}, {126, 1}, {130, 5}, {249, 0}, {-40, 0}}},
    {"whatever the loop count without a pause", {k25, k25, kTenSeconds, 5, 0, 7}, {{130, 5}}},
    {"as it is when the clip is shorter", {k25, k25, {0, 99}, 5, 2, 10}, {{0, 0}, {99, 99}}},
    {"or as long", {k25, k25, {100, 224}, 5, 2, 10}, {{60, 60}, {124, 124}}},
    {"counting the range's frames, not its numbers",
     {k25, k25, {1000, 1249}, 5, 2, 0},
     {{100, 49}, {176, 50}}},
    {"a range that ends before it starts is none",
     {k25, k25, {10, 9}, 5, 2, 0},
     {{100, 100}, {176, 176}}},
    {"a render rate apart from the source's",
     {k25, k50, {0, 499}, 5, 2, 0},
     {{49, 49}, {50, 49}, {175, 49}, {176, 50}}},
    {"a source rate of its own",  // p = trunc(59.94) - 1; the pause is over after 7 s
     {kNtsc, k25, kTenSeconds, 5, 2, 0},
     {{59, 59}, {60, 58}, {209, 58}, {210, 59}, {299, 148}}},
    {"a pause point before the second frame is none",
     {k25, k25, kTenSeconds, 5, 0.079, 0},
     {{1, 0}, {130, 5}}},
    {"and one at the second frame is the first",
     {k25, k25, kTenSeconds, 5, 0.08, 0},
     {{1, 1}, {2, 1}, {127, 1}, {128, 2}}},
    {"what doubles hold a little below a whole frame is that frame",
     {k25, k25, kTenSeconds, 5, 1.16, 0},
     {{28, 28}, {29, 28}, {154, 28}, {155, 29}}},
    {"on every step after a pause",
     {k50, k25, {0, 499}, 5, 2, 0},
     {{850, 99}, {851, 100}, {852, 101}, {893, 142}}},
    {"a time that was stored with six decimals is the frame count it was",
     {k30, k30, {0, 30}, 1.033333, 0, 0},
     {{0, 0}, {1, 1}, {30, 30}}},
    {"a pause point rounded down",
     {k30, k30, {0, 299}, 5, 1.033333, 0},
     {{30, 30}, {31, 30}, {181, 30}, {182, 31}}},
    {"and one rounded up",
     {k30, k30, {0, 299}, 5, 1.966667, 0},
     {{58, 58}, {59, 58}, {209, 58}, {210, 59}}},
    {"but nothing farther away", {k30, k30, {0, 30}, 1.033331, 0, 0}, {{0, 0}, {1, 0}, {30, 0}}},
    {"an unknown render rate pauses for ever",
     {k25, {0, 1}, kTenSeconds, 5, 2, 0},
     {{49, 49}, {50, 49}, {100000, 49}}},
    {"or loops for ever", {k25, {0, 1}, kTenSeconds, 5, 0, 0}, {{130, 5}, {12401, 0}}},
    {"but not without a range", {k25, {0, 1}, {0, -1}, 5, 2, 0}, {{100, 100}}},
    {"presets under two frames show their first",
     {k25, k25, kTenSeconds, 0.079, 0, 0},
     {{0, 0}, {1, 0}, {200, 0}}},
    {"no duration", {k25, k25, kTenSeconds, 0, 0, 0}, {{0, 0}, {77, 77}}},
    {"less than none", {k25, k25, kTenSeconds, -3, 0, 0}, {{77, 77}}},
    {"a pause without a duration", {k25, k25, kTenSeconds, 0, 2, 0}, {{49, 49}, {249, 49}}},
    {"a duration that is no number", {k25, k25, kTenSeconds, NAN, 2, 5}, {{77, 77}}},
    {"a pause that is no number loops", {k25, k25, kTenSeconds, 5, NAN, 5}, {{130, 5}}},
    {"no source rate", {{0, 1}, k25, kTenSeconds, 5, 0, 0}, {{0, 0}, {9, 0}}},
    {"nor a rate at all", {{0, 0}, {0, 0}, kTenSeconds, 5, 2, 3}, {{9, 9}}},
    {"the limits", {k25, k25, {kLeast, kMost}, 5, 1e300, -1}, {{kMost, kMost}, {kLeast, kLeast}}},
    {"and beyond", {{kMost, 1}, {1, kMost}, {0, kMost}, 1e-9, 1e300, kLeast}, {{kMost, kMost}}},
};

TEST(AlphaVideoTiming, MapsFrames) {
  for (const TimingCase& test : kCases) {
    for (const Mapped& mapped : test.frames) {
      EXPECT_EQ(mapped.expected, MapToMaskFrame(test.timing, mapped.frame))
          << test.name << ": " << mapped.frame;
    }
  }
}

TEST(AlphaVideoTiming, TellsWhenFramesStart) {
  EXPECT_EQ(4'000'000, AlphaFrameTime({}, 10));
  EXPECT_EQ(333'666, AlphaFrameTime({.sourceRate = kNtsc}, 1));
  EXPECT_EQ(0, AlphaFrameTime({.sourceRate = {0, 0}}, 0));
  EXPECT_EQ(INT64_MAX, AlphaFrameTime({.sourceRate = {0, 1}}, 1));
}

}  // namespace
