// Brightness planes for the motion analysis, made from BGRA in one vectorized pass.
//
// Units:    pixels; a plane's pixel (x, y) of half size covers (2x, 2y) to (2x + 1, 2y + 1).
// Threads:  any; nothing is kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kiv/platform/Frame.h"
#include "kiv/values/Export.h"

namespace kiv {

// 8-bit brightness with a margin around it that repeats the edge, so that windows may hang over.
class KIV_ENGINE_API LumaPlane {
 public:
  static constexpr int kMargin = 32;

  // Keeps the memory when it suffices. The content is unspecified until rows and margin are written.
  void Resize(const KivSize& size);
  void FillMargin();

  const KivSize& Size() const { return size_; }
  ptrdiff_t Stride() const { return stride_; }
  uint8_t* Row(int y) { return data_.data() + Offset(y); }
  const uint8_t* Row(int y) const { return data_.data() + Offset(y); }

 private:
  ptrdiff_t Offset(int y) const { return (y + kMargin) * stride_ + kMargin; }

  KivSize size_;
  ptrdiff_t stride_ = 0;
  std::vector<uint8_t> data_;
};

// The brightness of `width` pixels.
KIV_ENGINE_API void LumaRow(const uint8_t* bgra, size_t width, uint8_t* out);
// The mean brightness of 2 x 2 pixels; writes `width` of them from two rows of twice as many.
KIV_ENGINE_API void HalvedLumaRow(const uint8_t* upper, const uint8_t* lower, size_t width,
                                  uint8_t* out);
// The same from rows of brightness.
KIV_ENGINE_API void HalvedRow(const uint8_t* upper, const uint8_t* lower, size_t width,
                              uint8_t* out);

// Half of `plane` on each side, rounded down, margin included.
KIV_ENGINE_API void HalvePlane(const LumaPlane& plane, LumaPlane* half);

}  // namespace kiv
