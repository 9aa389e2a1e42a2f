// Turns BGRA pictures into limited-range YUV planes.
//
// 4:2:0 chroma lies between the rows and on the left columns, as H.264 and VP9 have it. Pictures
// with an odd side are padded by repeating the last column or row before they are converted.
// Owns:     its scratch memory, reused between pictures.
// Threads:  one caller at a time.
// Errors:   E_OUTOFMEMORY; a failed conversion gives E_FAIL.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/media/ColourMatrix.h"
#include "engine/media/Writer.h"
#include "kiv/values/ResultCodes.h"
#include "kiv/values/ValueTypes.h"

struct AVFrame;
struct SwsContext;

namespace kiv {

// What written YUV is in: BT.709 from 720 lines or 1280 columns on, else BT.601, as readers take
// pictures without tags.
KIV_ENGINE_API MatrixKind OutputMatrix(KivSize size);

class KIV_ENGINE_API WriterConvert {
 public:
  WriterConvert();
  ~WriterConvert();
  WriterConvert(const WriterConvert&) = delete;
  WriterConvert& operator=(const WriterConvert&) = delete;

  HRESULT Open(KivSize size, ChromaSampling chroma);
  // Sides rounded up to whole chroma samples.
  KivSize PaddedSize() const { return padded_; }
  // `planes` has the padded size and the format of the sampling; its rows are writable.
  HRESULT Convert(const uint8_t* bgra, AVFrame* planes);

 private:
  const uint8_t* Prepare(const uint8_t* bgra);
  void CopyPadded(const uint8_t* bgra);

  SwsContext* scaler_ = nullptr;
  KivSize size_;
  KivSize padded_;
  std::vector<uint8_t> scratch_;
};

}  // namespace kiv
