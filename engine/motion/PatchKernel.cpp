#include "engine/motion/PatchKernel.h"

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/motion/PatchKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes = hn::CappedTag<float, 8>;
using Vector = hn::Vec<Lanes>;

HWY_INLINE Vector LoadPixels(const uint8_t* at) {
  const Lanes d;
  const hn::Rebind<uint8_t, Lanes> d8;
  const hn::Rebind<int32_t, Lanes> d32;
  return hn::ConvertTo(d, hn::PromoteTo(d32, hn::LoadU(d8, at)));
}

HWY_INLINE float Total(Vector v) { return hn::GetLane(hn::SumOfLanes(Lanes(), v)); }

// Takes the mean out of a window.
HWY_INLINE void Centre(float* values) {
  const Lanes d;
  Vector sum = hn::Zero(d);
  for (size_t i = 0; i < kPatchPixels; i += hn::Lanes(d))
    sum = hn::Add(sum, hn::Load(d, values + i));
  const Vector mean = hn::Set(d, Total(sum) / kPatchPixels);
  for (size_t i = 0; i < kPatchPixels; i += hn::Lanes(d)) {
    hn::Store(hn::Sub(hn::Load(d, values + i), mean), d, values + i);
  }
}

void MakeTemplateImpl(const uint8_t* corner, ptrdiff_t stride, PatchTemplate* made) {
  const Lanes d;
  const Vector half = hn::Set(d, 0.5F);
  for (ptrdiff_t y = 0; y < kPatchSide; ++y) {
    for (size_t x = 0; x < kPatchSide; x += hn::Lanes(d)) {
      const uint8_t* const at = corner + y * stride + x;
      const auto out = static_cast<size_t>(y) * kPatchSide + x;
      hn::Store(LoadPixels(at), d, made->value + out);
      hn::Store(hn::Mul(half, hn::Sub(LoadPixels(at + 1), LoadPixels(at - 1))), d,
                made->slopeX + out);
      hn::Store(hn::Mul(half, hn::Sub(LoadPixels(at + stride), LoadPixels(at - stride))), d,
                made->slopeY + out);
    }
  }
  Centre(made->value);
  Centre(made->slopeX);
  Centre(made->slopeY);
  Vector xx = hn::Zero(d), xy = hn::Zero(d), yy = hn::Zero(d), energy = hn::Zero(d);
  for (size_t i = 0; i < kPatchPixels; i += hn::Lanes(d)) {
    const Vector value = hn::Load(d, made->value + i);
    const Vector slopeX = hn::Load(d, made->slopeX + i);
    const Vector slopeY = hn::Load(d, made->slopeY + i);
    xx = hn::MulAdd(slopeX, slopeX, xx);
    xy = hn::MulAdd(slopeX, slopeY, xy);
    yy = hn::MulAdd(slopeY, slopeY, yy);
    energy = hn::MulAdd(value, value, energy);
  }
  made->xx = Total(xx);
  made->xy = Total(xy);
  made->yy = Total(yy);
  made->energy = Total(energy);
}

// Pixels between those of one row.
HWY_INLINE Vector Between(const uint8_t* at, Vector fraction) {
  const Vector left = LoadPixels(at);
  return hn::MulAdd(fraction, hn::Sub(LoadPixels(at + 1), left), left);
}

void CompareImpl(const PatchTemplate& wanted, const uint8_t* corner, ptrdiff_t stride,
                 float fractionX, float fractionY, PatchSums* sums) {
  const Lanes d;
  const Vector fx = hn::Set(d, fractionX);
  const Vector fy = hn::Set(d, fractionY);
  Vector errorX = hn::Zero(d), errorY = hn::Zero(d), total = hn::Zero(d), squared = hn::Zero(d);
  for (size_t x = 0; x < kPatchSide; x += hn::Lanes(d)) {
    Vector upper = Between(corner + x, fx);
    for (ptrdiff_t y = 0; y < kPatchSide; ++y) {
      const Vector lower = Between(corner + (y + 1) * stride + x, fx);
      const Vector found = hn::MulAdd(fy, hn::Sub(lower, upper), upper);
      const auto at = static_cast<size_t>(y) * kPatchSide + x;
      const Vector error = hn::Sub(found, hn::Load(d, wanted.value + at));
      errorX = hn::MulAdd(error, hn::Load(d, wanted.slopeX + at), errorX);
      errorY = hn::MulAdd(error, hn::Load(d, wanted.slopeY + at), errorY);
      total = hn::Add(total, error);
      squared = hn::MulAdd(error, error, squared);
      upper = lower;
    }
  }
  *sums = {Total(errorX), Total(errorY), Total(total), Total(squared)};
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {

HWY_EXPORT(MakeTemplateImpl);
HWY_EXPORT(CompareImpl);

void MakeTemplate(const uint8_t* corner, ptrdiff_t stride, PatchTemplate* made) {
  HWY_DYNAMIC_DISPATCH(MakeTemplateImpl)(corner, stride, made);
}

PatchSums ComparePatch(const PatchTemplate& wanted, const uint8_t* corner, ptrdiff_t stride,
                       float fractionX, float fractionY) {
  PatchSums sums;
  HWY_DYNAMIC_DISPATCH(CompareImpl)(wanted, corner, stride, fractionX, fractionY, &sums);
  return sums;
}

}  // namespace kiv
#endif  // HWY_ONCE
