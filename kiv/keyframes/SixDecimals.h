// What a number becomes when it is written with six decimals and read again, without the text.
#pragma once

#include <cmath>
#include <string>

#include "kiv/values/NumberText.h"
#include "kiv/values/TextScan.h"

namespace kiv {

inline double ThroughText(double value) {
  std::wstring text;
  AppendFixed(&text, value);
  double read = 0;
  TextScan(text).Real(&read);
  return read;
}

// Exact: the scaled number is rounded to the nearest whole one, ties to even, as the text is, and one
// division gives the double nearest to that decimal.
inline double ToSixDecimals(double value) {
  constexpr double kScale = 1e6;
  // Below this the scaled number keeps enough bits after the point to tell a tie from its neighbours.
  constexpr double kLimit = 2147483648.0;
  if (!(std::fabs(value) < kLimit)) return ThroughText(value);
  const double scaled = value * kScale;
  double whole = std::nearbyint(scaled);
  if (std::fabs(scaled - whole) == 0.5) {
    // Perhaps a tie only because the product was rounded: its exact rest decides.
    const double rest = std::fma(value, kScale, -scaled);
    if (rest != 0) whole = scaled + std::copysign(0.5, rest);
  }
  return std::copysign(whole / kScale, value);
}

}  // namespace kiv
