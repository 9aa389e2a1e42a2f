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
constexpr int kCodeBits = 6;  // fraction of an intermediate value, which may lie beyond the codes
constexpr float kOne = 32767;

inline void MixRest(const uint8_t* a, const uint8_t* b, int share, size_t count, uint8_t* out) {
  for (size_t i = 0; i < count; ++i) {
    const int sum = a[i] * (kShares - share) + b[i] * share + kShares / 2;
    out[i] = static_cast<uint8_t>(sum >> kShareBits);
  }
}

#if HWY_TARGET == HWY_SCALAR
inline int RoundedHighProduct(int a, int b) { return (a * b + (1 << 14)) >> 15; }

inline int Sample(const CellSource& source, ptrdiff_t x, ptrdiff_t y, int channel) {
  int sum = 0;
  for (ptrdiff_t row = 0; row < kTaps; ++row) {
    const uint8_t* const pixel = source.pixels + (y + row - 1) * source.stride + kChannels * x;
    int across = 0;
    for (ptrdiff_t tap = 0; tap < kTaps; ++tap) {
      const int code = pixel[kChannels * (tap - 1) + channel];
      across += RoundedHighProduct(code << kCodeBits, source.taps->across[tap]);
    }
    sum += RoundedHighProduct(across, source.taps->down[row]);
  }
  return sum;
}

inline float Share(const CellCorner* corners, const CellWindow& window, int k, ptrdiff_t x,
                   ptrdiff_t y) {
  const float* const down = window.weight[k / window.across];
  return window.weight[k % window.across][x] * (corners[k].trust * down[y]);
}

void BlendCellImpl(const CellCorner* corners, const CellWindow& window, int side, uint8_t* out,
                   ptrdiff_t stride) {
  const int count = window.across * window.across;
  for (ptrdiff_t y = 0; y < side; ++y) {
    for (ptrdiff_t x = 0; x < side; ++x) {
      float total = 0;
      for (int k = 0; k < count; ++k) total += Share(corners, window, k, x, y);
      const float one = kOne / total;
      for (int channel = 0; channel < kChannels; ++channel) {
        int sum = 1 << (kCodeBits - 1);
        for (int k = 0; k < count; ++k) {
          const int predicted = Sample(corners[k].sources[0], x, y, channel) +
                                Sample(corners[k].sources[1], x, y, channel);
          const auto weight = static_cast<int>(std::lrint(Share(corners, window, k, x, y) * one));
          sum += RoundedHighProduct(predicted, weight);
        }
        out[y * stride + kChannels * x + channel] =
            static_cast<uint8_t>(std::clamp(sum >> kCodeBits, 0, 255));
      }
    }
  }
}
void MixRowImpl(const uint8_t* a, const uint8_t* b, int share, size_t count, uint8_t* out) {
  MixRest(a, b, share, count, out);
}
#else
// One vector holds `kMost` 16-bit lanes or, where that is too long, what the processor has.
template <size_t kMost>
class CellBlender {
 public:
  using Lanes = hn::CappedTag<int16_t, kMost>;
  using Codes = hn::Rebind<uint8_t, Lanes>;
  using Vector = hn::Vec<Lanes>;

  HWY_INLINE static void Blend(const CellCorner* corners, const CellWindow& window, int side,
                               uint8_t* out, ptrdiff_t stride) {
    const size_t step = hn::Lanes(Lanes());
    Column column;
    for (size_t at = 0; at < static_cast<size_t>(side) * kChannels; at += step) {
      BlendColumn(corners, window, side, at, &column);
      for (ptrdiff_t y = 0; y < side; ++y) {
        const auto codes = hn::ShiftRight<kCodeBits>(hn::Load(Lanes(), column.sum[y]));
        hn::StoreU(hn::DemoteTo(Codes(), codes), Codes(),
                   out + y * stride + static_cast<ptrdiff_t>(at));
      }
    }
  }

 private:
  using Pixels = hn::Rebind<float, hn::Repartition<uint64_t, Lanes> >;
  using Vec = hn::Vec<Pixels>;

  // What a column of vectors comes to so far.
  struct Column {
    alignas(64) int16_t sum[kLargestCell][kMost];
    alignas(64) int16_t predicted[kLargestCell][kMost];
    alignas(64) float one[kLargestCell][kMost];
  };

  HWY_INLINE static void BlendColumn(const CellCorner* corners, const CellWindow& window, int side,
                                     size_t at, Column* column) {
    const Lanes d;
    const Pixels df;
    const size_t x = at / kChannels;
    const auto across = [&](int i) { return hn::LoadU(df, window.weight[i] + x); };
    for (int y = 0; y < side; ++y) {
      auto total = hn::Zero(df);
      const CellCorner* corner = corners;
      for (int j = 0; j < window.across; ++j) {
        const float down = window.weight[j][y];
        for (int i = 0; i < window.across; ++i, ++corner) {
          total = hn::MulAdd(across(i), hn::Set(df, corner->trust * down), total);
        }
      }
      hn::Store(hn::Div(hn::Set(df, kOne), total), df, column->one[y]);
      hn::Store(hn::Set(d, int16_t{1 << (kCodeBits - 1)}), d, column->sum[y]);
    }
    for (int j = 0; j < window.across; ++j) {
      for (int i = 0; i < window.across; ++i, ++corners) {
        Predict(corners->sources[0], side, at,
                [&](Vector part, int y) { hn::Store(part, d, column->predicted[y]); });
        const Vec share = hn::Mul(across(i), hn::Set(df, corners->trust));
        Predict(corners->sources[1], side, at, [&](Vector part, int y) {
          const Vec weight = hn::Mul(hn::Mul(share, hn::Set(df, window.weight[j][y])),
                                     hn::Load(df, column->one[y]));
          const Vector both = hn::Add(hn::Load(d, column->predicted[y]), part);
          const Vector counted = hn::MulFixedPoint15(both, FourTimes(weight));
          hn::Store(hn::Add(hn::Load(d, column->sum[y]), counted), d, column->sum[y]);
        });
      }
    }
  }

