#include "engine/common/PictureScale.h"

#include <gtest/gtest.h>

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
