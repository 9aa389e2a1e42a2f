#include "engine/media/colour/ColourKernel.h"

#include <algorithm>

#include "kiv/platform/PictureFacts.h"

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/media/colour/ColourKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
using Lanes16 = hn::ScalableTag<int16_t>;
using Lanes16u = hn::ScalableTag<uint16_t>;
using Lanes8Half = hn::Rebind<uint8_t, Lanes16>;

constexpr int kFractionBits = 6;

// (a x b + 2^14) / 2^15, the scalar twin of MulFixedPoint15.
inline int RoundedHighProduct(int a, int b) { return (a * b + (1 << 14)) >> 15; }

inline uint8_t ClampCode(int value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

inline int16_t Saturate16(int value) {
  return static_cast<int16_t>(std::clamp(value, -32768, 32767));
}

// Loads N samples of luma, scaled to 15 bits.
struct Luma8 {
  const uint8_t* row;
  auto Load(size_t at) const {
    const auto codes = hn::PromoteTo(Lanes16(), hn::LoadU(Lanes8Half(), row + at));
    return hn::ShiftLeft<7>(codes);
  }
  int At(size_t at) const { return row[at] << 7; }
};

struct Luma16 {
  const uint16_t* row;
  int shift;
  auto Load(size_t at) const {
    const auto codes = hn::LoadU(Lanes16u(), row + at);
    return hn::BitCast(Lanes16(), hn::ShiftLeftSame(codes, shift));
  }
  // Stray high bits of a damaged sample fall off as they do in the vector form.
  int At(size_t at) const { return static_cast<int16_t>(row[at] << shift); }
};

template <class Vector>
HWY_INLINE Vector ToCodes(Vector sixtyFourths) {
  const Lanes16 d;
  const auto codes = hn::ShiftRight<kFractionBits>(sixtyFourths);
  return hn::Min(hn::Max(codes, hn::Zero(d)), hn::Set(d, int16_t{255}));
}

// Pixels [at, at + N) of the row.
template <class Vector>
HWY_INLINE void StorePixels(Vector blue, Vector green, Vector red, const BgraRow& row, size_t at) {
  const Lanes16 d;
  const Lanes16u du;
  const auto alpha = row.alpha ? hn::PromoteTo(d, hn::LoadU(Lanes8Half(), row.alpha + at))
                               : hn::Set(d, int16_t{255});
  const auto blueGreen = hn::Or(blue, hn::ShiftLeft<8>(green));
  const auto redAlpha = hn::Or(red, hn::ShiftLeft<8>(alpha));
  hn::StoreInterleaved2(hn::BitCast(du, blueGreen), hn::BitCast(du, redAlpha), du,
                        reinterpret_cast<uint16_t*>(row.out + kBytesPerPixel * at));
}

template <class Luma>
HWY_INLINE void ConvertVector(const Luma& luma, const ColourFactors& f, const BgraRow& row,
                              size_t at) {
  const Lanes16 d;
  const auto cb = hn::LoadU(d, row.cb + at);
  const auto cr = hn::LoadU(d, row.cr + at);
  const auto light =
      hn::Add(hn::MulFixedPoint15(luma.Load(at), hn::Set(d, f.luma)), hn::Set(d, f.lumaBias));
  const auto blue = hn::SaturatedAdd(light, hn::MulFixedPoint15(cb, hn::Set(d, f.cbToBlue)));
  const auto red = hn::SaturatedAdd(light, hn::MulFixedPoint15(cr, hn::Set(d, f.crToRed)));
  const auto greenPart = hn::Add(hn::MulFixedPoint15(cb, hn::Set(d, f.cbToGreen)),
                                 hn::MulFixedPoint15(cr, hn::Set(d, f.crToGreen)));
  const auto green = hn::SaturatedSub(light, greenPart);
  StorePixels(ToCodes(blue), ToCodes(green), ToCodes(red), row, at);
}

template <class Luma>
HWY_INLINE void ConvertPixel(const Luma& luma, const ColourFactors& f, const BgraRow& row,
                             size_t at) {
  const int light = RoundedHighProduct(luma.At(at), f.luma) + f.lumaBias;
  const int cb = row.cb[at];
  const int cr = row.cr[at];
  const int green = RoundedHighProduct(cb, f.cbToGreen) + RoundedHighProduct(cr, f.crToGreen);
  uint8_t* const pixel = row.out + kBytesPerPixel * at;
  pixel[0] = ClampCode(Saturate16(light + RoundedHighProduct(cb, f.cbToBlue)) >> kFractionBits);
  pixel[1] = ClampCode(Saturate16(light - green) >> kFractionBits);
  pixel[2] = ClampCode(Saturate16(light + RoundedHighProduct(cr, f.crToRed)) >> kFractionBits);
  pixel[3] = row.alpha ? row.alpha[at] : uint8_t{255};
}

// Whole vectors, then a last one that overlaps them; narrow rows go pixel by pixel.
template <class VectorStep, class ScalarStep>
HWY_INLINE void ForRow(size_t width, size_t lanes, VectorStep vectorStep, ScalarStep scalarStep) {
  if (width < lanes) {
    for (size_t at = 0; at < width; ++at) scalarStep(at);
    return;
  }
  size_t at = 0;
  for (; at + lanes <= width; at += lanes) vectorStep(at);
  if (at < width) vectorStep(width - lanes);
}

template <class Luma>
HWY_INLINE void ConvertRow(const Luma& luma, const ColourFactors& factors, const BgraRow& row) {
  // Copies keep the factors in registers across the stores.
  const ColourFactors f = factors;
  const BgraRow r = row;
  ForRow(
      r.width, hn::Lanes(Lanes16()), [&](size_t at) { ConvertVector(luma, f, r, at); },
      [&](size_t at) { ConvertPixel(luma, f, r, at); });
}

void LumaRow8(const uint8_t* luma, const ColourFactors& factors, const BgraRow& row) {
  ConvertRow(Luma8{luma}, factors, row);
}

void LumaRow16(const uint16_t* luma, int depth, const ColourFactors& factors, const BgraRow& row) {
  ConvertRow(Luma16{luma, 15 - depth}, factors, row);
}

void Blend8(const uint8_t* near, const uint8_t* far, int nearWeight, size_t count, int16_t* out) {
  const Lanes16 d;
  const Lanes8Half d8;
  const auto wNear = hn::Set(d, static_cast<int16_t>(nearWeight));
  const auto wFar = hn::Set(d, static_cast<int16_t>(4 - nearWeight));
  const auto middle = hn::Set(d, int16_t{-32768});
  ForRow(
      count, hn::Lanes(d),
      [&](size_t at) {
        const auto a = hn::PromoteTo(d, hn::LoadU(d8, near + at));
        const auto b = hn::PromoteTo(d, hn::LoadU(d8, far + at));
        const auto sum = hn::Add(hn::Mul(a, wNear), hn::Mul(b, wFar));
        hn::StoreU(hn::Xor(hn::ShiftLeft<6>(sum), middle), d, out + at);
      },
      [&](size_t at) {
        out[at] =
            static_cast<int16_t>((near[at] * nearWeight + far[at] * (4 - nearWeight)) * 64 - 32768);
      });
}

void Blend16(const uint16_t* near, const uint16_t* far, int nearWeight, int depth, size_t count,
             int16_t* out) {
  const Lanes16u d;
  const auto wNear = hn::Set(d, static_cast<uint16_t>(nearWeight));
  const auto wFar = hn::Set(d, static_cast<uint16_t>(4 - nearWeight));
  const auto middle = hn::Set(d, uint16_t{32768});
  const int shift = 14 - depth;
  const auto convert = [&](auto a, auto b) {
    const auto sum = hn::Add(hn::Mul(a, wNear), hn::Mul(b, wFar));
    return hn::Xor(hn::ShiftLeftSame(sum, shift), middle);
  };
  ForRow(
      count, hn::Lanes(d),
      [&](size_t at) {
        const auto blended = convert(hn::LoadU(d, near + at), hn::LoadU(d, far + at));
        hn::StoreU(blended, d, reinterpret_cast<uint16_t*>(out) + at);
      },
      [&](size_t at) {
        const int sum = near[at] * nearWeight + far[at] * (4 - nearWeight);
        out[at] = static_cast<int16_t>(static_cast<uint16_t>(sum << shift) ^ 0x8000);
      });
}

void BlendInterleaved8(const uint8_t* near, const uint8_t* far, int nearWeight, size_t count,
                       int16_t* cb, int16_t* cr) {
  const Lanes16 d;
  const Lanes8Half d8;
  const auto wNear = hn::Set(d, static_cast<int16_t>(nearWeight));
  const auto wFar = hn::Set(d, static_cast<int16_t>(4 - nearWeight));
  const auto middle = hn::Set(d, int16_t{-32768});
  const auto convert = [&](auto a, auto b) {
    const auto sum =
        hn::Add(hn::Mul(hn::PromoteTo(d, a), wNear), hn::Mul(hn::PromoteTo(d, b), wFar));
    return hn::Xor(hn::ShiftLeft<6>(sum), middle);
  };
  ForRow(
      count, hn::Lanes(d),
      [&](size_t at) {
        hn::Vec<Lanes8Half> nearCb, nearCr, farCb, farCr;
        hn::LoadInterleaved2(d8, near + 2 * at, nearCb, nearCr);
        hn::LoadInterleaved2(d8, far + 2 * at, farCb, farCr);
        hn::StoreU(convert(nearCb, farCb), d, cb + at);
        hn::StoreU(convert(nearCr, farCr), d, cr + at);
      },
      [&](size_t at) {
        const auto one = [&](size_t i) {
          return static_cast<int16_t>((near[i] * nearWeight + far[i] * (4 - nearWeight)) * 64 -
                                      32768);
        };
        cb[at] = one(2 * at);
        cr[at] = one(2 * at + 1);
      });
}

// Half-way between two samples; the bit lost is 1/256 of a code.
inline int Half(int a, int b) { return (a >> 1) + (b >> 1); }

void DoubleLeft(const int16_t* in, size_t count, int16_t* out) {
  const Lanes16 d;
  ForRow(
      count, hn::Lanes(d),
      [&](size_t at) {
        const auto here = hn::LoadU(d, in + at);
        const auto next = hn::LoadU(d, in + at + 1);
        const auto between = hn::Add(hn::ShiftRight<1>(here), hn::ShiftRight<1>(next));
        hn::StoreInterleaved2(here, between, d, out + 2 * at);
      },
      [&](size_t at) {
        out[2 * at] = in[at];
        out[2 * at + 1] = static_cast<int16_t>(Half(in[at], in[at + 1]));
      });
}

void DoubleCentre(const int16_t* in, size_t count, int16_t* out) {
  const Lanes16 d;
  // A quarter of the way from `a` to `b`.
  const auto quarter = [](auto a, auto b) {
    return hn::Sub(a, hn::Sub(hn::ShiftRight<2>(a), hn::ShiftRight<2>(b)));
  };
  const auto quarterOf = [](int a, int b) {
    return static_cast<int16_t>(a - ((a >> 2) - (b >> 2)));
  };
  ForRow(
      count, hn::Lanes(d),
      [&](size_t at) {
        const auto here = hn::LoadU(d, in + at);
        const auto left = quarter(here, hn::LoadU(d, in + at - 1));
        const auto right = quarter(here, hn::LoadU(d, in + at + 1));
        hn::StoreInterleaved2(left, right, d, out + 2 * at);
      },
      [&](size_t at) {
        out[2 * at] = quarterOf(in[at], in[static_cast<ptrdiff_t>(at) - 1]);
        out[2 * at + 1] = quarterOf(in[at], in[at + 1]);
      });
}

void PlanarRow(const uint8_t* red, const uint8_t* green, const uint8_t* blue, const BgraRow& row) {
  const Lanes16 d;
  const Lanes8Half d8;
  ForRow(
      row.width, hn::Lanes(d),
      [&](size_t at) {
        StorePixels(hn::PromoteTo(d, hn::LoadU(d8, blue + at)),
                    hn::PromoteTo(d, hn::LoadU(d8, green + at)),
                    hn::PromoteTo(d, hn::LoadU(d8, red + at)), row, at);
      },
      [&](size_t at) {
        uint8_t* const pixel = row.out + kBytesPerPixel * at;
        pixel[0] = blue[at];
        pixel[1] = green[at];
        pixel[2] = red[at];
        pixel[3] = row.alpha ? row.alpha[at] : uint8_t{255};
      });
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {

HWY_EXPORT(LumaRow8);
HWY_EXPORT(LumaRow16);
HWY_EXPORT(Blend8);
HWY_EXPORT(Blend16);
HWY_EXPORT(BlendInterleaved8);
HWY_EXPORT(DoubleLeft);
HWY_EXPORT(DoubleCentre);
HWY_EXPORT(PlanarRow);

void BlendChromaRows(const uint8_t* near, const uint8_t* far, int nearWeight, size_t count,
                     int16_t* out) {
  HWY_DYNAMIC_DISPATCH(Blend8)(near, far, nearWeight, count, out);
}

void BlendChromaRows(const uint16_t* near, const uint16_t* far, int nearWeight, int depth,
                     size_t count, int16_t* out) {
  HWY_DYNAMIC_DISPATCH(Blend16)(near, far, nearWeight, depth, count, out);
}

void BlendInterleavedChromaRows(const uint8_t* near, const uint8_t* far, int nearWeight,
                                size_t count, int16_t* cb, int16_t* cr) {
  HWY_DYNAMIC_DISPATCH(BlendInterleaved8)(near, far, nearWeight, count, cb, cr);
}

void DoubleChromaRow(const int16_t* in, size_t count, ChromaSiting siting, int16_t* out) {
  if (siting == ChromaSiting::kLeft) {
    HWY_DYNAMIC_DISPATCH(DoubleLeft)(in, count, out);
  } else {
    HWY_DYNAMIC_DISPATCH(DoubleCentre)(in, count, out);
  }
}

void LumaRowToBgra(const uint8_t* luma, const ColourFactors& factors, const BgraRow& row) {
  HWY_DYNAMIC_DISPATCH(LumaRow8)(luma, factors, row);
}

void LumaRowToBgra(const uint16_t* luma, int depth, const ColourFactors& factors,
                   const BgraRow& row) {
  HWY_DYNAMIC_DISPATCH(LumaRow16)(luma, depth, factors, row);
}

void PlanarRowToBgra(const uint8_t* red, const uint8_t* green, const uint8_t* blue,
                     const BgraRow& row) {
  HWY_DYNAMIC_DISPATCH(PlanarRow)(red, green, blue, row);
}

}  // namespace kiv
#endif  // HWY_ONCE
