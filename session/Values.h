// The small values that the session library takes and returns.
#pragma once

#include <cstdint>
#include <optional>

namespace kiv::session {

// Of all times.
inline constexpr int64_t kTicksPerSecond = 10'000'000;
constexpr double SecondsOf(int64_t ticks) {
  return static_cast<double>(ticks) / static_cast<double>(kTicksPerSecond);
}

// BGRA, 8 bits each.
inline constexpr int32_t kBytesPerPixel = 4;

// Pixels.
struct Size {
  int32_t width = 0, height = 0;
  bool operator==(const Size&) const = default;
};

// A frame rate, a speed or a scale. The denominator is above 0.
struct Rational {
  int64_t numerator = 0, denominator = 1;
  double ToDouble() const {
    return static_cast<double>(numerator) / static_cast<double>(denominator);
  }
  bool operator==(const Rational&) const = default;
};

// A part of a picture, in fractions of its sides from the top left corner.
struct Region {
  double left = 0, top = 0, width = 1, height = 1;
};

// Frames `first` to `last`, both included; without `last` up to the end.
struct FrameSpan {
  int32_t first = 0;
  std::optional<int32_t> last;
};

}  // namespace kiv::session
