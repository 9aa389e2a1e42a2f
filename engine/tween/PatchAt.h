// Windows of brightness, and where one lies whose place is no whole number of pixels.
//
// Units:    pixels of the plane; brightness in sixteenths of a code; fractions of a pixel in
//           sixteenths.
#pragma once

#include <algorithm>

#include "engine/motion/LumaKernel.h"
#include "engine/tween/MotionGrid.h"

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

// The window of a node is centred on its square.
constexpr int kPatchLead = (kPatchSide - kNodeStep) / 2;
constexpr int CornerOf(int node) { return node * kNodeStep - kPatchLead; }

// The window at (x, y), held where the plane's margin covers it.
inline PatchPlace PatchAt(const LumaPlane& plane, float x, float y) {
  // Two more than a window and its last column need.
  constexpr int kReach = LumaPlane::kMargin - 2;
  const auto inside = [](float at, int size) {
    const float most = static_cast<float>(size + kReach - kPatchSide - 2);
    // In this order nothing but a number comes out.
    const float held = std::min(std::max(-static_cast<float>(kReach), at), most);
    // Cutting off rounds down when nothing is below 0.
    const float sixteenths = (held + kReach) * 16 + 0.5F;
    return static_cast<int>(sixteenths) - kReach * 16;
  };
  const int atX = inside(x, plane.Size().width), atY = inside(y, plane.Size().height);
  return {plane.Row(atY >> 4) + (atX >> 4), plane.Stride(), atX & 15, atY & 15};
}

}  // namespace kiv::tween
