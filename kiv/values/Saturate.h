// The one conversion from double to integer: truncates toward zero, saturates, NaN gives 0.
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

}  // namespace kiv
