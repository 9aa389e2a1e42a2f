#include "engine/tween/BlendKernel.h"

#include <algorithm>
#include <cmath>

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/tween/BlendKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::tween::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr int kChannels = 4;
constexpr int kCodeBits = 7;  // fraction of an intermediate value
constexpr float kOne = 32767;

struct CornerWeights {
  float w[kCorners];
};

// Of a pixel `x`, `y` in the cell.
inline CornerWeights WeightsAt(const CellCorner (&corners)[kCorners], float x, float y) {
  const CornerWeights raw = {{corners[0].trust * (1 - x) * (1 - y), corners[1].trust * x * (1 - y),
                              corners[2].trust * (1 - x) * y, corners[3].trust * x * y}};
  const float scale = kOne / (raw.w[0] + raw.w[1] + raw.w[2] + raw.w[3]);
  return {{raw.w[0] * scale, raw.w[1] * scale, raw.w[2] * scale, raw.w[3] * scale}};
}

#if HWY_TARGET == HWY_SCALAR
inline int RoundedHighProduct(int a, int b) { return (a * b + (1 << 14)) >> 15; }

inline int Predict(const CellCorner& corner, int x, int y, int channel) {
  int sum = 0;
  for (const CellSource& source : corner.sources) {
    for (int tap = 0; tap < 4; ++tap) {
      const uint8_t* const pixel =
          source.pixels + (y + tap / 2) * source.stride + kChannels * (x + tap % 2);
      sum += RoundedHighProduct(pixel[channel] << kCodeBits, source.weights[tap]);
    }
  }
  return sum;
}

void BlendCellImpl(const CellCorner (&corners)[kCorners], int side, uint8_t* out,
                   ptrdiff_t stride) {
  for (int y = 0; y < side; ++y) {
    for (int i = 0; i < side * kChannels; ++i) {
      const int x = i / kChannels;
      const float scale = 1.0F / static_cast<float>(side);
      const CornerWeights weights = WeightsAt(corners, (static_cast<float>(x) + 0.5F) * scale,
                                              (static_cast<float>(y) + 0.5F) * scale);
      int sum = 1 << (kCodeBits - 1);
      for (int k = 0; k < kCorners; ++k) {
        const int weight = static_cast<int>(std::lrint(weights.w[k]));
        sum += RoundedHighProduct(Predict(corners[k], x, y, i % kChannels), weight);
      }
      out[y * stride + i] = static_cast<uint8_t>(std::clamp(sum >> kCodeBits, 0, 255));
    }
  }
}
#else
// One vector holds `kMost` 16-bit lanes or, where that is too long, what the processor has.
template <size_t kMost>
class CellBlender {
 public:
  using Lanes = hn::CappedTag<int16_t, kMost>;
  using Codes = hn::Rebind<uint8_t, Lanes>;
  using Vector = hn::Vec<Lanes>;

  HWY_INLINE static void Blend(const CellCorner (&corners)[kCorners], int side, uint8_t* out,
                               ptrdiff_t stride) {
    const size_t step = hn::Lanes(Lanes());
    for (size_t at = 0; at < static_cast<size_t>(side) * kChannels; at += step) {
      BlendColumn(corners, side, at, out + at, stride);
    }
  }

 private:
  using Pixels = hn::Rebind<float, hn::Repartition<uint64_t, Lanes> >;

  HWY_INLINE static void BlendColumn(const CellCorner (&corners)[kCorners], int side, size_t at,
                                     uint8_t* out, ptrdiff_t stride) {
    const Lanes d;
    const Pixels df;
    const float scale = 1.0F / static_cast<float>(side);
    const size_t column = at / kChannels;
    const auto first = hn::Set(df, static_cast<float>(column) + 0.5F);
    const auto x = hn::Mul(hn::Add(hn::Iota(df, 0.0F), first), hn::Set(df, scale));
    const auto left = hn::Sub(hn::Set(df, 1.0F), x);
    for (int y = 0; y < side; ++y) {
      const float lower = (static_cast<float>(y) + 0.5F) * scale, upper = 1 - lower;
      const auto a = hn::Mul(left, hn::Set(df, corners[0].trust * upper));
      const auto b = hn::Mul(x, hn::Set(df, corners[1].trust * upper));
      const auto e = hn::Mul(left, hn::Set(df, corners[2].trust * lower));
      const auto f = hn::Mul(x, hn::Set(df, corners[3].trust * lower));
      const auto one = hn::Div(hn::Set(df, kOne), hn::Add(hn::Add(a, b), hn::Add(e, f)));
      Vector sum = hn::Set(d, int16_t{1 << (kCodeBits - 1)});
      sum = hn::Add(sum, Share(corners[0], y, at, hn::Mul(a, one)));
      sum = hn::Add(sum, Share(corners[1], y, at, hn::Mul(b, one)));
      sum = hn::Add(sum, Share(corners[2], y, at, hn::Mul(e, one)));
      sum = hn::Add(sum, Share(corners[3], y, at, hn::Mul(f, one)));
      hn::StoreU(hn::DemoteTo(Codes(), hn::ShiftRight<kCodeBits>(sum)), Codes(), out + y * stride);
    }
  }

  template <class Weights>
  HWY_INLINE static Vector Share(const CellCorner& corner, int y, size_t at, Weights weights) {
    const Vector predicted =
        hn::Add(Sample(corner.sources[0], y, at), Sample(corner.sources[1], y, at));
    return hn::MulFixedPoint15(predicted, FourTimes(weights));
  }

  HWY_INLINE static Vector Sample(const CellSource& source, int y, size_t at) {
    const uint8_t* const row = source.pixels + y * source.stride + at;
    const uint8_t* const below = row + source.stride;
    return hn::Add(
        hn::Add(Tap(row, source.weights[0]), Tap(row + kChannels, source.weights[1])),
        hn::Add(Tap(below, source.weights[2]), Tap(below + kChannels, source.weights[3])));
  }

  HWY_INLINE static Vector Tap(const uint8_t* codes, int16_t weight) {
    const Lanes d;
    const auto wide = hn::ShiftLeft<kCodeBits>(hn::PromoteTo(d, hn::LoadU(Codes(), codes)));
    return hn::MulFixedPoint15(wide, hn::Set(d, weight));
  }

  // A pixel's weight for each of its channels.
  template <class Weights>
  HWY_INLINE static Vector FourTimes(Weights weights) {
    const hn::Rebind<uint32_t, Pixels> d32;
    const hn::Rebind<uint64_t, Pixels> d64;
    const auto once = hn::BitCast(d32, hn::NearestInt(weights));
    const auto twice = hn::PromoteTo(d64, hn::Or(once, hn::ShiftLeft<16>(once)));
    return hn::BitCast(Lanes(), hn::Or(twice, hn::ShiftLeft<32>(twice)));
  }
};

void BlendCellImpl(const CellCorner (&corners)[kCorners], int side, uint8_t* out,
                   ptrdiff_t stride) {
  if (side % 8 == 0) {
    CellBlender<32>::Blend(corners, side, out, stride);
  } else {
    CellBlender<16>::Blend(corners, side, out, stride);
  }
}
#endif

}  // namespace kiv::tween::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv::tween {

HWY_EXPORT(BlendCellImpl);

void BlendCell(const CellCorner (&corners)[kCorners], int side, uint8_t* out, ptrdiff_t stride) {
  HWY_DYNAMIC_DISPATCH(BlendCellImpl)(corners, side, out, stride);
}

}  // namespace kiv::tween
#endif  // HWY_ONCE
