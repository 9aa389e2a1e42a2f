// The inner loops of the motion search: small windows of brightness, compared at fractions of a
// pixel. All sums are exact, so every processor gets the same. A file that includes this is compiled
// once for every instruction set; what it calls here becomes part of its own loops.
//
// Units:    pixels of the plane at hand; brightness in sixteenths of a code; fractions of a pixel in
//           sixteenths.
// Threads:  any; nothing is kept.

// Read once for every instruction set, unlike other headers.
#if defined(KIV_TWEEN_PATCH_KERNEL_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KIV_TWEEN_PATCH_KERNEL_INL_H
#undef KIV_TWEEN_PATCH_KERNEL_INL_H
#else
#define KIV_TWEEN_PATCH_KERNEL_INL_H
#endif

#include <hwy/highway.h>

#include <algorithm>

#include "engine/tween/PatchAt.h"

HWY_BEFORE_NAMESPACE();
namespace kiv::tween::HWY_NAMESPACE {

// Eight 16-bit lanes, a window's row. Without vectors a plain array stands for them.
#if HWY_TARGET != HWY_SCALAR
namespace hn = hwy::HWY_NAMESPACE;
using Lanes = hn::FixedTag<int16_t, kPatchSide>;
using Row = hn::Vec<Lanes>;

HWY_INLINE Row LoadCodes(const uint8_t* from) {
  const hn::Rebind<uint8_t, Lanes> codes;
  return hn::PromoteTo(Lanes(), hn::LoadU(codes, from));
}
HWY_INLINE Row LoadRow(const int16_t* from) { return hn::LoadU(Lanes(), from); }
HWY_INLINE void StoreRow(Row row, int16_t* to) { hn::StoreU(row, Lanes(), to); }
HWY_INLINE Row Filled(int value) { return hn::Set(Lanes(), static_cast<int16_t>(value)); }
HWY_INLINE Row Plus(Row a, Row b) { return hn::Add(a, b); }
HWY_INLINE Row Minus(Row a, Row b) { return hn::Sub(a, b); }
HWY_INLINE Row Times(Row a, Row b) { return hn::Mul(a, b); }
HWY_INLINE Row Sixteenth(Row a) {  // of a value without sign
  const hn::FixedTag<uint16_t, kPatchSide> d;
  return hn::BitCast(Lanes(), hn::ShiftRight<4>(hn::BitCast(d, a)));
}
HWY_INLINE Row Sixteenfold(Row a) { return hn::ShiftLeft<4>(a); }

class Sum {
 public:
  // One that is left to the compiler does not count as part of the target.
  HWY_INLINE Sum() : low_(hn::Zero(Wide())), high_(hn::Zero(Wide())) {}
  HWY_INLINE void Add(Row a, Row b) {
    low_ = hn::ReorderWidenMulAccumulate(Wide(), a, b, low_, high_);
  }
  HWY_INLINE int32_t Total() const {
    return hn::GetLane(hn::SumOfLanes(Wide(), hn::Add(low_, high_)));
  }

 private:
  using Wide = hn::FixedTag<int32_t, kPatchSide / 2>;
  hn::Vec<Wide> low_, high_;
};
#else
struct Row {
  int16_t v[kPatchSide];
};

template <class Function>
Row Each(Function value) {
  Row row;
  for (int i = 0; i < kPatchSide; ++i) row.v[i] = static_cast<int16_t>(value(i));
  return row;
}
inline Row LoadCodes(const uint8_t* from) {
  return Each([&](int i) { return from[i]; });
}
inline Row LoadRow(const int16_t* from) {
  return Each([&](int i) { return from[i]; });
}
inline void StoreRow(const Row& row, int16_t* to) { std::copy_n(row.v, kPatchSide, to); }
inline Row Filled(int value) {
  return Each([&](int) { return value; });
}
inline Row Plus(const Row& a, const Row& b) {
  return Each([&](int i) { return a.v[i] + b.v[i]; });
}
inline Row Minus(const Row& a, const Row& b) {
  return Each([&](int i) { return a.v[i] - b.v[i]; });
}
inline Row Times(const Row& a, const Row& b) {
  return Each([&](int i) { return a.v[i] * b.v[i]; });
}
inline Row Sixteenth(const Row& a) {
  return Each([&](int i) { return static_cast<uint16_t>(a.v[i]) >> 4; });
}
inline Row Sixteenfold(const Row& a) {
  return Each([&](int i) { return a.v[i] * 16; });
}

class Sum {
 public:
  void Add(const Row& a, const Row& b) {
    for (int i = 0; i < kPatchSide; ++i) total_ += a.v[i] * b.v[i];
  }
  int32_t Total() const { return total_; }

