#include "engine/filters/Compositing.h"

#include <algorithm>

#include "engine/filters/ChannelKernel.h"
#include "engine/picture/Frame.h"

namespace kiv {
namespace {

constexpr unsigned kOpaque = 255;

uint8_t Rounded(unsigned dividend, unsigned divisor) {
  return static_cast<uint8_t>(std::min((dividend + divisor / 2) / divisor, kOpaque));
}

// Both may be transparent: coverage in 1/255^2, colours weighed by what each covers.
void LayOverPixel(const uint8_t* over, uint8_t* under) {
  const unsigned upper = over[3] * kOpaque;
  const unsigned lower = under[3] * (kOpaque - over[3]);
  if (upper + lower == 0) return;
  for (int c = 0; c < 3; ++c) {
    under[c] = Rounded(over[c] * upper + under[c] * lower, upper + lower);
  }
  under[3] = Rounded(upper + lower, kOpaque);
}

void LayOverRow(const uint8_t* over, size_t width, uint8_t* under) {
  if (IsOpaquePixelRow(under, width)) return LayOverOpaqueRow(over, width, under);
  for (size_t x = 0; x < width; ++x)
    LayOverPixel(over + kBytesPerPixel * x, under + kBytesPerPixel * x);
}

void FillRowOfShape(const uint8_t* fill, size_t width, uint8_t* shape) {
  for (size_t x = 0; x < width; ++x, fill += 4, shape += 4) {
    const unsigned alpha = fill[3];
    for (int c = 0; c < 3; ++c) {
      shape[c] = alpha == kOpaque || alpha == 0 ? fill[c] : Rounded(fill[c] * kOpaque, alpha);
    }
    shape[3] = Rounded(shape[3] * alpha, kOpaque);
  }
}

template <typename MakeRow>
HRESULT ForEachRow(const SourcePicture& from, const TargetPicture& to, const MakeRow& makeRow) {
  if (!from.pixels || !to.pixels || !IsPictureSize(to.width, to.height)) return E_INVALIDARG;
  if (from.width != to.width || from.height != to.height) return E_INVALIDARG;
  for (int32_t y = 0; y < to.height; ++y) {
    const auto row = static_cast<size_t>(y);
    makeRow(from.pixels + row * from.rowBytes, static_cast<size_t>(to.width),
            to.pixels + row * to.rowBytes);
  }
  return S_OK;
}

}  // namespace

HRESULT LayOver(const SourcePicture& over, const TargetPicture& under) {
  return ForEachRow(over, under, LayOverRow);
}

HRESULT FillShape(const SourcePicture& fill, const TargetPicture& shape) {
  return ForEachRow(fill, shape, FillRowOfShape);
}

}  // namespace kiv
