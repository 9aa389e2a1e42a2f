// Turns decoded pictures into straight BGRA, at the size and orientation they are shown in.
//
// Units:    sizes in pixels; rotation in degrees clockwise (0, 90, 180, 270).
// Owns:     its scratch memory, reused between pictures.
// Threads:  one caller at a time.
// Errors:   E_UNSUPPORTED for a pixel format without a path, E_OUTOFMEMORY, E_INVALIDARG.
#pragma once

#include <cstdint>
#include <memory>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"
#include "kiv/values/ValueTypes.h"

struct AVFrame;

namespace kiv {

struct Orientation {
  int32_t rotation = 0;
  // Left and right are exchanged before the rotation.
  bool mirrored = false;
};

class KIV_ENGINE_API PictureConverter {
 public:
  PictureConverter();
  ~PictureConverter();
  PictureConverter(const PictureConverter&) = delete;
  PictureConverter& operator=(const PictureConverter&) = delete;

  // `output` is the size after the rotation; `bgra` has room for output.width x output.height x 4
  // bytes. Scaling, where the size differs, and colour conversion are one pass over the picture.
  HRESULT Convert(const AVFrame& picture, Orientation orientation, KivSize output, uint8_t* bgra);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kiv
