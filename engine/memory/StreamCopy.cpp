#include "engine/memory/StreamCopy.h"

#include <cstring>

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/memory/StreamCopy.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>  // NOLINT
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kiv::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// `to` is aligned to a vector. Four vectors at once fill whole cache lines.
HWY_ATTR void StreamVectors(uint8_t* to, const uint8_t* from, size_t bytes) {
  const hn::ScalableTag<uint8_t> d;
  const size_t lanes = hn::Lanes(d);
  size_t at = 0;
  for (; at + 4 * lanes <= bytes; at += 4 * lanes) {
    const auto a = hn::LoadU(d, from + at);
    const auto b = hn::LoadU(d, from + at + lanes);
    const auto c = hn::LoadU(d, from + at + 2 * lanes);
    const auto e = hn::LoadU(d, from + at + 3 * lanes);
    hn::Stream(a, d, to + at);
    hn::Stream(b, d, to + at + lanes);
    hn::Stream(c, d, to + at + 2 * lanes);
    hn::Stream(e, d, to + at + 3 * lanes);
  }
  hwy::FlushStream();
  std::memcpy(to + at, from + at, bytes - at);
}

}  // namespace kiv::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv {
namespace {

constexpr size_t kStreamFrom = size_t{1} << 20;
constexpr uintptr_t kAlignment = 64;

}  // namespace

HWY_EXPORT(StreamVectors);

void StreamCopy(uint8_t* to, const uint8_t* from, size_t bytes) {
  const bool streams = bytes >= kStreamFrom && reinterpret_cast<uintptr_t>(to) % kAlignment == 0;
  if (!streams) {
    std::memcpy(to, from, bytes);
    return;
  }
  HWY_DYNAMIC_DISPATCH(StreamVectors)(to, from, bytes);
}

}  // namespace kiv
#endif  // HWY_ONCE
