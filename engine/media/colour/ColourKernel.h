// The vectorized row operations of PictureConverter. Chosen at run time for the processor.
//
// Units:    rows of `width` pixels. Chroma rows hold (sample - middle) x 2^(16 - depth) as int16.
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/media/colour/ColourMatrix.h"
#include "kiv/values/Export.h"

namespace kiv {

// Where a subsampled chroma sample lies between the luma samples of its row.
enum class ChromaSiting { kLeft, kCentre };

// out[i] = (nearWeight x near[i] + (4 - nearWeight) x far[i]) / 4, centred and scaled. nearWeight
// is 2, 3 or 4.
void BlendChromaRows(const uint8_t* near, const uint8_t* far, int nearWeight, size_t count,
                     int16_t* out);
void BlendChromaRows(const uint16_t* near, const uint16_t* far, int nearWeight, int depth,
                     size_t count, int16_t* out);
// Splits an interleaved Cb Cr row, blending as above.
void BlendInterleavedChromaRows(const uint8_t* near, const uint8_t* far, int nearWeight,
                                size_t count, int16_t* cb, int16_t* cr);

// Twice as many samples; writes 2 x count. `in` is read up to in[count] and from in[-1]: the caller
// repeats the edge samples there.
void DoubleChromaRow(const int16_t* in, size_t count, ChromaSiting siting, int16_t* out);

// One row of BGRA. `alpha` may be null: opaque. Reads and writes exactly `width` pixels.
struct BgraRow {
  const int16_t* cb;
  const int16_t* cr;
  const uint8_t* alpha;
  uint8_t* out;
  size_t width;
};
void LumaRowToBgra(const uint8_t* luma, const ColourFactors& factors, const BgraRow& row);
// `depth` bits in the low end of each sample, 9 to 14.
void LumaRowToBgra(const uint16_t* luma, int depth, const ColourFactors& factors,
                   const BgraRow& row);

// Planar RGB rows, 8 bits.
void PlanarRowToBgra(const uint8_t* red, const uint8_t* green, const uint8_t* blue,
                     const BgraRow& row);

}  // namespace kiv
