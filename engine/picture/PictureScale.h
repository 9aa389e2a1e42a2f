// Scales BGRA pictures with straight alpha: a pixel counts as much as it covers, so what lies under
// transparent pixels does not bleed into their neighbours.
//
// Units:    sizes in pixels, rows `rowBytes` apart.
// Threads:  any; keeps nothing between calls.
// Errors:   E_INVALIDARG for an empty picture, E_OUTOFMEMORY.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

enum class ScaleFilter : int32_t {
  kNearest = 0,
  kLinear = 1,  // between the two nearest pixels, also when made smaller
  kArea = 2,    // the exact mean of what a pixel covers; as kLinear when made larger
  // A curve through four pixels, of more when made smaller; exact where pixels fall on pixels.
  kCubic = 3,
  // The same without passing through them: as soft on whole pixels as between and with hardly any
  // overshoot, so that edges keep their place and their look while a region moves.
  kSmooth = 4,
};

struct SourcePicture {
  const uint8_t* pixels = nullptr;
  int32_t width = 0, height = 0;
  size_t rowBytes = 0;
};

struct TargetPicture {
  uint8_t* pixels = nullptr;
  int32_t width = 0, height = 0;
  size_t rowBytes = 0;
};

// The pictures do not overlap.
KIV_ENGINE_API HRESULT ScalePicture(const SourcePicture& source, const TargetPicture& target,
                                    ScaleFilter filter);

// The same for a part of the source. `region` is in the source's pixels and need not lie on whole
// ones: the middle of its left edge becomes the middle of the target's. Filters see the pixels around
// it; the source's edge pixels go on beyond its edges.
// Errors:   E_INVALIDARG also for a region that is empty or reaches beyond the source.
KIV_ENGINE_API HRESULT ScaleRegion(const SourcePicture& source, const KivRectF& region,
                                   const TargetPicture& target, ScaleFilter filter);

}  // namespace kiv
