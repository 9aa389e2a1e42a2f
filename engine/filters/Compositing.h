// Lays pictures with straight alpha over others.
//
// Units:    sizes in pixels; results to the nearest code.
// Threads:  any; keeps nothing between calls.
// Errors:   E_INVALIDARG for pictures of different sizes or without pixels.
#pragma once

#include "engine/picture/PictureScale.h"

namespace kiv {

// out = over x alpha + under x (1 - alpha), for each channel; what is under stays straight where it is
// transparent itself. Straight colours are weighed by the alpha of the very pixel, so an edge takes
// exactly the two colours' mean and no third one.
KIV_ENGINE_API HRESULT LayOver(const SourcePicture& over, const TargetPicture& under);

// Gives the colours of `fill`, multiplied by its alpha, to what `shape` covers: its coverage times
// the fill's.
KIV_ENGINE_API HRESULT FillShape(const SourcePicture& fill, const TargetPicture& shape);

}  // namespace kiv
