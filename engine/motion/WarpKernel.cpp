#include "engine/motion/WarpKernel.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kiv/values/Saturate.h"

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/motion/WarpKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr int kTaps = 4;
constexpr int kChannels = 4;
constexpr int kCodeBits = 6;         // fraction of an intermediate value
constexpr int kHeightOne = 1 << 14;  // 1.0 of a height's fraction and of its weights

// A coordinate in 2^-32. No picture reaches so far that clamping shows.
inline int64_t Fixed(double at) { return std::llround(std::clamp(at, -1e9, 1e9) * 4294967296.0); }
inline int WholeOf(int64_t fixed) { return static_cast<int>(fixed >> 32); }

// (a x b + 2^14) / 2^15, the scalar twin of MulFixedPoint15.
inline int RoundedHighProduct(int a, int b) { return (a * b + (1 << 14)) >> 15; }

// The four rows around a height.
struct RowWindow {
  RowWindow(const WarpSource& source, int row) : base(row) {
    for (int k = 0; k < kTaps; ++k) {
      const int64_t at = std::clamp<int64_t>(int64_t{row} + k - 1, 0, source.height - 1);
      rows[k] = source.pixels + source.stride * at;
    }
  }
  int base;
  const uint8_t* rows[kTaps];
};

inline int FloorOf(double y) { return SaturateToInt32(std::floor(y)); }

// The weights in parts of kHeightOne, their sum exactly one.
inline std::array<int, kTaps> HeightWeights(double fraction) {
  const CubicWeights cubic = CubicAt(fraction);
  std::array<int, kTaps> w{};
  for (const size_t k : {0U, 2U, 3U}) w[k] = static_cast<int>(std::lround(cubic.w[k] * kHeightOne));
  w[1] = kHeightOne - w[0] - w[2] - w[3];
  return w;
}

bool SampleColumn(const WarpSource& source, const WarpLine& line, ptrdiff_t column, int16_t* out) {
  const double y = line.y + line.slope * static_cast<double>(column);
  const RowWindow window(source, FloorOf(y));
  const std::array<int, kTaps> w = HeightWeights(y - window.base);
  int alpha = 255;
  for (int c = 0; c < kChannels; ++c) {
    int sum = 0;
    for (size_t k = 0; k < kTaps; ++k) {
      const int code = window.rows[k][kChannels * column + c];
      sum += RoundedHighProduct(code << 7, w[k]);
      if (c == 3) alpha &= code;
    }
    out[c] = static_cast<int16_t>(sum);
  }
  return alpha == 255;
}

#if HWY_TARGET != HWY_SCALAR
using Lanes = hn::CappedTag<int16_t, 32>;
using Codes = hn::Rebind<uint8_t, Lanes>;
using Vector = hn::Vec<Lanes>;

// As CubicAt gives it, for codes of the four rows from `a` on and heights `u`, in parts of 2^15 from
// half way between the middle two. In powers of u all coefficients fit in 16 bits as they are.
HWY_INLINE Vector CubicBetween(Vector a, Vector b, Vector c, Vector d, Vector u) {
  const Lanes tag;
  const Vector inner = hn::Add(b, c), outer = hn::Add(a, d);
  const Vector innerStep = hn::Sub(c, b), outerStep = hn::Sub(d, a);
  const Vector thrice = hn::Add(innerStep, hn::Add(innerStep, innerStep));
  const Vector third = hn::ShiftLeft<5>(hn::Sub(outerStep, thrice));
  const Vector second = hn::ShiftLeft<4>(hn::Sub(outer, inner));
  const Vector elevenfold = hn::Mul(innerStep, hn::Set(tag, int16_t{11}));
  const Vector first = hn::ShiftLeft<3>(hn::Sub(elevenfold, outerStep));
  const Vector middle = hn::ShiftLeft<2>(hn::Add(hn::ShiftLeft<3>(inner), hn::Sub(inner, outer)));
  const Vector byU = hn::Add(second, hn::MulFixedPoint15(third, u));
  const Vector byU1 = hn::Add(first, hn::MulFixedPoint15(byU, u));
  return hn::Add(middle, hn::MulFixedPoint15(byU1, u));
}

