// Which colour matrix and range a picture is in, and the kernel's fixed-point form of it.
//
// R = L + 2(1-Kr) Cr,  B = L + 2(1-Kb) Cb,  G = L - (Kr 2(1-Kr) Cr + Kb 2(1-Kb) Cb) / (1-Kr-Kb)
// with L in 0..1 and Cb, Cr in -1/2..1/2, as ITU-R BT.601, BT.709 and BT.2020 define them.
#pragma once

#include <cstdint>

#include "kiv/values/Export.h"

struct AVFrame;

namespace kiv {

enum class MatrixKind { kBt601, kBt709, kBt2020, kFcc, kSmpte240, kRgb };

struct ColourSpace {
  MatrixKind matrix = MatrixKind::kBt601;
  bool fullRange = false;
};

// Luma weights of a matrix.
struct LumaWeights {
  double kr, kb;
};
KIV_ENGINE_API LumaWeights WeightsOf(MatrixKind matrix);

// From the picture's tags. Untagged: BT.2020 never, BT.709 from 720 lines or 1280 columns on, else
// BT.601; full range for JPEG pixel formats and untagged grey.
KIV_ENGINE_API ColourSpace ResolveColour(const AVFrame& picture);

// Factors of 16-bit rounding high-half products (a x b / 2^15), result in 1/64 of an 8-bit code.
// Luma enters as sample x 2^(15 - depth), chroma as (sample - middle) x 2^(16 - depth).
struct ColourFactors {
  int16_t luma = 0;
  int16_t lumaBias = 0;
  int16_t cbToBlue = 0, cbToGreen = 0, crToGreen = 0, crToRed = 0;
};
KIV_ENGINE_API ColourFactors FactorsOf(ColourSpace space, int bitDepth);

}  // namespace kiv
