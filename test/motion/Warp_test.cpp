#include "engine/motion/Warp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

namespace {

using kiv::WarpMap;
using kiv::WarpPicture;
using Pixels = std::vector<uint8_t>;

Pixels Flat(const KivSize& size, std::initializer_list<uint8_t> bgra) {
  Pixels out;
  for (int i = 0; i < size.width * size.height; ++i) out.insert(out.end(), bgra);
  return out;
}

Pixels Warped(const Pixels& source, const KivSize& size, const WarpMap& map) {
  // A guard after the last pixel shows writes that go too far.
  Pixels out(source.size() + 64, 0xA5);
  WarpPicture(source.data(), size, map, out.data());
  EXPECT_TRUE(std::all_of(out.end() - 64, out.end(), [](uint8_t b) { return b == 0xA5; }));
  out.resize(source.size());
  return out;
}

// About the middle of the picture, as corrections are.
WarpMap Turned(const KivSize& size, double degrees, double zoom, double dx, double dy) {
  const double a = degrees * std::numbers::pi / 180, c = std::cos(a) / zoom, s = std::sin(a) / zoom;
  const double x = (size.width - 1) / 2.0, y = (size.height - 1) / 2.0;
  return {c, s, x + dx - c * x - s * y, -s, c, y + dy + s * x - c * y};
}

TEST(Warp, WholeShiftsCopyPixels) {
  constexpr KivSize kSize{61, 20};
  Pixels source = Flat(kSize, {0, 0, 0, 255});
  for (size_t i = 0; i < source.size(); ++i) {
    if (i % 4 != 3) source[i] = static_cast<uint8_t>(i * 37 + i / 7);
  }
  for (const auto& [dx, dy] : {std::pair{0, 0}, {3, 0}, {0, -2}, {-3, 1}}) {
    const Pixels out = Warped(source, kSize, {1, 0, double(dx), 0, 1, double(dy)});
    for (int y = 0; y < kSize.height; ++y) {
      for (int x = 0; x < kSize.width; ++x) {
        // What lies outside repeats the edge, also where that is a pixel away.
        const int fromX = std::clamp(x + dx, 0, 60), fromY = std::clamp(y + dy, 0, 19);
        const auto* const expected = &source[4UL * static_cast<size_t>(fromY * 61 + fromX)];
        const auto* const found = &out[4UL * static_cast<size_t>(y * 61 + x)];
        if (x + dx >= -1 && x + dx <= 61) {
          ASSERT_TRUE(std::equal(expected, expected + 4, found)) << x << " " << y << " " << dx;
        }
      }
    }
  }
}

// Ramps and parabolas are what a cubic gets right: they show where each pixel was taken from.
TEST(Warp, PixelsComeFromWhereTheMapSays) {
  constexpr KivSize kSize{240, 160};
  Pixels source;
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      source.insert(source.end(), {static_cast<uint8_t>(x), static_cast<uint8_t>(y),
                                   static_cast<uint8_t>(x * x / 256), 255});
    }
  }
  const WarpMap kMaps[] = {{1, 0, 0.5, 0, 1, 0.25},
                           Turned(kSize, 0.3, 1.05, 1.7, -2.2),
                           Turned(kSize, -2.5, 1.1, 0, 0.6),
                           Turned(kSize, 3.3, 1.2, 0.4, 0),
                           Turned(kSize, 20, 1.9, -3, 2)};
  for (const WarpMap& map : kMaps) {
    const Pixels out = Warped(source, kSize, map);
    double worst = 0;
    for (int y = 2; y < kSize.height - 2; ++y) {
      for (int x = 2; x < kSize.width - 2; ++x) {
        const double fromX = map.xx * x + map.xy * y + map.x0;
        const double fromY = map.yx * x + map.yy * y + map.y0;
        const auto* const found = &out[4UL * static_cast<size_t>(y * kSize.width + x)];
        worst = std::max({worst, std::abs(found[0] - fromX), std::abs(found[1] - fromY),
                          std::abs(found[2] - fromX * fromX / 256 + 0.5) - 0.5});
        ASSERT_EQ(255, found[3]);
      }
    }
    EXPECT_LT(worst, 0.56) << map.xy;
  }
}

TEST(Warp, FlatPicturesStayFlatAtAnySizeAndAngle) {
  for (const KivSize size : {KivSize{1, 1}, {2, 3}, {3, 40}, {7, 5}, {33, 17}, {130, 70}}) {
    for (const double degrees : {0.0, 0.7, 3.0, 4.0, 25.0}) {
      for (const int code : {0, 1, 127, 128, 254, 255}) {
        const auto c = static_cast<uint8_t>(code);
        const Pixels source = Flat(size, {c, static_cast<uint8_t>(255 - code), c, 255});
        EXPECT_EQ(source, Warped(source, size, Turned(size, degrees, 1.5, 0.3, 0.4)))
            << size.width << " " << degrees << " " << code;
      }
    }
  }
}

TEST(Warp, WhatLiesUnderTransparentPixelsDoesNotShow) {
  constexpr KivSize kSize{40, 12};
  Pixels source = Flat(kSize, {10, 200, 30, 255});
  for (size_t i = 0; i < source.size(); i += 4) {
    if (i / 4 % 40 >= 20) std::fill_n(&source[i], 4, i / 4 % 2 ? 255 : 0), source[i + 3] = 0;
  }
  const Pixels out = Warped(source, kSize, {1, 0, 0.5, 0, 1, 0.5});
  int between = 0;
  for (size_t i = 0; i < out.size(); i += 4) {
    between += out[i + 3] > 0 && out[i + 3] < 255;
    if (out[i + 3] > 20) {
      EXPECT_NEAR(10, out[i], 1);
      EXPECT_NEAR(200, out[i + 1], 1);
    }
  }
  EXPECT_LT(0, between);
}

}  // namespace
