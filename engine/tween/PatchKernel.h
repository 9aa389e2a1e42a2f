// The inner loops of the motion search: small windows of brightness, compared at fractions of a
// pixel. All sums are exact, so every processor gets the same.
//
// Units:    pixels of the plane at hand; brightness in sixteenths of a code; fractions of a pixel in
//           sixteenths.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv::tween {

constexpr int kPatchSide = 8;
constexpr int kPatchPixels = kPatchSide * kPatchSide;

// A window's first pixel, and how far it lies beyond that.
struct PatchPlace {
  const uint8_t* corner;
  ptrdiff_t stride;
  int fractionX, fractionY;
};

// The window that is looked for, with its slopes and the sums of their products.
struct SearchPatch {
  alignas(16) int16_t value[kPatchPixels];
  alignas(16) int16_t slopeX[kPatchPixels];
  alignas(16) int16_t slopeY[kPatchPixels];
  int32_t sumX, sumY, xx, xy, yy;
};

// Of the differences d between two windows; slopes are twice as steep as the brightness's.
struct PatchSums {
  int32_t d, dd, dx, dy;
};

// One pixel around the window is read.
void MakeSearchPatch(const uint8_t* corner, ptrdiff_t stride, SearchPatch* made);
// One more column and row are read.
PatchSums Compare(const SearchPatch& wanted, const PatchPlace& place);
// The sum of the squared differences; as above.
int32_t ComparePair(const PatchPlace& first, const PatchPlace& second);

}  // namespace kiv::tween
