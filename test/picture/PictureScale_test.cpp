#include "engine/picture/PictureScale.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

using Pixels = std::vector<uint32_t>;

Pixels Greys(const Pixels& values) {
  Pixels pixels;
  for (const uint32_t value : values) pixels.push_back(0xFF000000 | value * 0x010101);
  return pixels;
}

HRESULT ScaleTo(const Pixels& source, int32_t width, int32_t height, Pixels& target,
                int32_t targetWidth, int32_t targetHeight, ScaleFilter filter) {
  return ScalePicture({reinterpret_cast<const uint8_t*>(source.data()), width, height,
                       static_cast<size_t>(width) * 4},
                      {reinterpret_cast<uint8_t*>(target.data()), targetWidth, targetHeight,
                       static_cast<size_t>(targetWidth) * 4},
                      filter);
}

struct ScaleCase {
  ScaleFilter filter;
  Pixels source, expected;  // one row
};

// A row and the same pixels as a column: both directions have to agree.
TEST(ScalePicture, GivesTheSameAcrossAndDown) {
  const ScaleCase kCases[] = {
      {ScaleFilter::kArea, Greys({0, 100, 200, 250}), Greys({50, 225})},
      // 3 to 2: a pixel covers one whole and one half.
      {ScaleFilter::kArea, Greys({0, 90, 240}), Greys({30, 190})},
      {ScaleFilter::kArea, Greys({0, 200}), Greys({0, 50, 150, 200})},
      {ScaleFilter::kLinear, Greys({10, 20, 30, 40, 50, 60}), Greys({20, 50})},
      {ScaleFilter::kNearest, Greys({1, 2}), Greys({1, 1, 2, 2})},
      {ScaleFilter::kNearest, Greys({1, 2, 3, 4}), Greys({2, 4})},
      // Coverage weighs colour: what is transparent does not bleed, what is faint stays exact.
      {ScaleFilter::kArea, {0x00FFFFFF, 0xFF102030}, {0x80102030}},
      {ScaleFilter::kArea, {0xC0000000, 0x400000C8}, {0x80000032}},
      {ScaleFilter::kArea, {0x03C86432, 0x03C86432}, {0x03C86432}},
      {ScaleFilter::kArea, {0x00123456, 0x01FFEEDD}, {0x00123456, 0x01FFEEDD}}};
  for (const ScaleCase& test : kCases) {
    const auto from = static_cast<int32_t>(test.source.size());
    const auto to = static_cast<int32_t>(test.expected.size());
    Pixels across(test.expected.size()), down(test.expected.size());
    ASSERT_EQ(S_OK, ScaleTo(test.source, from, 1, across, to, 1, test.filter));
    ASSERT_EQ(S_OK, ScaleTo(test.source, 1, from, down, 1, to, test.filter));
    EXPECT_EQ(test.expected, across);
    EXPECT_EQ(test.expected, down);
  }
}

TEST(ScalePicture, AFlatPictureStaysFlatAtEveryRatio) {
  const Pixels source(37 * 23, 0xFF4B96C8);
  for (const auto& [width, height] : {std::pair{1, 1}, {5, 31}, {36, 22}, {100, 7}, {37, 60}}) {
    Pixels target(static_cast<size_t>(width * height));
    ASSERT_EQ(S_OK, ScaleTo(source, 37, 23, target, width, height, ScaleFilter::kArea));
    EXPECT_EQ(Pixels(target.size(), 0xFF4B96C8), target) << width << " x " << height;
  }
}

Pixels Transposed(const Pixels& picture, int32_t width) {
  Pixels turned;
  const size_t step = static_cast<size_t>(width);
  for (size_t x = 0; x < step; ++x) {
    for (size_t at = x; at < picture.size(); at += step) turned.push_back(picture[at]);
  }
  return turned;
}

// Colours matter as far as they cover.
int Difference(uint32_t a, uint32_t b) {
  const int coverage = static_cast<int>(a >> 24);
  int most = std::abs(coverage - static_cast<int>(b >> 24));
  for (const int shift : {0, 8, 16}) {
    const int step = static_cast<int>(a >> shift & 255) - static_cast<int>(b >> shift & 255);
    most = std::max(most, std::abs(step) * coverage / 255);
  }
  return most;
}

int MostDifferent(const Pixels& a, const Pixels& b) {
  int most = 0;
  for (size_t i = 0; i < a.size(); ++i) most = std::max(most, Difference(a[i], b[i]));
  return most;
}

// Across and down are different loops, whole vectors and the rest of a row too: all have to agree on
// noise of every coverage.
TEST(ScalePicture, APictureOnItsSideGivesTheSame) {
  constexpr int32_t kWidth = 101, kHeight = 83;
  std::mt19937 random(7);
  Pixels source(kWidth * kHeight);
  for (uint32_t& pixel : source) {
    const auto bits = static_cast<uint32_t>(random());
    pixel = bits % 3 == 0 ? bits | 0xFF000000 : bits;
  }
  const Pixels turned = Transposed(source, kWidth);
  for (const auto filter : {ScaleFilter::kNearest, ScaleFilter::kLinear, ScaleFilter::kArea,
                            ScaleFilter::kCubic, ScaleFilter::kSmooth}) {
    for (const auto& [width, height] : {std::pair{230, 97}, {61, 40}, {3, 1}}) {
      Pixels target(static_cast<size_t>(width * height)), other(target);
      ASSERT_EQ(S_OK, ScaleTo(source, kWidth, kHeight, target, width, height, filter));
      ASSERT_EQ(S_OK, ScaleTo(turned, kHeight, kWidth, other, height, width, filter));
      EXPECT_GE(1, MostDifferent(target, Transposed(other, height)))
          << static_cast<int>(filter) << " to " << width;
    }
  }
}

