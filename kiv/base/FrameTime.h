// Frame numbers and times: when a frame starts, which frame is shown at a time, and which frames stand
// for which when a clip is shown faster or slower, or at another frame rate. Nodes, decoders and hosts
// compare the results with each other to the tick, so all of them take these formulas.
//
// Units:    times in 100 ns; a rate is frames per second. `given` counts the frames that the speed node
//           is given, `shown` those that it shows; speed is given frames per shown one, above 0.
#pragma once

#include <cmath>
#include <cstdint>

#include "kiv/values/Saturate.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

inline constexpr int64_t kTicksPerSecond = 10'000'000;

constexpr double SecondsOf(int64_t ticks) {
  return static_cast<double>(ticks) / static_cast<double>(kTicksPerSecond);
}

// Above 0 and finite.
inline bool IsRate(const KivRational& rate) {
  const double value = rate.ToDouble();
  return value > 0 && std::isfinite(value);
}

// An index beyond this has no time that 64 bits could hold: index x 10^7 must not overflow.
inline constexpr int64_t kLastTimedIndex = INT64_MAX / kTicksPerSecond;

// Start of frame `index`: the product is formed in integers and the quotient truncated, so 30000/1001
// maps 1 to 333666. The product is a multiple of 2^7, so a double holds that of any 32-bit index.
constexpr int64_t FrameStart(int64_t index, double rate) {
  const int64_t below = index < kLastTimedIndex ? index : kLastTimedIndex;
  const int64_t bounded = below > -kLastTimedIndex ? below : -kLastTimedIndex;
  return SaturateToInt64(static_cast<double>(bounded * kTicksPerSecond) / rate);
}
inline int64_t FrameStart(int64_t index, const KivRational& rate) {
  return FrameStart(index, rate.ToDouble());
}

// The frame of a regular clip that is shown at `time`, unbounded in both directions. A time that
// was truncated from a frame's start, or fell one tick short of it, names that frame.
inline int64_t FrameAt(int64_t time, const KivRational& rate) {
  const int64_t shown = SaturatingAdd(time, 1);
  const double estimate = std::floor(static_cast<double>(shown) * rate.ToDouble() /
                                     static_cast<double>(kTicksPerSecond));
  const int64_t guess = SaturateToInt64(estimate);
  const int64_t below = guess < kLastTimedIndex ? guess : kLastTimedIndex;
  int64_t index = below > -kLastTimedIndex ? below : -kLastTimedIndex;
  // The estimate may be off by one where the division rounded.
  while (index > -kLastTimedIndex && FrameStart(index, rate) > shown) --index;
  while (index < kLastTimedIndex && FrameStart(index + 1, rate) <= shown) ++index;
  return index;
}

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
  constexpr double kHalfSecond = 5'000'000.0;
  const int64_t start = FrameStart(rated, rate);
  if (start == INT64_MAX) return start;  // beyond all times, and so is half a frame before
  return SaturatingSubtract(start, SaturateToInt64(kHalfSecond / rate));
}

// The last frame of another rate that a given frame which starts at `start`, or one before it, stands
// for. Not above `limit`.
constexpr int64_t LastRatedFor(int64_t start, double rate, int32_t limit) {
  const auto ticksPerSecond = static_cast<double>(kTicksPerSecond);
  const int64_t guess = SaturateToInt64(static_cast<double>(start) * rate / ticksPerSecond + 0.5);
  int64_t rated = guess < limit ? guess : limit;
  // The product was rounded, and so are the times compared.
  while (rated > 0 && EarliestStartFor(rated, rate) > start) --rated;
  while (rated < limit && EarliestStartFor(rated + 1, rate) <= start) ++rated;
  return rated;
}

}  // namespace kiv
