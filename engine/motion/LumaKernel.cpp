#include "engine/motion/LumaKernel.h"

#include <cstring>

#include "kiv/platform/PictureFacts.h"

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/motion/LumaKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

// 64ths; four pixels' weighted sum still fits in 16 bits.
constexpr uint32_t kBlue = 7;
constexpr uint32_t kGreen = 38;
constexpr uint32_t kRed = 19;

HWY_INLINE uint32_t WeightedSum(const uint8_t* p) {
  return kBlue * p[0] + kGreen * p[1] + kRed * p[2];
}

// Lanes of one size seen as another's need more than one of them.
#if HWY_TARGET != HWY_SCALAR
namespace hn = hwy::HWY_NAMESPACE;
using Lanes16 = hn::ScalableTag<uint16_t>;
using Lanes32 = hn::ScalableTag<uint32_t>;
using Lanes64 = hn::ScalableTag<uint64_t>;

// A 32-bit lane holds a pixel; the result's lower half holds 64 x its brightness.
template <class Vector>
HWY_INLINE auto Weigh(Vector blueRed, Vector greenAlpha) {
  const Lanes32 d32;
  const Lanes16 d16;
  const auto weights = hn::BitCast(d16, hn::Set(d32, kBlue | kRed << 16));
  const auto green = hn::BitCast(d16, hn::Set(d32, kGreen));
  const auto parts =
      hn::BitCast(d32, hn::Add(hn::Mul(blueRed, weights), hn::Mul(greenAlpha, green)));
  return hn::Add(parts, hn::ShiftRight<16>(parts));
}

// How many pixels whole vectors have dealt with.
size_t LumaRowVectors(const uint8_t* bgra, size_t width, uint8_t* out) {
  const Lanes16 d16;
  const Lanes32 d32;
  const auto low = hn::Set(d16, uint16_t{0xFF});
  const size_t step = hn::Lanes(d32);
  size_t x = 0;
  for (; x + step <= width; x += step) {
    const auto v = hn::LoadU(d16, reinterpret_cast<const uint16_t*>(bgra + kBytesPerPixel * x));
    const auto sum = Weigh(hn::And(v, low), hn::ShiftRight<8>(v));
    const auto luma = hn::ShiftRight<6>(hn::And(sum, hn::Set(d32, 0xFFFFU)));
    hn::StoreU(hn::TruncateTo(hn::Rebind<uint8_t, Lanes32>(), luma), hn::Rebind<uint8_t, Lanes32>(),
               out + x);
  }
  return x;
}

size_t HalvedLumaRowVectors(const uint8_t* upper, const uint8_t* lower, size_t width,
                            uint8_t* out) {
  const Lanes16 d16;
  const Lanes64 d64;
  const hn::Rebind<uint8_t, Lanes64> d8;
  const auto low = hn::Set(d16, uint16_t{0xFF});
  const size_t step = hn::Lanes(d64);
  size_t x = 0;
  for (; x + step <= width; x += step) {
    const auto a = hn::LoadU(d16, reinterpret_cast<const uint16_t*>(upper + 8 * x));
    const auto b = hn::LoadU(d16, reinterpret_cast<const uint16_t*>(lower + 8 * x));
    const auto sums = Weigh(hn::Add(hn::And(a, low), hn::And(b, low)),
                            hn::Add(hn::ShiftRight<8>(a), hn::ShiftRight<8>(b)));
    const auto pairs = hn::BitCast(d64, sums);
    const auto four = hn::And(hn::Add(pairs, hn::ShiftRight<32>(pairs)), hn::Set(d64, 0xFFFFU));
    hn::StoreU(hn::TruncateTo(d8, hn::ShiftRight<8>(four)), d8, out + x);
  }
  return x;
}

