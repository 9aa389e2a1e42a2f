// The vectorized steps of resampling a BGRA picture along a slanted line.
//
// One output row is a line through the source. First every source column that it passes is sampled
// at the line's height there, then the output's pixels are sampled along the line. Both steps use the
// same cubic; between them values keep 6 fraction bits.
//
// Units:    pixels; an intermediate pixel is four 16-bit values, 64 x its codes.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv {

// The source as rows; rows above and below repeat the edge.
struct WarpSource {
  const uint8_t* pixels;
  ptrdiff_t stride;  // bytes
  int height;
};

// Heights along a line: at a column, y + slope x column.
struct WarpLine {
  double y = 0, slope = 0;
};

// How steep a line the vectors can follow.
constexpr double kSteepestLine = 0.06;

// Columns [first, first + count) of the source where `line` passes them, into out[0] on. True when
// all that was read is opaque. Lines steeper than kSteepestLine are followed pixel by pixel.
bool SampleColumns(const WarpSource& source, const WarpLine& line, ptrdiff_t first, size_t count,
                   int16_t* out);

// `count` pixels at the columns x, x + step, ... of `columns`, which begins with column 0. From the
// column before x's to the second one after the last, all are read.
void SampleLine(const int16_t* columns, double x, double step, size_t count, uint8_t* out);

// The weights of the four neighbours at `fraction` of the way from the second to the third.
struct CubicWeights {
  double w[4];
};
CubicWeights CubicAt(double fraction);

}  // namespace kiv
