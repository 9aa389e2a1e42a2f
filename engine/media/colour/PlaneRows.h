// Walks a picture's planes and writes straight BGRA rows.
//
// Owns:     row-sized scratch memory, reused between pictures.
// Threads:  one caller at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/media/colour/ColourMatrix.h"
#include "engine/media/colour/PlaneView.h"

namespace kiv {

class PlaneRows {
 public:
  // `view` is of a kind other than kOther and kOtherYuv; `bgra` has view.size x 4 bytes.
  void Write(const PlaneView& view, ColourSpace space, uint8_t* bgra);

 private:
  struct ChromaRow {
    std::vector<int16_t> subsampled;
    std::vector<int16_t> full;
  };

  void Reserve(const PlaneView& view);
  void FillChroma(const PlaneView& view, int y);
  const int16_t* Finish(const PlaneView& view, ChromaRow* row);
  void WriteRgbRow(const PlaneView& view, int y, uint8_t* out);
  const uint8_t* AlphaRow(const PlaneView& view, int y);

  ChromaRow cb_, cr_;
  std::vector<uint8_t> alpha_;
};

}  // namespace kiv
