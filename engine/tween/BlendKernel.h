// Puts one cell of a picture together from the four motions at its corners.
//
// Each corner predicts the whole cell: a mixture of the two key frames' pixels, moved along its
// motion. Towards a corner its prediction counts more, so that cells join without a seam.
//
// Units:    pixels, BGRA.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv::tween {

constexpr int kCorners = 4;  // upper left, upper right, lower left, lower right
constexpr int kLargestCell = 32;

// One key frame's part in a corner's prediction: the four pixels around each place, in parts of
// 2^15. One more column and row than the cell has are read.
struct CellSource {
  const uint8_t* pixels;
  ptrdiff_t stride;
  int16_t weights[4];  // upper left, upper right, lower left, lower right
};

// All weights of a corner's two sources together are one, as near as 16 bits come.
struct CellCorner {
  CellSource sources[2];
  float trust;  // above 0; counts as against the other corners'
};

// `side` is a multiple of 4, at most kLargestCell.
void BlendCell(const CellCorner (&corners)[kCorners], int side, uint8_t* out, ptrdiff_t stride);

}  // namespace kiv::tween
