#include "engine/picture/ScaleKernel.h"

#include <algorithm>
#include <cstring>

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/picture/ScaleKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kOpaque = 255.0F;
constexpr float kAsGoodAsOpaque = 254.999F;  // weights add up to 1 but for their rounding
constexpr float kRounding = 0.5F;

#if HWY_TARGET == HWY_SCALAR
void LoadScaleRowImpl(const uint8_t* bgra, size_t pixels, float* row) {
  for (size_t i = 0; i < pixels * kScaleChannels; i += kScaleChannels) {
    const float coverage = bgra[i + 3];
    for (size_t c = 0; c < 3; ++c) row[i + c] = bgra[i + c] * (coverage / kOpaque);
    row[i + 3] = coverage;
  }
}

void SampleScaleRowImpl(const float* row, const std::vector<ScaleTaps>& all, const float* weights,
                        bool, float* out) {
  for (const ScaleTaps& taps : all) {
    const float* const from = row + static_cast<size_t>(taps.first) * kScaleChannels;
    for (size_t c = 0; c < kScaleChannels; ++c) {
      float sum = 0;
      for (int32_t i = 0; i < taps.count; ++i) sum += from[4 * i + c] * weights[taps.weights + i];
      *out++ = sum;
    }
  }
}

inline float SumAt(const FourRows& four, size_t i) {
  float sum = 0;
  for (size_t k = 0; k < kScaleTaps; ++k) sum += four.rows[k][i] * four.weights[k];
  return sum;
}

void AddScaleRowsImpl(const FourRows& four, size_t pixels, float* sum) {
  for (size_t i = 0; i < pixels * kScaleChannels; ++i) sum[i] += SumAt(four, i);
}

void StoreScaleRowsImpl(const FourRows& four, size_t pixels, uint8_t* bgra) {
  for (size_t i = 0; i < pixels * kScaleChannels; i += kScaleChannels) {
    const float coverage = std::clamp(SumAt(four, i + 3), 0.0F, kOpaque);
    const float scale = coverage > 0 && coverage < kAsGoodAsOpaque ? kOpaque / coverage : 1;
    for (size_t c = 0; c < 3; ++c) {
      const float colour = std::clamp(SumAt(four, i + c), 0.0F, coverage);
      bgra[i + c] = static_cast<uint8_t>(colour * scale + kRounding);
    }
    bgra[i + 3] = static_cast<uint8_t>(coverage + kRounding);
  }
}
#else
// Whole pixels: the channels of one side by side.
using Values = hn::ScalableTag<float>;
using Vector = hn::Vec<Values>;
using Whole = hn::RebindToSigned<Values>;
using Codes = hn::Rebind<uint8_t, Values>;

HWY_INLINE Vector CoverageOf(Vector pixels) { return hn::Broadcast<3>(pixels); }

// The colours as `colours` has them, the coverage as `coverage` has it.
HWY_INLINE Vector Join(Vector colours, Vector coverage) {
  const Values d;
  const auto lanes = hn::And(hn::Iota(Whole(), 0), hn::Set(Whole(), 3));
  const auto isCoverage = hn::RebindMask(d, hn::Eq(lanes, hn::Set(Whole(), 3)));
  return hn::IfThenElse(isCoverage, coverage, colours);
}

HWY_INLINE Vector LoadPixels(const uint8_t* bytes) {
  const Values d;
  const auto pixels = hn::ConvertTo(d, hn::PromoteTo(Whole(), hn::LoadU(Codes(), bytes)));
  const Vector coverage = CoverageOf(pixels);
  if (hn::AllTrue(d, hn::Eq(coverage, hn::Set(d, kOpaque)))) return pixels;
  const Vector share = hn::Div(coverage, hn::Set(d, kOpaque));
  return Join(hn::Mul(pixels, share), pixels);
}

HWY_INLINE void StorePixels(Vector pixels, uint8_t* bytes) {
  const Values d;
  const Vector zero = hn::Zero(d);
  const Vector coverage = hn::Min(hn::Max(CoverageOf(pixels), zero), hn::Set(d, kOpaque));
  Vector straight = hn::Min(hn::Max(pixels, zero), coverage);
  // Division takes longer than all the rest, and most pictures are opaque.
  if (!hn::AllTrue(d, hn::Ge(coverage, hn::Set(d, kAsGoodAsOpaque)))) {
    const Vector scale = hn::Div(hn::Set(d, kOpaque), coverage);
    straight =
        hn::IfThenElse(hn::Gt(coverage, zero), Join(hn::Mul(straight, scale), straight), zero);
  }
  const auto whole = hn::ConvertTo(Whole(), hn::Add(straight, hn::Set(d, kRounding)));
  hn::StoreU(hn::DemoteTo(Codes(), whole), Codes(), bytes);
}

