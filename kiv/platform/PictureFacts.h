// What holds for every picture: its pixels and its limits.
#pragma once

#include <cstdint>

namespace kiv {

// BGRA, 8 bits each.
constexpr int32_t kBytesPerPixel = 4;

constexpr int32_t kMaxPictureSide = 1 << 15;
// 1 GiB. No larger picture is decoded, and no encoder takes one.
constexpr int64_t kMaxPicturePixels = int64_t{256} << 20;

constexpr bool IsPictureSize(int32_t width, int32_t height) {
  return width >= 1 && height >= 1 && width <= kMaxPictureSide && height <= kMaxPictureSide &&
         int64_t{width} * height <= kMaxPicturePixels;
}

}  // namespace kiv