size_t HalvedRowVectors(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* out) {
  const Lanes16 d16;
  const hn::Rebind<uint8_t, Lanes16> d8;
  const auto low = hn::Set(d16, uint16_t{0xFF});
  const auto pairSum = [&](const uint8_t* row) {
    const auto v = hn::LoadU(d16, reinterpret_cast<const uint16_t*>(row));
    return hn::Add(hn::And(v, low), hn::ShiftRight<8>(v));
  };
  const size_t step = hn::Lanes(d16);
  size_t x = 0;
  for (; x + step <= width; x += step) {
    const auto sum = hn::Add(pairSum(upper + 2 * x), pairSum(lower + 2 * x));
    const auto mean = hn::ShiftRight<2>(hn::Add(sum, hn::Set(d16, uint16_t{2})));
    hn::StoreU(hn::TruncateTo(d8, mean), d8, out + x);
  }
  return x;
}
#else
size_t LumaRowVectors(const uint8_t*, size_t, uint8_t*) { return 0; }
size_t HalvedLumaRowVectors(const uint8_t*, const uint8_t*, size_t, uint8_t*) { return 0; }
size_t HalvedRowVectors(const uint8_t*, const uint8_t*, size_t, uint8_t*) { return 0; }
#endif

void LumaRowImpl(const uint8_t* bgra, size_t width, uint8_t* out) {
  size_t x = LumaRowVectors(bgra, width, out);
  for (; x < width; ++x) out[x] = static_cast<uint8_t>(WeightedSum(bgra + kBytesPerPixel * x) >> 6);
}

void HalvedLumaRowImpl(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* out) {
  size_t x = HalvedLumaRowVectors(upper, lower, width, out);
  for (; x < width; ++x) {
    const size_t at = 8 * x;
    out[x] = static_cast<uint8_t>((WeightedSum(upper + at) + WeightedSum(upper + at + 4) +
                                   WeightedSum(lower + at) + WeightedSum(lower + at + 4)) >>
                                  8);
  }
}

void HalvedRowImpl(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* out) {
  size_t x = HalvedRowVectors(upper, lower, width, out);
  for (; x < width; ++x) {
    const size_t at = 2 * x;
    out[x] = static_cast<uint8_t>((upper[at] + upper[at + 1] + lower[at] + lower[at + 1] + 2) >> 2);
  }
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {

HWY_EXPORT(LumaRowImpl);
HWY_EXPORT(HalvedLumaRowImpl);
HWY_EXPORT(HalvedRowImpl);

void LumaRow(const uint8_t* bgra, size_t width, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(LumaRowImpl)(bgra, width, out);
}

void HalvedLumaRow(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(HalvedLumaRowImpl)(upper, lower, width, out);
}

void HalvedRow(const uint8_t* upper, const uint8_t* lower, size_t width, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(HalvedRowImpl)(upper, lower, width, out);
}

void LumaPlane::Resize(const KivSize& size) {
  size_ = size;
  stride_ = size.width + 2 * kMargin;
  data_.resize(static_cast<size_t>(stride_) * static_cast<size_t>(size.height + 2 * kMargin));
}

void LumaPlane::FillMargin() {
  for (int y = 0; y < size_.height; ++y) {
    uint8_t* const row = Row(y);
    std::memset(row - kMargin, row[0], kMargin);
    std::memset(row + size_.width, row[size_.width - 1], kMargin);
  }
  const auto bytes = static_cast<size_t>(stride_);
  for (int y = 1; y <= kMargin; ++y) {
    std::memcpy(Row(-y) - kMargin, Row(0) - kMargin, bytes);
    std::memcpy(Row(size_.height - 1 + y) - kMargin, Row(size_.height - 1) - kMargin, bytes);
  }
}

void HalvePlane(const LumaPlane& plane, LumaPlane* half) {
  half->Resize({plane.Size().width / 2, plane.Size().height / 2});
  for (int y = 0; y < half->Size().height; ++y) {
    HalvedRow(plane.Row(2 * y), plane.Row(2 * y + 1), static_cast<size_t>(half->Size().width),
              half->Row(y));
  }
  half->FillMargin();
}

}  // namespace kiv
#endif  // HWY_ONCE