void LoadScaleRowImpl(const uint8_t* bgra, size_t pixels, float* row) {
  const Values d;
  const size_t step = hn::Lanes(d), values = pixels * kScaleChannels;
  size_t i = 0;
  for (; i + step <= values; i += step) hn::StoreU(LoadPixels(bgra + i), d, row + i);
  if (i == values) return;
  HWY_ALIGN uint8_t last[HWY_MAX_BYTES] = {};
  std::memcpy(last, bgra + i, values - i);
  hn::StoreU(LoadPixels(last), d, row + i);
}

using Pixel = hn::FixedTag<float, kScaleChannels>;

HWY_INLINE hn::Vec<Pixel> Weighted(const float* row, const float* weights, int32_t tap) {
  const Pixel d;
  return hn::Mul(hn::LoadU(d, row + kScaleChannels * static_cast<size_t>(tap)),
                 hn::Set(d, weights[tap]));
}

void SampleScaleRowImpl(const float* row, const std::vector<ScaleTaps>& all, const float* weights,
                        bool fourEach, float* out) {
  const Pixel d;
  for (const ScaleTaps& taps : all) {
    const float* const from = row + static_cast<size_t>(taps.first) * kScaleChannels;
    const float* const w = weights + taps.weights;
    auto sum = Weighted(from, w, 0);
    if (fourEach) {
      sum = hn::MulAdd(hn::LoadU(d, from + 4), hn::Set(d, w[1]), sum);
      auto other = Weighted(from, w, 2);
      other = hn::MulAdd(hn::LoadU(d, from + 12), hn::Set(d, w[3]), other);
      sum = hn::Add(sum, other);
    } else {
      for (int32_t i = 1; i < taps.count; ++i) sum = hn::Add(sum, Weighted(from, w, i));
    }
    hn::StoreU(sum, d, out);
    out += kScaleChannels;
  }
}

HWY_INLINE Vector SumAt(const FourRows& four, size_t i) {
  const Values d;
  Vector sum = hn::Mul(hn::LoadU(d, four.rows[0] + i), hn::Set(d, four.weights[0]));
  sum = hn::MulAdd(hn::LoadU(d, four.rows[1] + i), hn::Set(d, four.weights[1]), sum);
  sum = hn::MulAdd(hn::LoadU(d, four.rows[2] + i), hn::Set(d, four.weights[2]), sum);
  return hn::MulAdd(hn::LoadU(d, four.rows[3] + i), hn::Set(d, four.weights[3]), sum);
}

void AddScaleRowsImpl(const FourRows& four, size_t pixels, float* sum) {
  const Values d;
  for (size_t i = 0; i < pixels * kScaleChannels; i += hn::Lanes(d)) {
    hn::StoreU(hn::Add(hn::LoadU(d, sum + i), SumAt(four, i)), d, sum + i);
  }
}

void StoreScaleRowsImpl(const FourRows& four, size_t pixels, uint8_t* bgra) {
  const size_t step = hn::Lanes(Values()), values = pixels * kScaleChannels;
  size_t i = 0;
  for (; i + step <= values; i += step) StorePixels(SumAt(four, i), bgra + i);
  if (i == values) return;
  HWY_ALIGN uint8_t last[HWY_MAX_BYTES];
  StorePixels(SumAt(four, i), last);
  std::memcpy(bgra + i, last, values - i);
}
#endif

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {

HWY_EXPORT(LoadScaleRowImpl);
HWY_EXPORT(SampleScaleRowImpl);
HWY_EXPORT(AddScaleRowsImpl);
HWY_EXPORT(StoreScaleRowsImpl);

void LoadScaleRow(const uint8_t* bgra, size_t pixels, float* row) {
  HWY_DYNAMIC_DISPATCH(LoadScaleRowImpl)(bgra, pixels, row);
}
void SampleScaleRow(const float* row, const std::vector<ScaleTaps>& taps, const float* weights,
                    bool fourEach, float* out) {
  HWY_DYNAMIC_DISPATCH(SampleScaleRowImpl)(row, taps, weights, fourEach, out);
}
void AddScaleRows(const FourRows& four, size_t pixels, float* sum) {
  HWY_DYNAMIC_DISPATCH(AddScaleRowsImpl)(four, pixels, sum);
}
void StoreScaleRows(const FourRows& four, size_t pixels, uint8_t* bgra) {
  HWY_DYNAMIC_DISPATCH(StoreScaleRowsImpl)(four, pixels, bgra);
}

}  // namespace kiv
#endif  // HWY_ONCE
