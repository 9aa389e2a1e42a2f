// Which frames stand for which when a clip is shown faster or slower, or at another frame rate: what the
// speed node and the rate node step by, and what a host has to know of their steps. In doubles, so that
// both round alike.
//
// Units:    `given` counts the frames that the speed node is given, `shown` those that it shows; speed
//           is given frames per shown one, above 0. Times in 100 ns.
#pragma once

#include <cstdint>

#include "kiv/values/Saturate.h"

namespace kiv {

// How many given frames a node walks over one by one. What is farther it seeks.
inline constexpr int32_t kLongestWalk = 1000;

// The shown frame that a given one stands for.
constexpr int32_t ShownFor(int32_t given, double speed) { return SaturateToInt32(given / speed); }

// The given frame that a shown one falls into.
constexpr int64_t GivenFor(int32_t shown, double speed) { return SaturateToInt64(shown * speed); }

// How many frames are generated between two given ones: 1/speed - 1, rounded half up.
constexpr int32_t InBetweenCountOf(double speed) {
  return SaturateToInt32(1.0 / speed - 1.0 + 0.5);
}

// The first given frame that stands for `shown` or a later one: the one that stepping forward ends on.
// Not above `limit`.
constexpr int32_t FirstGivenFor(int32_t shown, double speed, int32_t limit) {
  // The quotient may be rounded either way; a speed that is no slow motion leads nowhere.
  constexpr int kMostRounding = 3;
  const int64_t around = GivenFor(shown, speed);
  const int64_t guess = (around > 1 ? around : 1) - 1;
  int32_t given = ClampToInt32(guess < limit ? guess : limit);
  for (int i = 0; i < kMostRounding && given < limit; ++i) {
    if (ShownFor(given, speed) >= shown) break;
    ++given;
  }
  return given;
}

// The earliest start of a given frame that may stand for the frame `rated` of another rate: half a frame
// of that rate before its own.
constexpr int64_t EarliestStartFor(int64_t rated, double rate) {
  constexpr int64_t kTicksPerSecond = 10'000'000;
  constexpr double kHalfSecond = 5'000'000.0;
  const int64_t half = SaturateToInt64(kHalfSecond / rate);
  const auto scaled = static_cast<double>(rated * kTicksPerSecond);
  const int64_t start = SaturateToInt64(scaled / rate);
  if (start == INT64_MAX) return start;  // beyond all times, and so is half a frame before
  int64_t earliest = 0;
  const bool isBeyond = __builtin_sub_overflow(start, half, &earliest);
  if (!isBeyond) return earliest;
  return half > 0 ? INT64_MIN : INT64_MAX;
}

// The last frame of another rate that a given frame which starts at `start`, or one before it, stands
// for. Not above `limit`.
constexpr int64_t LastRatedFor(int64_t start, double rate, int32_t limit) {
  constexpr double kTicksPerSecond = 1e7;
  const int64_t guess = SaturateToInt64(static_cast<double>(start) * rate / kTicksPerSecond + 0.5);
  int64_t rated = guess < limit ? guess : limit;
  // The product was rounded, and so are the times compared.
  while (rated > 0 && EarliestStartFor(rated, rate) > start) --rated;
  while (rated < limit && EarliestStartFor(rated + 1, rate) <= start) ++rated;
  return rated;
}

}  // namespace kiv