// How far each lane's pixel is down the line from the middle of its vector, in parts of 2^15.
HWY_INLINE Vector LaneHeights(double slope) {
  const Lanes d;
  HWY_ALIGN int16_t heights[HWY_MAX_BYTES / sizeof(int16_t)];
  const auto pixels = static_cast<int>(hn::Lanes(d)) / kChannels;
  const auto halfStep = static_cast<int>(Fixed(slope) >> 18);
  for (int i = 0; i < pixels * kChannels; ++i) {
    heights[i] = static_cast<int16_t>((2 * (i / kChannels) - (pixels - 1)) * halfStep);
  }
  return hn::Load(d, heights);
}

template <class CodeVector>
HWY_INLINE bool AllOpaque(CodeVector seen) {
  HWY_ALIGN uint8_t codes[HWY_MAX_BYTES];
  const Codes d8;
  hn::Store(seen, d8, codes);
  for (size_t i = 3; i < hn::Lanes(d8); i += kChannels) {
    if (codes[i] != 255) return false;
  }
  return true;
}

bool SampleVectors(const WarpSource& source, const WarpLine& line, ptrdiff_t first, size_t count,
                   int16_t* out) {
  const Lanes d;
  const Codes d8;
  const size_t pixels = hn::Lanes(d) / kChannels;
  const Vector laneHeights = LaneHeights(line.slope);
  const int64_t slope = Fixed(line.slope);
  const int64_t middle = Fixed(line.y + line.slope * static_cast<double>(pixels - 1) / 2);
  RowWindow window(source, WholeOf(middle));
  auto seen = hn::Set(d8, uint8_t{255});
  for (size_t done = 0; done < count; done += pixels) {
    // The last vector overlaps the one before it.
    const size_t at = std::min(done, count - pixels);
    const auto column = first + static_cast<ptrdiff_t>(at);
    const int64_t y = middle + slope * column;
    if (const int row = WholeOf(y); row != window.base) window = RowWindow(source, row);
    const auto fromHalf = static_cast<int16_t>((y >> 17 & 0x7FFF) - 0x4000);
    const Vector u = hn::Add(laneHeights, hn::Set(d, fromHalf));
    const auto a = hn::LoadU(d8, window.rows[0] + kChannels * column);
    const auto b = hn::LoadU(d8, window.rows[1] + kChannels * column);
    const auto c = hn::LoadU(d8, window.rows[2] + kChannels * column);
    const auto e = hn::LoadU(d8, window.rows[3] + kChannels * column);
    seen = hn::And(seen, hn::And(hn::And(a, b), hn::And(c, e)));
    hn::StoreU(CubicBetween(hn::PromoteTo(d, a), hn::PromoteTo(d, b), hn::PromoteTo(d, c),
                            hn::PromoteTo(d, e), u),
               d, out + kChannels * at);
  }
  return AllOpaque(seen);
}

