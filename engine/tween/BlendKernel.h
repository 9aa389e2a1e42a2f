// Puts one cell of a picture together from the motions of the nodes around it.
//
// Each node, a corner for short, predicts the whole cell: a mixture of the two key frames' pixels,
// moved along its motion. Near a corner its prediction counts more, so that cells join without a seam.
//
// Units:    pixels, BGRA.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv::tween {

constexpr int kLargestCell = 32;
constexpr int kMostAcross = 4;
constexpr int kTaps = 4;

// How much the pixels around a place count, in parts of 2^15. The second one is the pixel's own.
struct Taps {
  int16_t across[kTaps], down[kTaps];
  bool sharp;  // otherwise the outer ones are 0
};

// One key frame's part in a corner's prediction. What is read begins one column and row before
// `pixels` and ends two after the cell.
struct CellSource {
  const uint8_t* pixels;
  ptrdiff_t stride;
  const Taps* taps;
};

// All weights of a corner's two sources together are one, as near as 16 bits come.
struct CellCorner {
  CellSource sources[2];
  float trust;  // above 0; counts as against the other corners'
};

// How much the corners of a row count at each pixel across the cell; a column's are the same.
struct CellWindow {
  int across;  // corners in a row, at most kMostAcross
  float weight[kMostAcross][kLargestCell];
};

// Row by row, window.across in each. `side` is a multiple of 4, at most kLargestCell.
void BlendCell(const CellCorner* corners, const CellWindow& window, int side, uint8_t* out,
               ptrdiff_t stride);

// `share` parts of 256 from `b`, the others from `a`; `count` bytes.
constexpr int kShareBits = 8;
constexpr int kShares = 1 << kShareBits;
void MixRow(const uint8_t* a, const uint8_t* b, int share, size_t count, uint8_t* out);

}  // namespace kiv::tween
