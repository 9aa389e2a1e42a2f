// Turns BGRA pictures into limited-range YUV planes, every code within 0.55 of the exact value.
//
// 4:2:0 chroma lies between the rows and on the left columns, as H.264 and VP9 have it. Pictures
// with an odd side are padded by repeating the last column or row. Straight alpha is laid over black,
// unless it is written elsewhere and colours are to stay as they are.
// Owns:     its scratch memory, a few rows.
// Threads:  one caller at a time.
// Errors:   E_OUTOFMEMORY.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/write/Writer.h"
#include "engine/write/WriterKernel.h"
#include "kiv/values/ResultCodes.h"
#include "kiv/values/ValueTypes.h"

struct AVFrame;

namespace kiv {

// What written YUV is in: BT.709 from 720 lines or 1280 columns on, else BT.601, as readers take
// pictures without tags.
MatrixKind OutputMatrix(KivSize size);

class WriterConvert {
 public:
  enum class Transparent { kOverBlack, kAsItIs };
  HRESULT Open(KivSize size, ChromaSampling chroma,
               Transparent transparent = Transparent::kOverBlack);
  // Sides rounded up to whole chroma samples.
  KivSize PaddedSize() const { return padded_; }
  // `planes` has the format of the sampling, its rows are writable. Its size is the picture's or
  // the padded one; what lies beyond the padded size stays as it is.
  void Convert(const uint8_t* bgra, AVFrame* planes);

 private:
  void ConvertRow(const uint8_t* bgra, int32_t y, AVFrame* planes);
  void ConvertRowPair(const uint8_t* bgra, int32_t y, AVFrame* planes);
  const uint8_t* PrepareRow(const uint8_t* bgra, int32_t y, std::vector<uint8_t>* scratch) const;

  KivSize size_;
  KivSize padded_;
  ChromaSampling chroma_ = ChromaSampling::k420;
  Transparent transparent_ = Transparent::kOverBlack;
  YuvFactors factors_{};
  std::vector<uint8_t> upper_, lower_;
  std::vector<int16_t> cb_, cr_;  // one sum ahead of the first column
};

}  // namespace kiv