bool SampleColumnsImpl(const WarpSource& source, const WarpLine& line, ptrdiff_t first,
                       size_t count, int16_t* out) {
  if (std::abs(line.slope) <= kSteepestLine && count >= hn::Lanes(Lanes()) / kChannels) {
    return SampleVectors(source, line, first, count, out);
  }
#else
bool SampleColumnsImpl(const WarpSource& source, const WarpLine& line, ptrdiff_t first,
                       size_t count, int16_t* out) {
#endif
  bool opaque = true;
  for (size_t i = 0; i < count; ++i) {
    opaque &= SampleColumn(source, line, first + static_cast<ptrdiff_t>(i), out + kChannels * i);
  }
  return opaque;
}

constexpr int kPhaseBits = 8;
constexpr int kPhases = 1 << kPhaseBits;

// The four weights of each phase, each four times over, in parts of 2^15.
struct PhaseTable {
  PhaseTable() {
    for (int p = 0; p < kPhases; ++p) {
      const CubicWeights cubic = CubicAt(static_cast<double>(p) / kPhases);
      std::array<int, kTaps> w{};
      for (size_t k = 0; k < kTaps; ++k) w[k] = static_cast<int>(std::lround(cubic.w[k] * 32768));
      // A flat stretch stays flat. One itself cannot be held; 32767 rounds to the same codes.
      const size_t largest = w[1] >= w[2] ? 1 : 2;
      w[largest] += 32768 - (w[0] + w[1] + w[2] + w[3]);
      for (size_t k = 0; k < kTaps; ++k) {
        for (size_t c = 0; c < kChannels; ++c) {
          weights[p][kChannels * k + c] = static_cast<int16_t>(std::min(w[k], 32767));
        }
      }
    }
  }
  alignas(64) int16_t weights[kPhases][kTaps * kChannels];
};

// A column, half a phase added so that cutting off rounds.
struct LinePosition {
  LinePosition(double x, double stepWidth)
      : at(Fixed(x) + (int64_t{1} << (31 - kPhaseBits))), step(Fixed(stepWidth)) {}

  ptrdiff_t Column() const { return WholeOf(at); }
  size_t Phase() const { return static_cast<size_t>(at >> (32 - kPhaseBits)) & (kPhases - 1); }
  void Advance() { at += step; }

  int64_t at, step;
};

void SamplePixel(const int16_t* columns, const int16_t* weights, uint8_t* out) {
  for (int c = 0; c < kChannels; ++c) {
    int sum = 1 << (kCodeBits - 1);
    for (int k = 0; k < kTaps; ++k) {
      sum += RoundedHighProduct(columns[kChannels * k + c], weights[kChannels * k + c]);
    }
    out[c] = static_cast<uint8_t>(std::clamp(sum >> kCodeBits, 0, 255));
  }
}

#if HWY_TARGET != HWY_SCALAR
using Pair = hn::FixedTag<int16_t, 8>;  // two pixels

// The next pixel: the first and the third neighbour's share in the lower half, the others' in the
// upper.
HWY_INLINE hn::Vec<Pair> Shares(const int16_t* columns, const PhaseTable& table,
                                LinePosition* position) {
  const int16_t* const from = columns + kChannels * (position->Column() - 1);
  const int16_t* const weights = table.weights[position->Phase()];
  position->Advance();
#if HWY_TARGET <= HWY_AVX2
  const hn::FixedTag<int16_t, 16> d;
  const auto all = hn::MulFixedPoint15(hn::LoadU(d, from), hn::Load(d, weights));
  return hn::Add(hn::LowerHalf(all), hn::UpperHalf(Pair(), all));
#else
  const Pair d;
  return hn::Add(hn::MulFixedPoint15(hn::LoadU(d, from), hn::Load(d, weights)),
                 hn::MulFixedPoint15(hn::LoadU(d, from + 8), hn::Load(d, weights + 8)));
#endif
}

HWY_INLINE void SamplePair(const int16_t* columns, const PhaseTable& table, LinePosition* position,
                           uint8_t* out) {
  const Pair d;
  const hn::FixedTag<uint8_t, 8> d8;
  const auto a = Shares(columns, table, position);
  const auto b = Shares(columns, table, position);
  const auto sum = hn::Add(hn::ConcatLowerLower(d, b, a), hn::ConcatUpperUpper(d, b, a));
  const auto half = hn::Set(d, int16_t{1 << (kCodeBits - 1)});
  const auto codes = hn::ShiftRight<kCodeBits>(hn::Add(sum, half));
  hn::StoreU(hn::DemoteTo(d8, codes), d8, out);
}
#endif

void SampleLineImpl(const int16_t* columns, double x, double step, size_t count, uint8_t* out) {
  static const PhaseTable kTable;
  LinePosition position(x, step);
  size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
  for (; i + 4 <= count; i += 4) {
    SamplePair(columns, kTable, &position, out + kChannels * i);
    SamplePair(columns, kTable, &position, out + kChannels * (i + 2));
  }
#endif
  for (; i < count; ++i, position.Advance()) {
    SamplePixel(columns + kChannels * (position.Column() - 1), kTable.weights[position.Phase()],
                out + kChannels * i);
  }
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {

HWY_EXPORT(SampleColumnsImpl);
HWY_EXPORT(SampleLineImpl);

bool SampleColumns(const WarpSource& source, const WarpLine& line, ptrdiff_t first, size_t count,
                   int16_t* out) {
  return HWY_DYNAMIC_DISPATCH(SampleColumnsImpl)(source, line, first, count, out);
}

void SampleLine(const int16_t* columns, double x, double step, size_t count, uint8_t* out) {
  HWY_DYNAMIC_DISPATCH(SampleLineImpl)(columns, x, step, count, out);
}

CubicWeights CubicAt(double t) {
  const double t2 = t * t, t3 = t2 * t;
  return {{-0.5 * t + t2 - 0.5 * t3, 1 - 2.5 * t2 + 1.5 * t3, 0.5 * t + 2 * t2 - 1.5 * t3,
           0.5 * t3 - 0.5 * t2}};
}

}  // namespace kiv
#endif  // HWY_ONCE
