// The inner loop of feature tracking: a small window of one picture, looked for in another.
//
// Units:    pixels of the plane at hand; a window covers kPatchSide pixels from its corner on.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv {

constexpr int kPatchSide = 16;
constexpr int kPatchPixels = kPatchSide * kPatchSide;

// A window without its mean brightness, its slopes without theirs: differences in brightness
// between the pictures then have no say.
struct PatchTemplate {
  alignas(64) float value[kPatchPixels];
  alignas(64) float slopeX[kPatchPixels];
  alignas(64) float slopeY[kPatchPixels];
  float xx = 0, xy = 0, yy = 0;  // sums of the slopes' products
  float energy = 0;              // sum of the squared values
};

// What one comparison with another picture's window gives.
struct PatchSums {
  float errorX = 0, errorY = 0;  // sums of error x slope
  float error = 0, squared = 0;
};

// `corner` points to the window's first pixel; one pixel around the window is read.
void MakeTemplate(const uint8_t* corner, ptrdiff_t stride, PatchTemplate* made);
// The window at corner + (fractionX, fractionY), fractions 0 to 1; one more column and row are read.
PatchSums ComparePatch(const PatchTemplate& wanted, const uint8_t* corner, ptrdiff_t stride,
                       float fractionX, float fractionY);

}  // namespace kiv
