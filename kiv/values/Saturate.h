// The one conversion from double to integer: truncates toward zero, saturates, NaN gives 0.
// And sums that stay at the end of their range.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace kiv {

template <typename Integer>
constexpr Integer SaturateTo(double value) {
  // 2^(digits): exactly representable, one above the largest value.
  constexpr double kLimit =
      static_cast<double>((std::numeric_limits<Integer>::max() >> 1) + 1) * 2.0;
  if (value != value) return 0;
  if (value >= kLimit) return std::numeric_limits<Integer>::max();
  if (value <= static_cast<double>(std::numeric_limits<Integer>::min())) {
    return std::numeric_limits<Integer>::min();
  }
  return static_cast<Integer>(value);
}

constexpr int32_t SaturateToInt32(double value) { return SaturateTo<int32_t>(value); }
constexpr int64_t SaturateToInt64(double value) { return SaturateTo<int64_t>(value); }

// For indices and counts whose 64-bit sum may leave the 32-bit range.
constexpr int32_t ClampToInt32(int64_t value) {
  constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
  constexpr int64_t kMin = std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value > kMax ? kMax : value < kMin ? kMin : value);
}

// Sums and differences of times and stamps, which a file may put anywhere.
constexpr int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}
constexpr int64_t SaturatingSubtract(int64_t a, int64_t b) {
  int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return b < 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

}  // namespace kiv
