#include "engine/media/keep/PackKernel.h"

#include <bit>
#include <cstring>

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/media/keep/PackKernel.cpp"
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Buffers end in room for a whole vector, so rows are worked through in whole vectors only.
template <typename Sample>
HWY_INLINE auto Predict(const Sample* above, size_t step) {
  const hn::CappedTag<Sample, kPackMargin / sizeof(Sample)> d;
  const auto sides = hn::AverageRound(hn::LoadU(d, above - step), hn::LoadU(d, above + step));
  return hn::AverageRound(sides, hn::LoadU(d, above));
}

// 0, -1, 1, -2 ... become 0, 1, 2, 3 ...: a small difference is a small number.
template <class D, class V>
HWY_INLINE V Fold(D d, V difference) {
  const hn::RebindToSigned<D> ds;
  const auto negative = hn::VecFromMask(ds, hn::Lt(hn::BitCast(ds, difference), hn::Zero(ds)));
  return hn::Xor(hn::Add(difference, difference), hn::BitCast(d, negative));
}

template <class D, class V>
HWY_INLINE V Unfold(D d, V folded) {
  const auto odd = hn::And(folded, hn::Set(d, hn::TFromD<D>{1}));
  return hn::Xor(hn::ShiftRight<1>(folded), hn::Sub(hn::Zero(d), odd));
}

HWY_ATTR void Fold8(const uint8_t* row, const uint8_t* above, size_t count, size_t step,
                    uint8_t* low) {
  const hn::CappedTag<uint8_t, kPackMargin> d;
  for (size_t at = 0; at < count; at += hn::Lanes(d)) {
    const auto difference = hn::Sub(hn::LoadU(d, row + at), Predict(above + at, step));
    hn::StoreU(Fold(d, difference), d, low + at);
  }
}

HWY_ATTR void Unfold8(const uint8_t* low, const uint8_t* above, size_t count, size_t step,
                      uint8_t* row) {
  const hn::CappedTag<uint8_t, kPackMargin> d;
  for (size_t at = 0; at < count; at += hn::Lanes(d)) {
    const auto folded = hn::LoadU(d, low + at);
    const auto difference = Unfold(d, folded);
    hn::StoreU(hn::Add(difference, Predict(above + at, step)), d, row + at);
  }
}

HWY_ATTR void Fold16(const uint16_t* row, const uint16_t* above, size_t count, size_t step,
                     uint8_t* low, uint8_t* high) {
  const hn::CappedTag<uint16_t, kPackMargin / 2> d;
  const hn::Rebind<uint8_t, decltype(d)> bytes;
  for (size_t at = 0; at < count; at += hn::Lanes(d)) {
    const auto difference = hn::Sub(hn::LoadU(d, row + at), Predict(above + at, step));
    const auto folded = Fold(d, difference);
    const hn::RebindToSigned<decltype(d)> ds;
    const auto lowByte = hn::And(folded, hn::Set(d, uint16_t{0xFF}));
    hn::StoreU(hn::DemoteTo(bytes, hn::BitCast(ds, lowByte)), bytes, low + at);
    hn::StoreU(hn::DemoteTo(bytes, hn::BitCast(ds, hn::ShiftRight<8>(folded))), bytes, high + at);
  }
}

