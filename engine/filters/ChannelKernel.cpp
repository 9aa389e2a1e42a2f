#include "engine/filters/ChannelKernel.h"

#include <cstring>

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/filters/ChannelKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr size_t kBytes = 4;
constexpr uint32_t kAlphaBits = 0xFF000000;
constexpr uint32_t kEvenBytes = 0x00FF00FF;

// One pixel a lane, blue in the lowest byte.
using Pixels = hn::ScalableTag<uint32_t>;
using Pixel = hn::Vec<Pixels>;

HWY_INLINE Pixel LoadPixels(const uint8_t* bytes) {
  return hn::LoadU(Pixels(), reinterpret_cast<const uint32_t*>(bytes));
}

HWY_INLINE void StorePixels(Pixel pixels, uint8_t* bytes) {
  hn::StoreU(pixels, Pixels(), reinterpret_cast<uint32_t*>(bytes));
}

// `make(a, b, column)` for each vector of two rows; the last one in buffers of its own where the row
// is no multiple of a vector. `b` may be `out`.
template <class Make>
HWY_INLINE void ForEachVector(const uint8_t* a, const uint8_t* b, size_t width, uint8_t* out,
                              const Make& make) {
  const size_t step = hn::Lanes(Pixels());
  size_t x = 0;
  for (; x + step <= width; x += step) {
    StorePixels(make(LoadPixels(a + kBytes * x), LoadPixels(b + kBytes * x), x), out + kBytes * x);
  }
  if (x == width) return;
  HWY_ALIGN uint8_t lastA[HWY_MAX_BYTES] = {};
  HWY_ALIGN uint8_t lastB[HWY_MAX_BYTES] = {};
  const size_t bytes = kBytes * (width - x);
  std::memcpy(lastA, a + kBytes * x, bytes);
  std::memcpy(lastB, b + kBytes * x, bytes);
  StorePixels(make(LoadPixels(lastA), LoadPixels(lastB), x), lastA);
  std::memcpy(out + kBytes * x, lastA, bytes);
}

HWY_INLINE Pixel CoverageOf(Pixel pixels, int shift) {
  const Pixels d;
  return hn::And(hn::ShiftLeftSame(pixels, shift), hn::Set(d, kAlphaBits));
}

int ShiftOf(int channel) { return 24 - 8 * channel; }

void FillRowImpl(const uint8_t* in, size_t width, int channel, FillColour colour, uint8_t* out) {
  const auto packed = static_cast<uint32_t>(colour.blue | colour.green << 8 | colour.red << 16);
  const Pixel fill = hn::Set(Pixels(), packed);
  const int shift = ShiftOf(channel);
  ForEachVector(in, in, width, out, [&](Pixel pixels, Pixel, size_t) {
    return hn::Or(CoverageOf(pixels, shift), fill);
  });
}

void GradientRowImpl(const uint8_t* in, size_t width, int channel, const GradientRamp& ramp,
                     uint8_t* out) {
  const Pixels d;
  const hn::Rebind<float, Pixels> df;
  const hn::Rebind<int32_t, Pixels> di;
  const int shift = ShiftOf(channel);
  const auto lanes = hn::Mul(hn::Iota(df, 0.0F), hn::Set(df, ramp.step));
  const auto one = hn::Set(df, 1.0F), zero = hn::Zero(df);
  const auto channelAt = [&](hn::Vec<decltype(df)> share, size_t c) {
    const auto start = hn::Set(df, ramp.from[c] + 0.5F);
    const auto code = hn::MulAdd(share, hn::Set(df, ramp.change[c]), start);
    return hn::BitCast(d, hn::ConvertTo(di, code));
  };
  ForEachVector(in, in, width, out, [&](Pixel pixels, Pixel, size_t x) {
    const auto at = hn::Set(df, ramp.first + ramp.step * static_cast<float>(x));
    const auto share = hn::Min(hn::Max(hn::Add(at, lanes), zero), one);
    const Pixel blueGreen = hn::Or(channelAt(share, 0), hn::ShiftLeft<8>(channelAt(share, 1)));
    const Pixel colour = hn::Or(blueGreen, hn::ShiftLeft<16>(channelAt(share, 2)));
    return hn::Or(CoverageOf(pixels, shift), colour);
  });
}

void GreenCoverageRowImpl(const uint8_t* mask, const uint8_t* picture, size_t width, uint8_t* out) {
  const Pixel colours = hn::Set(Pixels(), ~kAlphaBits);
  ForEachVector(mask, picture, width, out, [&](Pixel covering, Pixel pixels, size_t) {
    return hn::Or(CoverageOf(covering, 16), hn::And(pixels, colours));
  });
}