struct RegionCase {
  ScaleFilter filter;
  double begin, length;
  Pixels source, expected;  // one row
};

TEST(ScaleRegion, BeginsAndEndsBetweenPixels) {
  const Pixels kRamp = Greys({10, 20, 30, 40, 50, 60});
  const RegionCase kCases[] = {
      {ScaleFilter::kCubic, 2, 3, kRamp, Greys({30, 40, 50})},
      {ScaleFilter::kCubic, 1, 2, {9, 0x01FFEEDD, 0x00123456, 9}, {0x01FFEEDD, 0x00123456}},
      {ScaleFilter::kCubic, 1.3, 3, kRamp, Greys({23, 33, 43})},
      {ScaleFilter::kCubic, 2, 1, kRamp, Greys({28, 33})},  // 27.5 and 32.5
      // Two to one: (29 - 9 - 3) / 256 of the step comes from beyond it.
      {ScaleFilter::kCubic, 0, 4, Greys({0, 0, 160, 160}), Greys({11, 149})},
      // The curve swings below and above; what is under 0 or over 255 is cut.
      {ScaleFilter::kCubic, 1.5, 2, Greys({0, 0, 0, 255, 255}), Greys({0, 128})},
      {ScaleFilter::kCubic, 0, 1, Greys({100, 100, 180}), Greys({100, 100, 99, 96})},
      // 1/12 of each neighbour, also on whole pixels.
      {ScaleFilter::kSmooth, 0, 4, Greys({0, 0, 240, 240}), Greys({0, 20, 220, 240})},
      {ScaleFilter::kSmooth, 2.3, 1, kRamp, Greys({33})},
      {ScaleFilter::kLinear, 1.5, 2, kRamp, Greys({25, 35})},
      {ScaleFilter::kArea, 0.5, 3, kRamp, Greys({25})},  // 5, 20, 30 and 20
      {ScaleFilter::kNearest, 3.5, 2, kRamp, Greys({50, 60})}};
  for (const RegionCase& test : kCases) {
    const auto from = static_cast<int32_t>(test.source.size());
    const auto to = static_cast<int32_t>(test.expected.size());
    Pixels across(test.expected.size()), down(test.expected.size());
    const auto* const source = reinterpret_cast<const uint8_t*>(test.source.data());
    ASSERT_EQ(S_OK, ScaleRegion(
                        {source, from, 1, test.source.size() * 4}, {test.begin, 0, test.length, 1},
                        {reinterpret_cast<uint8_t*>(across.data()), to, 1, across.size() * 4},
                        test.filter));
    ASSERT_EQ(S_OK, ScaleRegion({source, 1, from, 4}, {0, test.begin, 1, test.length},
                                {reinterpret_cast<uint8_t*>(down.data()), 1, to, 4}, test.filter));
    EXPECT_EQ(test.expected, across) << test.begin;
    EXPECT_EQ(test.expected, down) << test.begin;
  }
}

TEST(ScaleRegion, RefusesWhatLiesOutside) {
  Pixels source(16), target(4, 7);
  const SourcePicture from{reinterpret_cast<const uint8_t*>(source.data()), 4, 4, 16};
  const TargetPicture to{reinterpret_cast<uint8_t*>(target.data()), 2, 2, 8};
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  for (const KivRectF& region : {KivRectF{-0.1, 0, 1, 1},
                                 {0, 0, 4.1, 1},
                                 {0, 3, 1, 1.5},
                                 {0, 0, 0, 1},
                                 {0, 0, 1, -1},
                                 {kNone, 0, 1, 1},
                                 {0, 0, 1, kNone},
                                 {0, 0, 1e300, 1}}) {
    EXPECT_EQ(E_INVALIDARG, ScaleRegion(from, region, to, ScaleFilter::kCubic));
  }
  EXPECT_EQ(Pixels(4, 7), target);
}

TEST(ResizeImage, FillsTheWholeTarget) {
  const auto source = KivCommon::ImageFunc::InitBitmap(8, 6);
  const auto target = KivCommon::ImageFunc::InitBitmap(3, 5);
  source->Fill(0x80102030);
  ASSERT_EQ(S_OK, KivCommon::ImageFunc::ResizeImage(nullptr, source.Get(), target.Get(), 0));
  const auto* const pixels = static_cast<const uint32_t*>(target->GetPixels());
  EXPECT_EQ(Pixels(15, 0x80102030), Pixels(pixels, pixels + 15));
  EXPECT_EQ(E_INVALIDARG, ScalePicture({}, {}, ScaleFilter::kArea));
}

}  // namespace
}  // namespace kiv
