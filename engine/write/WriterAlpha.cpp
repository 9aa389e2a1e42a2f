#include "engine/write/WriterAlpha.h"

#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

#include <algorithm>
#include <cstddef>

#include "kiv/platform/PictureFacts.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace kiv {
namespace {

// Factors are in 1/2^15 of an 8-bit code; a 10-bit one is a quarter of that.
constexpr int kShiftToTen = 13;
constexpr int32_t kHalf = 1 << (kShiftToTen - 1);
constexpr int32_t kBlack = 16 << 2;
constexpr int32_t kGrey = 128 << 2;
constexpr unsigned kMostTen = 1023, kMostCode = 255;

uint16_t* TenBitRow(AVFrame* planes, int plane, int32_t y) {
  uint8_t* const row = planes->data[plane] + ptrdiff_t{y} * planes->linesize[plane];
  return reinterpret_cast<uint16_t*>(row);
}

void FillTenBits(const uint8_t* bgra, size_t width, const int16_t (&shares)[3], int32_t offset,
                 uint16_t* out) {
  const int32_t blue = shares[0], green = shares[1], red = shares[2];
  for (size_t x = 0; x < width; ++x) {
    const uint8_t* const pixel = bgra + kBytesPerPixel * x;
    const int32_t sum = pixel[0] * blue + pixel[1] * green + pixel[2] * red;
    out[x] = static_cast<uint16_t>(((sum + kHalf) >> kShiftToTen) + offset);
  }
}

void FillTenBitAlpha(const uint8_t* bgra, size_t width, uint16_t* out) {
  for (size_t x = 0; x < width; ++x) {
    const unsigned alpha = bgra[kBytesPerPixel * x + 3];
    out[x] = static_cast<uint16_t>((alpha * kMostTen + kMostCode / 2) / kMostCode);
  }
}

int RowBytes(KivSize size) { return size.width * static_cast<int>(kBytesPerPixel); }

}  // namespace

void FillYuva444Ten(const uint8_t* bgra, KivSize size, const YuvFactors& factors, AVFrame* planes) {
  const auto width = static_cast<size_t>(size.width);
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* const row = bgra + static_cast<size_t>(y) * width * kBytesPerPixel;
    FillTenBits(row, width, factors.luma, kBlack, TenBitRow(planes, 0, y));
    FillTenBits(row, width, factors.cb, kGrey, TenBitRow(planes, 1, y));
    FillTenBits(row, width, factors.cr, kGrey, TenBitRow(planes, 2, y));
    if (planes->data[3] != nullptr) FillTenBitAlpha(row, width, TenBitRow(planes, 3, y));
  }
}

void FillAlphaPlane(const uint8_t* bgra, KivSize size, AVFrame* planes) {
  libyuv::ARGBExtractAlpha(bgra, RowBytes(size), planes->data[3], planes->linesize[3], size.width,
                           size.height);
}

void FillRgba(const uint8_t* bgra, KivSize size, AVFrame* planes) {
  libyuv::ARGBToABGR(bgra, RowBytes(size), planes->data[0], planes->linesize[0], size.width,
                     size.height);
}

}  // namespace kiv