// Two products of codes in a lane, 16 bits each, over 255, to the nearest. No sum carries over.
HWY_INLINE Pixel Over255(Pixel products) {
  const Pixels d;
  const Pixel low = hn::Set(d, kEvenBytes);
  const Pixel rounded = hn::Add(products, hn::Set(d, 0x00800080U));
  const Pixel high = hn::And(hn::ShiftRight<8>(rounded), low);
  return hn::And(hn::ShiftRight<8>(hn::Add(rounded, high)), low);
}

// Blue and red.
HWY_INLINE Pixel EvenBytes(Pixel pixels) { return hn::And(pixels, hn::Set(Pixels(), kEvenBytes)); }

// Green and alpha, alpha as if it were full.
HWY_INLINE Pixel GreenAndFull(Pixel pixels) {
  return EvenBytes(hn::ShiftRight<8>(hn::Or(pixels, hn::Set(Pixels(), kAlphaBits))));
}

HWY_INLINE Pixel FromBytes(Pixel even, Pixel odd) { return hn::Or(even, hn::ShiftLeft<8>(odd)); }

void PremultiplyRowImpl(const uint8_t* in, size_t width, uint8_t* out) {
  ForEachVector(in, in, width, out, [](Pixel pixels, Pixel, size_t) {
    const Pixel alpha = hn::ShiftRight<24>(pixels);
    return FromBytes(Over255(hn::Mul(EvenBytes(pixels), alpha)),
                     Over255(hn::Mul(GreenAndFull(pixels), alpha)));
  });
}

void LayOverOpaqueRowImpl(const uint8_t* over, size_t width, uint8_t* under) {
  ForEachVector(over, under, width, under, [](Pixel upper, Pixel lower, size_t) {
    const Pixel alpha = hn::ShiftRight<24>(upper);
    const Pixel rest = hn::Sub(hn::Set(Pixels(), 255U), alpha);
    const Pixel even = hn::Add(hn::Mul(EvenBytes(upper), alpha), hn::Mul(EvenBytes(lower), rest));
    const Pixel odd =
        hn::Add(hn::Mul(GreenAndFull(upper), alpha), hn::Mul(GreenAndFull(lower), rest));
    return FromBytes(Over255(even), Over255(odd));
  });
}

bool IsOpaquePixelRowImpl(const uint8_t* bgra, size_t width) {
  const size_t step = hn::Lanes(Pixels());
  Pixel seen = hn::Set(Pixels(), kAlphaBits);
  size_t x = 0;
  for (; x + step <= width; x += step) seen = hn::And(seen, LoadPixels(bgra + kBytes * x));
  for (; x < width; ++x) {
    if (bgra[kBytes * x + 3] != 255) return false;
  }
  const Pixel alpha = hn::And(seen, hn::Set(Pixels(), kAlphaBits));
  return hn::AllTrue(Pixels(), hn::Eq(alpha, hn::Set(Pixels(), kAlphaBits)));
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {

HWY_EXPORT(FillRowImpl);
HWY_EXPORT(GradientRowImpl);
HWY_EXPORT(GreenCoverageRowImpl);
HWY_EXPORT(PremultiplyRowImpl);
HWY_EXPORT(LayOverOpaqueRowImpl);
HWY_EXPORT(IsOpaquePixelRowImpl);

void FillRow(const uint8_t* in, size_t width, int channel, FillColour colour, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(FillRowImpl)(in, width, channel, colour, out);
}

void GradientRow(const uint8_t* in, size_t width, int channel, const GradientRamp& ramp,
                 uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(GradientRowImpl)(in, width, channel, ramp, out);
}

void GreenCoverageRow(const uint8_t* mask, const uint8_t* picture, size_t width, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(GreenCoverageRowImpl)(mask, picture, width, out);
}

void PremultiplyRow(const uint8_t* in, size_t width, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(PremultiplyRowImpl)(in, width, out);
}

void LayOverOpaqueRow(const uint8_t* over, size_t width, uint8_t* under) {
  HWY_DYNAMIC_DISPATCH(LayOverOpaqueRowImpl)(over, width, under);
}

bool IsOpaquePixelRow(const uint8_t* bgra, size_t width) {
  return HWY_DYNAMIC_DISPATCH(IsOpaquePixelRowImpl)(bgra, width);
}

}  // namespace kiv
#endif  // HWY_ONCE
