// The vectorized row operations of WriterConvert. Chosen at run time for the processor.
//
// Units:    rows of `width` BGRA pixels; alpha is ignored. Chroma sums are int16: a pair of rows in
//           1/128 of a code, without the offset of 128.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/media/colour/ColourMatrix.h"

namespace kiv {

// Shares of blue, green and red in a limited-range code, in 1/2^15. A chroma row adds up to 0.
struct YuvFactors {
  int16_t luma[3];
  int16_t cb[3];
  int16_t cr[3];
};
YuvFactors YuvFactorsOf(MatrixKind matrix);

bool IsOpaqueRow(const uint8_t* bgra, size_t width);
void BgraToLumaRow(const uint8_t* bgra, size_t width, const YuvFactors& factors, uint8_t* luma);
// One chroma sample a pixel.
void BgraToChromaRow(const uint8_t* bgra, size_t width, const YuvFactors& factors, uint8_t* cb,
                     uint8_t* cr);
// The chroma of two rows together.
void BgraToChromaSums(const uint8_t* upper, const uint8_t* lower, size_t width,
                      const YuvFactors& factors, int16_t* cb, int16_t* cr);
// out[i] from sums[2i - 1], sums[2i] and sums[2i + 1], weighted 1 2 1. The caller repeats the first
// sum at sums[-1].
void HalveChromaRow(const int16_t* sums, size_t count, uint8_t* out);

}  // namespace kiv