  // `take(part, y)` for each row of what a source adds to a prediction.
  template <class Take>
  HWY_INLINE static void Predict(const CellSource& source, int side, size_t at, const Take& take) {
    source.taps->sharp ? PredictSharp(source, side, at, take) : PredictSoft(source, side, at, take);
  }

  template <class Take>
  HWY_INLINE static void PredictSoft(const CellSource& source, int side, size_t at,
                                     const Take& take) {
    const uint8_t* row = source.pixels + at;
    Vector upper = SoftRow(row, source.taps->across);
    for (int y = 0; y < side; ++y) {
      row += source.stride;
      const Vector lower = SoftRow(row, source.taps->across);
      take(hn::Add(Part(upper, source.taps->down[1]), Part(lower, source.taps->down[2])), y);
      upper = lower;
    }
  }

  template <class Take>
  HWY_INLINE static void PredictSharp(const CellSource& source, int side, size_t at,
                                      const Take& take) {
    const uint8_t* row = source.pixels - source.stride + at;
    Vector first = SharpRow(row, source.taps->across);
    Vector second = SharpRow(row += source.stride, source.taps->across);
    Vector third = SharpRow(row += source.stride, source.taps->across);
    for (int y = 0; y < side; ++y) {
      const Vector last = SharpRow(row += source.stride, source.taps->across);
      take(hn::Add(hn::Add(Part(first, source.taps->down[0]), Part(second, source.taps->down[1])),
                   hn::Add(Part(third, source.taps->down[2]), Part(last, source.taps->down[3]))),
           y);
      first = second;
      second = third;
      third = last;
    }
  }

  HWY_INLINE static Vector SoftRow(const uint8_t* codes, const int16_t (&weights)[kTaps]) {
    return hn::Add(Tap(codes, weights[1]), Tap(codes + kChannels, weights[2]));
  }
  HWY_INLINE static Vector SharpRow(const uint8_t* codes, const int16_t (&weights)[kTaps]) {
    return hn::Add(hn::Add(Tap(codes - kChannels, weights[0]), SoftRow(codes, weights)),
                   Tap(codes + ptrdiff_t{2} * kChannels, weights[3]));
  }

  HWY_INLINE static Vector Tap(const uint8_t* codes, int16_t weight) {
    return Part(hn::ShiftLeft<kCodeBits>(hn::PromoteTo(Lanes(), hn::LoadU(Codes(), codes))),
                weight);
  }
  HWY_INLINE static Vector Part(Vector of, int16_t weight) {
    return hn::MulFixedPoint15(of, hn::Set(Lanes(), weight));
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

void BlendCellImpl(const CellCorner* corners, const CellWindow& window, int side, uint8_t* out,
                   ptrdiff_t stride) {
  if (side % 8 == 0) {
    CellBlender<32>::Blend(corners, window, side, out, stride);
  } else {
    CellBlender<16>::Blend(corners, window, side, out, stride);
  }
}

void MixRowImpl(const uint8_t* a, const uint8_t* b, int share, size_t count, uint8_t* out) {
  const hn::ScalableTag<uint16_t> d;
  const hn::Rebind<uint8_t, decltype(d)> codes;
  const auto shareA = hn::Set(d, static_cast<uint16_t>(kShares - share));
  const auto shareB = hn::Set(d, static_cast<uint16_t>(share));
  const auto half = hn::Set(d, uint16_t{kShares / 2});
  const size_t step = hn::Lanes(d);
  size_t at = 0;
  for (; at + step <= count; at += step) {
    const auto ofA = hn::Mul(hn::PromoteTo(d, hn::LoadU(codes, a + at)), shareA);
    const auto ofB = hn::Mul(hn::PromoteTo(d, hn::LoadU(codes, b + at)), shareB);
    const auto sum = hn::Add(hn::Add(ofA, ofB), half);
    hn::StoreU(hn::DemoteTo(codes, hn::BitCast(hn::RebindToSigned<decltype(d)>(),
                                               hn::ShiftRight<kShareBits>(sum))),
               codes, out + at);
  }
  MixRest(a + at, b + at, share, count - at, out + at);
}
#endif

}  // namespace kiv::tween::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv::tween {

HWY_EXPORT(BlendCellImpl);
HWY_EXPORT(MixRowImpl);

void BlendCell(const CellCorner* corners, const CellWindow& window, int side, uint8_t* out,
               ptrdiff_t stride) {
  HWY_DYNAMIC_DISPATCH(BlendCellImpl)(corners, window, side, out, stride);
}

void MixRow(const uint8_t* a, const uint8_t* b, int share, size_t count, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(MixRowImpl)(a, b, share, count, out);
}

}  // namespace kiv::tween
#endif  // HWY_ONCE
