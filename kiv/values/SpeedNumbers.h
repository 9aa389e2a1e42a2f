// Which frames stand for which when a clip is shown faster or slower: what the speed node steps by and
// what a host has to know of its steps. In doubles, so that both round alike.
//
// Units:    `given` counts the frames that the speed node is given, `shown` those that it shows; speed
//           is given frames per shown one, above 0.
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

}  // namespace kiv
