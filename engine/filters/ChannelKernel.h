// The vectorized row operations of the channel filters and the compositing. Chosen at run time
// for the processor.
//
// Units:    rows of `width` BGRA pixels with straight alpha; `channel` 0 to 3 is blue, green, red,
//           alpha. Results are rounded to the nearest code.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv {

struct FillColour {
  uint8_t blue = 0, green = 0, red = 0;
};

// The colour with the coverage that a channel of `in` holds.
void FillRow(const uint8_t* in, size_t width, int channel, FillColour colour, uint8_t* out);

// Along a row the share of the second colour is first + step x pixel, held between 0 and 1. Colours
// are blue, green, red.
struct GradientRamp {
  float first = 0, step = 0;
  float from[3] = {};
  float change[3] = {};
};
void GradientRow(const uint8_t* in, size_t width, int channel, const GradientRamp& ramp,
                 uint8_t* out);

// The colours of `picture` with the green of `mask` as coverage.
void GreenCoverageRow(const uint8_t* mask, const uint8_t* picture, size_t width, uint8_t* out);

// Colours multiplied by alpha.
void PremultiplyRow(const uint8_t* in, size_t width, uint8_t* out);

// Lays `over` on the opaque row `under`.
void LayOverOpaqueRow(const uint8_t* over, size_t width, uint8_t* under);

bool IsOpaquePixelRow(const uint8_t* bgra, size_t width);

}  // namespace kiv
