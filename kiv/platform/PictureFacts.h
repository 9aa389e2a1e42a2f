// What holds for every picture: its pixels and its limits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/values/ValueTypes.h"

namespace kiv {

// BGRA, 8 bits each.
constexpr int32_t kBytesPerPixel = 4;

// Of straight rows. A side below 1 gives 0.
constexpr size_t RowBytesOf(int32_t width) {
  return width > 0 ? static_cast<size_t>(width) * kBytesPerPixel : 0;
}
constexpr size_t PictureBytesOf(const KivSize& size) {
  return size.height > 0 ? RowBytesOf(size.width) * static_cast<size_t>(size.height) : 0;
}

constexpr int32_t kMaxPictureSide = 1 << 15;
// 1 GiB. No larger picture is decoded, and no encoder takes one.
constexpr int64_t kMaxPicturePixels = int64_t{256} << 20;

constexpr bool IsPictureSize(int32_t width, int32_t height) {
  return width >= 1 && height >= 1 && width <= kMaxPictureSide && height <= kMaxPictureSide &&
         int64_t{width} * height <= kMaxPicturePixels;
}

}  // namespace kiv
