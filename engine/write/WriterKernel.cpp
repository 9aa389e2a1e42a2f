#include "engine/write/WriterKernel.h"

#include <algorithm>
#include <cmath>

#include "kiv/platform/PictureFacts.h"
#include "kiv/values/Saturate.h"

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/write/WriterKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
// Bounded, so that a narrow row's copy can hold one vector of any processor.
constexpr size_t kMostLanes = 32;
using Lanes16 = hn::CappedTag<int16_t, kMostLanes>;
using Lanes16u = hn::CappedTag<uint16_t, kMostLanes>;
using Lanes8Half = hn::Rebind<uint8_t, Lanes16>;
using Vector16 = hn::Vec<Lanes16>;

// Products are 1/128 of a code for one row, 1/64 for each of two that are added.
constexpr int kSingleBits = 7;
constexpr int kPairBits = 6;

struct Pixels {
  Vector16 blue, green, red;
};

template <int kBits>
HWY_INLINE Pixels LoadPixels(const uint8_t* bgra) {
  const Lanes16u du;
  const Lanes16 d;
  hn::Vec<Lanes16u> blueGreen, redAlpha;
  hn::LoadInterleaved2(du, reinterpret_cast<const uint16_t*>(bgra), blueGreen, redAlpha);
  const auto low = hn::Set(du, uint16_t{0xFF});
  return {hn::BitCast(d, hn::ShiftLeft<kBits>(hn::And(blueGreen, low))),
          hn::BitCast(d, hn::ShiftLeft<kBits>(hn::ShiftRight<8>(blueGreen))),
          hn::BitCast(d, hn::ShiftLeft<kBits>(hn::And(redAlpha, low)))};
}

HWY_INLINE Vector16 Weigh(const Pixels& pixels, const int16_t (&factors)[3]) {
  const Lanes16 d;
  const auto blue = hn::MulFixedPoint15(pixels.blue, hn::Set(d, factors[0]));
  const auto green = hn::MulFixedPoint15(pixels.green, hn::Set(d, factors[1]));
  const auto red = hn::MulFixedPoint15(pixels.red, hn::Set(d, factors[2]));
  return hn::Add(hn::Add(blue, green), red);
}

// 1/2^kBits of a code to codes, rounded to nearest.
template <int kBits>
HWY_INLINE void StoreCodes(Vector16 value, int offset, uint8_t* out) {
  const Lanes16 d;
  const auto half = hn::Set(d, static_cast<int16_t>(1 << (kBits - 1)));
  const auto codes = hn::Add(hn::ShiftRight<kBits>(hn::Add(value, half)),
                             hn::Set(d, static_cast<int16_t>(offset)));
  hn::StoreU(hn::DemoteTo(Lanes8Half(), codes), Lanes8Half(), out);
}

// Calls `step`(at) for whole vectors, the last of which overlaps them. Rows narrower than a vector go
// through `narrow`.
template <class Step, class Narrow>
HWY_INLINE void ForRow(size_t width, Step step, Narrow narrow) {
  const size_t lanes = hn::Lanes(Lanes16());
  if (width < lanes) return narrow();
  size_t at = 0;
  for (; at + lanes <= width; at += lanes) step(at);
  if (at < width) step(width - lanes);
}

// A narrow row with room for one vector.
struct NarrowRow {
  NarrowRow(const uint8_t* row, size_t width) { std::copy_n(row, width * kBytesPerPixel, bgra); }
  uint8_t bgra[kMostLanes * kBytesPerPixel] = {};
};

void LumaRow(const uint8_t* bgra, size_t width, const YuvFactors& factors, uint8_t* luma) {
  const auto step = [&](const uint8_t* from, uint8_t* to) {
    StoreCodes<kSingleBits>(Weigh(LoadPixels<kSingleBits>(from), factors.luma), 16, to);
  };
  ForRow(
      width, [&](size_t at) { step(bgra + kBytesPerPixel * at, luma + at); },
      [&] {
        const NarrowRow row(bgra, width);
        uint8_t codes[kMostLanes];
        step(row.bgra, codes);
        std::copy_n(codes, width, luma);
      });
}

void ChromaRow(const uint8_t* bgra, size_t width, const YuvFactors& factors, uint8_t* cb,
               uint8_t* cr) {
  const auto step = [&](const uint8_t* from, uint8_t* toCb, uint8_t* toCr) {
    const Pixels pixels = LoadPixels<kSingleBits>(from);
    StoreCodes<kSingleBits>(Weigh(pixels, factors.cb), 128, toCb);
    StoreCodes<kSingleBits>(Weigh(pixels, factors.cr), 128, toCr);
  };
  ForRow(
      width, [&](size_t at) { step(bgra + kBytesPerPixel * at, cb + at, cr + at); },
      [&] {
        const NarrowRow row(bgra, width);
        uint8_t codes[2][kMostLanes];
        step(row.bgra, codes[0], codes[1]);
        std::copy_n(codes[0], width, cb);
        std::copy_n(codes[1], width, cr);
      });
}

