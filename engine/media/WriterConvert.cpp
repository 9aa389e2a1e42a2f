#include "engine/media/WriterConvert.h"

#include <algorithm>
#include <cstring>
#include <new>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace kiv {
namespace {

constexpr size_t kBytesPerPixel = 4;
constexpr int kLinesOfHd = 720;
constexpr int kColumnsOfHd = 1280;
constexpr int kUnity = 1 << 16;  // libswscale's 1.0
// libswscale counts chroma positions in 1/256 of a luma sample.
constexpr int kOnLeftColumn = 0;
constexpr int kBetweenRows = 128;

size_t RowBytes(KivSize size) { return static_cast<size_t>(size.width) * kBytesPerPixel; }

bool IsOpaque(const uint8_t* bgra, size_t pixels) {
  uint8_t all = 255;
  for (size_t i = 0; i < pixels; ++i) all &= bgra[i * kBytesPerPixel + 3];
  return all == 255;
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

SwsContext* MakeScaler(KivSize size, ChromaSampling chroma, MatrixKind matrix) {
  SwsContext* scaler = sws_alloc_context();
  if (scaler == nullptr) return nullptr;
  const bool halved = chroma == ChromaSampling::k420;
  av_opt_set_int(scaler, "srcw", size.width, 0);
  av_opt_set_int(scaler, "srch", size.height, 0);
  av_opt_set_int(scaler, "dstw", size.width, 0);
  av_opt_set_int(scaler, "dsth", size.height, 0);
  av_opt_set_int(scaler, "src_format", AV_PIX_FMT_BGR0, 0);
  av_opt_set_int(scaler, "dst_format", halved ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV444P, 0);
  av_opt_set_int(scaler, "sws_flags",
                 SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_BITEXACT, 0);
  if (halved) {
    av_opt_set_int(scaler, "dst_h_chr_pos", kOnLeftColumn, 0);
    av_opt_set_int(scaler, "dst_v_chr_pos", kBetweenRows, 0);
  }
  const int* coefficients =
      sws_getCoefficients(matrix == MatrixKind::kBt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
  if (sws_init_context(scaler, nullptr, nullptr) < 0 ||
      sws_setColorspaceDetails(scaler, coefficients, 1, coefficients, 0, 0, kUnity, kUnity) < 0) {
    sws_freeContext(scaler);
    return nullptr;
  }
  return scaler;
}

}  // namespace

MatrixKind OutputMatrix(KivSize size) {
  return size.height >= kLinesOfHd || size.width >= kColumnsOfHd ? MatrixKind::kBt709
                                                                 : MatrixKind::kBt601;
}

WriterConvert::WriterConvert() = default;
WriterConvert::~WriterConvert() { sws_freeContext(scaler_); }

HRESULT WriterConvert::Open(KivSize size, ChromaSampling chroma) {
  size_ = size;
  padded_ = size;
  if (chroma == ChromaSampling::k420) {
    padded_ = {size.width + size.width % 2, size.height + size.height % 2};
  }
  sws_freeContext(scaler_);
  scaler_ = MakeScaler(padded_, chroma, OutputMatrix(size));
  return scaler_ != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT WriterConvert::Convert(const uint8_t* bgra, AVFrame* planes) try {
  const uint8_t* const source[] = {Prepare(bgra)};
  const int stride[] = {static_cast<int>(RowBytes(padded_))};
  const int rows =
      sws_scale(scaler_, source, stride, 0, padded_.height, planes->data, planes->linesize);
  return rows == padded_.height ? S_OK : E_FAIL;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

// The picture itself when it can be converted as it is, else a padded and flattened copy.
const uint8_t* WriterConvert::Prepare(const uint8_t* bgra) {
  const size_t pixels = static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height);
  const bool opaque = IsOpaque(bgra, pixels);
  if (opaque && padded_ == size_) return bgra;
  CopyPadded(bgra);
  if (!opaque) FlattenRow(scratch_.data(), scratch_.size());
  return scratch_.data();
}

void WriterConvert::CopyPadded(const uint8_t* bgra) {
  const size_t from = RowBytes(size_), to = RowBytes(padded_);
  const auto rows = static_cast<size_t>(padded_.height);
  scratch_.resize(to * rows);
  for (size_t y = 0; y < rows; ++y) {
    const size_t sourceRow = std::min(y, static_cast<size_t>(size_.height) - 1);
    uint8_t* row = scratch_.data() + y * to;
    std::memcpy(row, bgra + sourceRow * from, from);
    if (to > from) std::memcpy(row + from, row + from - kBytesPerPixel, kBytesPerPixel);
  }
}

}  // namespace kiv
