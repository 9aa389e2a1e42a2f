#include "engine/write/WriterConvert.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "kiv/platform/PictureFacts.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace kiv {
namespace {

constexpr int32_t kLinesOfHd = 720;
constexpr int32_t kColumnsOfHd = 1280;

size_t Unsigned(int32_t value) { return static_cast<size_t>(value); }

size_t RowBytes(KivSize size) { return RowBytesOf(size.width); }

uint8_t* PlaneRow(AVFrame* planes, int plane, int32_t y) {
  return planes->data[plane] + ptrdiff_t{y} * planes->linesize[plane];
}

// Straight alpha over black.
void FlattenRow(uint8_t* row, size_t bytes) {
  for (size_t i = 0; i < bytes; i += kBytesPerPixel) {
    const unsigned alpha = row[i + 3];
    for (size_t channel = 0; channel < 3; ++channel) {
      row[i + channel] = static_cast<uint8_t>((row[i + channel] * alpha + 127) / 255);
    }
    row[i + 3] = 255;
  }
}

}  // namespace

MatrixKind OutputMatrix(KivSize size) {
  return size.height >= kLinesOfHd || size.width >= kColumnsOfHd ? MatrixKind::kBt709
                                                                 : MatrixKind::kBt601;
}

HRESULT WriterConvert::Open(KivSize size, ChromaSampling chroma, Transparent transparent) try {
  transparent_ = transparent;
  size_ = size;
  padded_ = size;
  chroma_ = chroma;
  if (chroma == ChromaSampling::k420) {
    padded_ = {size.width + size.width % 2, size.height + size.height % 2};
  }
  factors_ = YuvFactorsOf(OutputMatrix(size));
  upper_.resize(RowBytes(padded_));
  lower_.resize(RowBytes(padded_));
  cb_.resize(Unsigned(padded_.width) + 1);
  cr_.resize(Unsigned(padded_.width) + 1);
  return S_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

void WriterConvert::Convert(const uint8_t* bgra, AVFrame* planes) {
  if (chroma_ == ChromaSampling::k444) {
    for (int32_t y = 0; y < size_.height; ++y) ConvertRow(bgra, y, planes);
  } else {
    for (int32_t y = 0; y < size_.height; y += 2) ConvertRowPair(bgra, y, planes);
  }
}

void WriterConvert::ConvertRow(const uint8_t* bgra, int32_t y, AVFrame* planes) {
  const uint8_t* const row = PrepareRow(bgra, y, &upper_);
  const size_t width = Unsigned(size_.width);
  BgraToLumaRow(row, width, factors_, PlaneRow(planes, 0, y));
  BgraToChromaRow(row, width, factors_, PlaneRow(planes, 1, y), PlaneRow(planes, 2, y));
}

void WriterConvert::ConvertRowPair(const uint8_t* bgra, int32_t y, AVFrame* planes) {
  const uint8_t* const upper = PrepareRow(bgra, y, &upper_);
  const uint8_t* const lower = PrepareRow(bgra, y + 1, &lower_);
  // Encoders are given planes of the picture's own width where they take it.
  const size_t lumaWidth = Unsigned(std::min(planes->width, padded_.width));
  BgraToLumaRow(upper, lumaWidth, factors_, PlaneRow(planes, 0, y));
  if (y + 1 < planes->height) BgraToLumaRow(lower, lumaWidth, factors_, PlaneRow(planes, 0, y + 1));
  const size_t width = Unsigned(padded_.width);
  BgraToChromaSums(upper, lower, width, factors_, cb_.data() + 1, cr_.data() + 1);
  cb_[0] = cb_[1];
  cr_[0] = cr_[1];
  HalveChromaRow(cb_.data() + 1, width / 2, PlaneRow(planes, 1, y / 2));
  HalveChromaRow(cr_.data() + 1, width / 2, PlaneRow(planes, 2, y / 2));
}

// The row itself when it can be converted as it is, else a padded and flattened copy. Rows beyond the
// last repeat it.
const uint8_t* WriterConvert::PrepareRow(const uint8_t* bgra, int32_t y,
                                         std::vector<uint8_t>* scratch) const {
  const size_t bytes = RowBytes(size_);
  const uint8_t* const row = bgra + Unsigned(std::min(y, size_.height - 1)) * bytes;
  const bool opaque =
      transparent_ == Transparent::kAsItIs || IsOpaqueRow(row, Unsigned(size_.width));
  if (opaque && padded_.width == size_.width) return row;
  uint8_t* const copy = scratch->data();
  std::memcpy(copy, row, bytes);
  if (scratch->size() > bytes) {
    std::memcpy(copy + bytes, copy + bytes - kBytesPerPixel, kBytesPerPixel);
  }
  if (!opaque) FlattenRow(copy, scratch->size());
  return copy;
}

}  // namespace kiv
