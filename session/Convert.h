// Converts between the values of the session library and those of the component. Not installed.
#pragma once

#include "kiv/base/FrameTime.h"
#include "kiv/platform/PictureFacts.h"
#include "kiv/values/ValueTypes.h"
#include "session/Values.h"

namespace kiv::session {

static_assert(kTicksPerSecond == kiv::kTicksPerSecond);
static_assert(kBytesPerPixel == kiv::kBytesPerPixel);

inline KivSize ToKiv(Size size) { return {size.width, size.height}; }
inline Size FromKiv(KivSize size) { return {size.width, size.height}; }

inline KivRational ToKiv(const Rational& value) { return {value.numerator, value.denominator}; }
inline Rational FromKiv(const KivRational& value) { return {value.numerator, value.denominator}; }

inline KivRectF ToKiv(const Region& region) {
  return {region.left, region.top, region.width, region.height};
}
inline Region FromKiv(const KivRectF& region) {
  return {region.left, region.top, region.width, region.height};
}

}  // namespace kiv::session
