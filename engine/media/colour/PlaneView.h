// A decoded picture's planes as the colour rows need them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/media/colour/ColourKernel.h"
#include "kiv/values/ValueTypes.h"

struct AVFrame;

namespace kiv {

enum class PlaneKind {
  kPlanarYuv,      // Y, Cb, Cr and perhaps alpha, 8 to 14 bits
  kSemiPlanarYuv,  // Y and interleaved Cb Cr, 8 bits
  kGrey,           // Y alone
  kPlanarRgb,      // G, B, R and perhaps alpha, 8 bits
  kOtherYuv,       // has to be unpacked into planes first
  kOther,          // RGB, palettes: through the general scaler
};

// Borrows the planes. Strides in bytes.
struct PlaneView {
  PlaneKind kind = PlaneKind::kOther;
  const uint8_t* data[4] = {};
  int stride[4] = {};
  KivSize size;
  KivSize chroma;
  int horizontalShift = 0;
  int verticalShift = 0;
  int depth = 8;
  bool hasAlpha = false;
  ChromaSiting siting = ChromaSiting::kLeft;
  // Chroma lines lie on every second luma line rather than between two.
  bool chromaOnTopLine = false;

  const uint8_t* Row(int plane, int y) const {
    return data[plane] + static_cast<ptrdiff_t>(y) * stride[plane];
  }
  const uint16_t* WideRow(int plane, int y) const {
    return reinterpret_cast<const uint16_t*>(Row(plane, y));
  }
  int BytesPerSample() const { return depth > 8 ? 2 : 1; }
};

PlaneView ViewOf(const AVFrame& picture);

}  // namespace kiv