 private:
  int32_t total_ = 0;
};
#endif

// Rows of a window between pixels, one after the other. Each row of the plane is mixed across once
// and serves two rows of the window; the low 16 bits hold every sum, so nothing is rounded on the way.
class Sampler {
 public:
  HWY_INLINE explicit Sampler(const PatchPlace& place)
      : next_(place.corner),
        stride_(place.stride),
        fractionX_(Filled(place.fractionX)),
        fractionY_(Filled(place.fractionY)),
        upper_(Across()) {}

  HWY_INLINE Row Next() {
    next_ += stride_;
    const Row lower = Across();
    const Row sum = Plus(Sixteenfold(upper_), Times(Minus(lower, upper_), fractionY_));
    upper_ = lower;
    return Sixteenth(sum);
  }

 private:
  HWY_INLINE Row Across() const {
    const Row left = LoadCodes(next_), right = LoadCodes(next_ + 1);
    return Plus(Sixteenfold(left), Times(Minus(right, left), fractionX_));
  }

  const uint8_t* next_;
  const ptrdiff_t stride_;
  const Row fractionX_, fractionY_;
  Row upper_;
};

// One pixel around the window is read.
HWY_INLINE void MakeSearchPatch(const uint8_t* corner, ptrdiff_t stride, SearchPatch* made) {
  Sum sumX, sumY, xx, xy, yy;
  const Row one = Filled(1);
  for (ptrdiff_t y = 0; y < kPatchSide; ++y) {
    const uint8_t* const row = corner + y * stride;
    const Row x = Minus(LoadCodes(row + 1), LoadCodes(row - 1));
    const Row down = Minus(LoadCodes(row + stride), LoadCodes(row - stride));
    StoreRow(Sixteenfold(LoadCodes(row)), made->value + y * kPatchSide);
    StoreRow(x, made->slopeX + y * kPatchSide);
    StoreRow(down, made->slopeY + y * kPatchSide);
    sumX.Add(x, one);
    sumY.Add(down, one);
    xx.Add(x, x);
    xy.Add(x, down);
    yy.Add(down, down);
  }
  made->sumX = sumX.Total();
  made->sumY = sumY.Total();
  made->xx = xx.Total();
  made->xy = xy.Total();
  made->yy = yy.Total();
}

// One more column and row are read.
HWY_INLINE PatchSums Compare(const SearchPatch& wanted, const PatchPlace& place) {
  Sampler sampler(place);
  Sum d, dd, dx, dy;
  Row column = Filled(0);  // eight differences of at most 4080 fit into 16 bits
  for (ptrdiff_t y = 0; y < kPatchSide; ++y) {
    const Row difference = Minus(sampler.Next(), LoadRow(wanted.value + y * kPatchSide));
    column = Plus(column, difference);
    dd.Add(difference, difference);
    dx.Add(difference, LoadRow(wanted.slopeX + y * kPatchSide));
    dy.Add(difference, LoadRow(wanted.slopeY + y * kPatchSide));
  }
  d.Add(column, Filled(1));
  return {d.Total(), dd.Total(), dx.Total(), dy.Total()};
}

// The sum of the squared differences; as above.
HWY_INLINE int32_t ComparePair(const PatchPlace& first, const PatchPlace& second) {
  Sampler a(first), b(second);
  Sum dd;
  for (int y = 0; y < kPatchSide; ++y) {
    const Row difference = Minus(a.Next(), b.Next());
    dd.Add(difference, difference);
  }
  return dd.Total();
}

}  // namespace kiv::tween::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