HWY_ATTR void Unfold16(const uint8_t* low, const uint8_t* high, const uint16_t* above, size_t count,
                       size_t step, uint16_t* row) {
  const hn::CappedTag<uint16_t, kPackMargin / 2> d;
  const hn::Rebind<uint8_t, decltype(d)> bytes;
  for (size_t at = 0; at < count; at += hn::Lanes(d)) {
    const auto lowByte = hn::PromoteTo(d, hn::LoadU(bytes, low + at));
    const auto highByte = hn::PromoteTo(d, hn::LoadU(bytes, high + at));
    const auto folded = hn::Or(lowByte, hn::ShiftLeft<8>(highByte));
    const auto difference = Unfold(d, folded);
    hn::StoreU(hn::Add(difference, Predict(above + at, step)), d, row + at);
  }
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {
namespace {

// A block as eight vectors of 16 bytes, which every processor of interest has. Its bits are written
// in parts of four, two and one bit a sample; none of them moves a bit from one lane to another.
using Vector = uint8_t __attribute__((vector_size(16)));
constexpr size_t kVectors = kPackBlock / sizeof(Vector);
constexpr unsigned kWholeByte = 8;

inline Vector Load(const uint8_t* from) {
  Vector vector;
  std::memcpy(&vector, from, sizeof vector);
  return vector;
}

inline void Store(const Vector& vector, uint8_t* to) { std::memcpy(to, &vector, sizeof vector); }

// Writes the lowest bits of all samples, those of several vectors in one byte, and moves the others
// down.
template <unsigned kBits>
inline uint8_t* Put(Vector* v, uint8_t* out) {
  constexpr unsigned kStacked = 8 / kBits;
  constexpr uint8_t kField = (1 << kBits) - 1;
  for (size_t i = 0; i < kVectors; i += kStacked, out += sizeof(Vector)) {
    Vector stacked = v[i] & kField;
    for (unsigned j = 1; j < kStacked; ++j) stacked |= (v[i + j] & kField) << (j * kBits);
    Store(stacked, out);
  }
  for (size_t i = 0; i < kVectors; ++i) v[i] >>= kBits;
  return out;
}

// Reads them into the bits from `shift` on.
template <unsigned kBits>
inline const uint8_t* Take(const uint8_t* in, unsigned shift, Vector* v) {
  constexpr unsigned kStacked = 8 / kBits;
  constexpr uint8_t kField = (1 << kBits) - 1;
  for (size_t i = 0; i < kVectors; i += kStacked, in += sizeof(Vector)) {
    const Vector stacked = Load(in);
    for (unsigned j = 0; j < kStacked; ++j)
      v[i + j] |= ((stacked >> (j * kBits)) & kField) << shift;
  }
  return in;
}

// How many bits the largest sample of a block has.
inline unsigned WidthOf(const Vector* v) {
  const Vector all = v[0] | v[1] | v[2] | v[3] | v[4] | v[5] | v[6] | v[7];
  uint64_t words[2];
  std::memcpy(words, &all, sizeof words);
  uint64_t bits = words[0] | words[1];
  bits |= bits >> 32;
  bits |= bits >> 16;
  bits |= bits >> 8;
  return static_cast<unsigned>(std::bit_width(bits & 0xFF));
}

}  // namespace

HWY_EXPORT(Fold8);
HWY_EXPORT(Fold16);
HWY_EXPORT(Unfold8);
HWY_EXPORT(Unfold16);

void FoldRow8(const uint8_t* row, const uint8_t* above, size_t count, size_t step, uint8_t* low) {
  HWY_DYNAMIC_DISPATCH(Fold8)(row, above, count, step, low);
}

void FoldRow16(const uint16_t* row, const uint16_t* above, size_t count, size_t step, uint8_t* low,
               uint8_t* high) {
  HWY_DYNAMIC_DISPATCH(Fold16)(row, above, count, step, low, high);
}

void UnfoldRow8(const uint8_t* low, const uint8_t* above, size_t count, size_t step, uint8_t* row) {
  HWY_DYNAMIC_DISPATCH(Unfold8)(low, above, count, step, row);
}

void UnfoldRow16(const uint8_t* low, const uint8_t* high, const uint16_t* above, size_t count,
                 size_t step, uint16_t* row) {
  HWY_DYNAMIC_DISPATCH(Unfold16)(low, high, above, count, step, row);
}

size_t PackBlocks(const uint8_t* folded, size_t blocks, uint8_t* widths, uint8_t* out) {
  const uint8_t* const begin = out;
  for (size_t block = 0; block < blocks; ++block, folded += kPackBlock) {
    Vector v[kVectors];
    for (size_t i = 0; i < kVectors; ++i) v[i] = Load(folded + i * sizeof(Vector));
    const unsigned width = WidthOf(v);
    widths[block] = static_cast<uint8_t>(width);
    if (width == kWholeByte) {
      std::memcpy(out, folded, kPackBlock);
      out += kPackBlock;
      continue;
    }
    if (width & 4) out = Put<4>(v, out);
    if (width & 2) out = Put<2>(v, out);
    if (width & 1) out = Put<1>(v, out);
  }
  return static_cast<size_t>(out - begin);
}

size_t UnpackBlocks(const uint8_t* packed, const uint8_t* widths, size_t blocks, uint8_t* folded) {
  const uint8_t* in = packed;
  for (size_t block = 0; block < blocks; ++block, folded += kPackBlock) {
    const unsigned width = widths[block];
    if (width == kWholeByte) {
      std::memcpy(folded, in, kPackBlock);
      in += kPackBlock;
      continue;
    }
    Vector v[kVectors] = {};
    if (width & 4) in = Take<4>(in, 0, v);
    if (width & 2) in = Take<2>(in, width & 4, v);
    if (width & 1) in = Take<1>(in, width & 6, v);
    for (size_t i = 0; i < kVectors; ++i) Store(v[i], folded + i * sizeof(Vector));
  }
  return static_cast<size_t>(in - packed);
}

}  // namespace kiv
#endif  // HWY_ONCE
