// The small value structures that cross interfaces. All fields start at zero, a rational at 0/1.
#pragma once

#include <cstdint>

struct KivPoint {
  int32_t x = 0, y = 0;
  friend bool operator==(const KivPoint&, const KivPoint&) = default;
};

struct KivPointF {
  double x = 0, y = 0;
  friend bool operator==(const KivPointF&, const KivPointF&) = default;
};

struct KivSize {
  int32_t width = 0, height = 0;
  friend bool operator==(const KivSize&, const KivSize&) = default;
};

struct KivSizeF {
  double width = 0, height = 0;
  friend bool operator==(const KivSizeF&, const KivSizeF&) = default;
};

struct KivRect {
  int32_t left = 0, top = 0, width = 0, height = 0;
  friend bool operator==(const KivRect&, const KivRect&) = default;
};

// Where it describes part of a picture: fractions of the picture, {0, 0, 1, 1} is the whole.
struct KivRectF {
  double left = 0, top = 0, width = 0, height = 0;
  friend bool operator==(const KivRectF&, const KivRectF&) = default;
};

// A frame rate (frames per second), a speed scale or a decode scale.
struct KivRational {
  int64_t numerator = 0, denominator = 1;

  double ToDouble() const {
    return static_cast<double>(numerator) / static_cast<double>(denominator);
  }
  // Field by field; SameValue compares what the fractions stand for.
  friend bool operator==(const KivRational&, const KivRational&) = default;
};

// By cross-multiplication, so 1/2 equals 2/4. Exact for the whole 64-bit range.
constexpr bool SameValue(const KivRational& a, const KivRational& b) {
  __extension__ using Wide = __int128;
  return static_cast<Wide>(a.numerator) * b.denominator ==
         static_cast<Wide>(b.numerator) * a.denominator;
}

// First and last frame, both included.
struct KivRange {
  int32_t start = 0, end = 0;
  friend bool operator==(const KivRange&, const KivRange&) = default;
};

// Fractions, 0 to 1.
struct KivColorF {
  double r = 0, g = 0, b = 0;
  friend bool operator==(const KivColorF&, const KivColorF&) = default;
};