void ChromaSums(const uint8_t* upper, const uint8_t* lower, size_t width, const YuvFactors& factors,
                int16_t* cb, int16_t* cr) {
  const Lanes16 d;
  const auto step = [&](const uint8_t* a, const uint8_t* b, int16_t* toCb, int16_t* toCr) {
    const Pixels first = LoadPixels<kPairBits>(a);
    const Pixels second = LoadPixels<kPairBits>(b);
    const Pixels both{hn::Add(first.blue, second.blue), hn::Add(first.green, second.green),
                      hn::Add(first.red, second.red)};
    hn::StoreU(Weigh(both, factors.cb), d, toCb);
    hn::StoreU(Weigh(both, factors.cr), d, toCr);
  };
  ForRow(
      width,
      [&](size_t at) {
        step(upper + kBytesPerPixel * at, lower + kBytesPerPixel * at, cb + at, cr + at);
      },
      [&] {
        const NarrowRow a(upper, width), b(lower, width);
        int16_t sums[2][kMostLanes];
        step(a.bgra, b.bgra, sums[0], sums[1]);
        std::copy_n(sums[0], width, cb);
        std::copy_n(sums[1], width, cr);
      });
}

// (left + 2 x middle + right) / 4 in steps that stay inside 16 bits.
HWY_INLINE void HalveVector(const int16_t* sums, uint8_t* out) {
  const Lanes16 d;
  Vector16 left, middle, even, right;
  hn::LoadInterleaved2(d, sums - 1, left, middle);
  hn::LoadInterleaved2(d, sums, even, right);
  const auto outer = hn::ShiftRight<1>(hn::Add(left, right));
  const auto sum = hn::Add(outer, middle);
  StoreCodes<kSingleBits + 1>(sum, 128, out);
}

void HalveRow(const int16_t* sums, size_t count, uint8_t* out) {
  ForRow(
      count, [&](size_t at) { HalveVector(sums + 2 * at, out + at); },
      [&] {
        int16_t room[2 * kMostLanes + 1] = {};
        uint8_t codes[kMostLanes];
        std::copy_n(sums - 1, 2 * count + 1, room);
        HalveVector(room + 1, codes);
        std::copy_n(codes, count, out);
      });
}

bool OpaqueRow(const uint8_t* bgra, size_t width) {
  const hn::ScalableTag<uint32_t> d;
  const size_t lanes = hn::Lanes(d);
  const auto* pixels = reinterpret_cast<const uint32_t*>(bgra);
  auto all = hn::Set(d, ~uint32_t{0});
  size_t at = 0;
  for (; at + lanes <= width; at += lanes) all = hn::And(all, hn::LoadU(d, pixels + at));
  const auto opaque = hn::Set(d, uint32_t{0xFF000000});
  bool result = hn::AllTrue(d, hn::Eq(hn::And(all, opaque), opaque));
  for (; at < width; ++at) result &= bgra[at * kBytesPerPixel + 3] == 255;
  return result;
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {
namespace {

constexpr double kLumaSpan = 219.0 / 255.0;
constexpr double kChromaSpan = 224.0 / 255.0;
constexpr double kOne = 1 << 15;

int16_t ToFactor(double value) { return SaturateTo<int16_t>(std::floor(value * kOne + 0.5)); }

}  // namespace

HWY_EXPORT(LumaRow);
HWY_EXPORT(ChromaRow);
HWY_EXPORT(ChromaSums);
HWY_EXPORT(HalveRow);
HWY_EXPORT(OpaqueRow);

YuvFactors YuvFactorsOf(MatrixKind matrix) {
  const auto [kr, kb] = WeightsOf(matrix);
  const double kg = 1 - kr - kb;
  // The full swing of B - Y is 2 (1 - kb), of R - Y 2 (1 - kr).
  const double cb = kChromaSpan / (2 * (1 - kb));
  const double cr = kChromaSpan / (2 * (1 - kr));
  YuvFactors f{{ToFactor(kb * kLumaSpan), ToFactor(kg * kLumaSpan), ToFactor(kr * kLumaSpan)},
               {ToFactor((1 - kb) * cb), 0, ToFactor(-kr * cb)},
               {ToFactor(-kb * cr), 0, ToFactor((1 - kr) * cr)}};
  // Greys must not gain a tint from rounding.
  f.cb[1] = static_cast<int16_t>(-f.cb[0] - f.cb[2]);
  f.cr[1] = static_cast<int16_t>(-f.cr[0] - f.cr[2]);
  return f;
}

bool IsOpaqueRow(const uint8_t* bgra, size_t width) {
  return HWY_DYNAMIC_DISPATCH(OpaqueRow)(bgra, width);
}

void BgraToLumaRow(const uint8_t* bgra, size_t width, const YuvFactors& factors, uint8_t* luma) {
  HWY_DYNAMIC_DISPATCH(LumaRow)(bgra, width, factors, luma);
}

void BgraToChromaRow(const uint8_t* bgra, size_t width, const YuvFactors& factors, uint8_t* cb,
                     uint8_t* cr) {
  HWY_DYNAMIC_DISPATCH(ChromaRow)(bgra, width, factors, cb, cr);
}

void BgraToChromaSums(const uint8_t* upper, const uint8_t* lower, size_t width,
                      const YuvFactors& factors, int16_t* cb, int16_t* cr) {
  HWY_DYNAMIC_DISPATCH(ChromaSums)(upper, lower, width, factors, cb, cr);
}

void HalveChromaRow(const int16_t* sums, size_t count, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(HalveRow)(sums, count, out);
}

}  // namespace kiv
#endif  // HWY_ONCE
