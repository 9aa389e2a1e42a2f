// Resamples a BGRA picture, turned, shifted and enlarged a little, with a cubic filter, in one go.
//
// Units:    pixels; straight rows.
// Threads:  any; nothing is kept.
// Errors:   throws std::bad_alloc.
#pragma once

#include <cstdint>

#include "kiv/platform/Frame.h"
#include "kiv/values/Export.h"

namespace kiv {

// What is shown at (x, y) lies in the source at (xx x + xy y + x0, yx x + yy y + y0).
struct WarpMap {
  double xx = 1, xy = 0, x0 = 0;
  double yx = 0, yy = 1, y0 = 0;
};

// Both pictures have the same size and do not overlap. What lies outside the source repeats its
// edge. Transparent pixels count as much as they cover.
KIV_ENGINE_API void WarpPicture(const uint8_t* source, const KivSize& size, const WarpMap& map,
                                uint8_t* target);

}  // namespace kiv
