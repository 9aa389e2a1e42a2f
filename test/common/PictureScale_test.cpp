#include "engine/common/PictureScale.h"

#include <gtest/gtest.h>

#include <vector>

#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

using Pixels = std::vector<uint32_t>;

constexpr uint32_t Grey(uint32_t value) { return 0xFF000000 | value * 0x010101; }

struct ScaleCase {
  const char* name;
  ScaleFilter filter;
  Pixels source;  // one row
  Pixels expected;
};

class Scale : public testing::TestWithParam<ScaleCase> {};

HRESULT ScaleTo(const Pixels& source, int32_t width, int32_t height, Pixels& target,
                int32_t targetWidth, int32_t targetHeight, ScaleFilter filter) {
  return ScalePicture({reinterpret_cast<const uint8_t*>(source.data()), width, height,
                       static_cast<size_t>(width) * 4},
                      {reinterpret_cast<uint8_t*>(target.data()), targetWidth, targetHeight,
                       static_cast<size_t>(targetWidth) * 4},
                      filter);
}

// A row and the same pixels as a column: both directions have to agree.
TEST_P(Scale, GivesTheSameAcrossAndDown) {
  const ScaleCase& c = GetParam();
  const auto from = static_cast<int32_t>(c.source.size());
  const auto to = static_cast<int32_t>(c.expected.size());
  Pixels across(c.expected.size()), down(c.expected.size());
  ASSERT_EQ(S_OK, ScaleTo(c.source, from, 1, across, to, 1, c.filter));
  ASSERT_EQ(S_OK, ScaleTo(c.source, 1, from, down, 1, to, c.filter));
  EXPECT_EQ(c.expected, across);
  EXPECT_EQ(c.expected, down);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Scale,
    testing::Values(
        ScaleCase{"AreaHalves",
                  ScaleFilter::kArea,
                  {Grey(0), Grey(100), Grey(200), Grey(250)},
                  {Grey(50), Grey(225)}},
        // 3 to 2: a pixel covers one whole and one half.
        ScaleCase{"AreaSharesAPixel",
                  ScaleFilter::kArea,
                  {Grey(0), Grey(90), Grey(240)},
                  {Grey(30), Grey(190)}},
        ScaleCase{"AreaEnlargesLinearly",
                  ScaleFilter::kArea,
                  {Grey(0), Grey(200)},
                  {Grey(0), Grey(50), Grey(150), Grey(200)}},
        ScaleCase{"LinearTakesTheMiddle",
                  ScaleFilter::kLinear,
                  {Grey(10), Grey(20), Grey(30), Grey(40), Grey(50), Grey(60)},
                  {Grey(20), Grey(50)}},
        ScaleCase{"NearestRepeats",
                  ScaleFilter::kNearest,
                  {Grey(1), Grey(2)},
                  {Grey(1), Grey(1), Grey(2), Grey(2)}},
        ScaleCase{"NearestSkips",
                  ScaleFilter::kNearest,
                  {Grey(1), Grey(2), Grey(3), Grey(4)},
                  {Grey(2), Grey(4)}},
        ScaleCase{"TransparentColourDoesNotBleed",
                  ScaleFilter::kArea,
                  {0x00FFFFFF, 0xFF102030},
                  {0x80102030}},
        ScaleCase{
            "CoverageWeighsColour", ScaleFilter::kArea, {0xC0000000, 0x400000C8}, {0x80000032}},
        ScaleCase{
            "FaintColourStaysExact", ScaleFilter::kArea, {0x03C86432, 0x03C86432}, {0x03C86432}},
        ScaleCase{"SameSizeIsACopy",
                  ScaleFilter::kArea,
                  {0x00123456, 0x01FFEEDD},
                  {0x00123456, 0x01FFEEDD}}),
    [](const auto& test) { return test.param.name; });

TEST(ScalePicture, AFlatPictureStaysFlatAtEveryRatio) {
  const Pixels source(37 * 23, 0xFF4B96C8);
  for (const auto& [width, height] : {std::pair{1, 1}, {5, 31}, {36, 22}, {100, 7}, {37, 60}}) {
    Pixels target(static_cast<size_t>(width * height));
    ASSERT_EQ(S_OK, ScaleTo(source, 37, 23, target, width, height, ScaleFilter::kArea));
    EXPECT_EQ(Pixels(target.size(), 0xFF4B96C8), target) << width << " x " << height;
  }
}

TEST(ScalePicture, RefusesEmptyPictures) {
  Pixels pixels(4);
  EXPECT_EQ(E_INVALIDARG, ScaleTo(pixels, 0, 1, pixels, 2, 2, ScaleFilter::kArea));
  EXPECT_EQ(E_INVALIDARG, ScaleTo(pixels, 2, 2, pixels, 2, -1, ScaleFilter::kArea));
  EXPECT_EQ(E_INVALIDARG, ScalePicture({}, {}, ScaleFilter::kArea));
}

TEST(ResizeImage, FillsTheWholeTarget) {
  const auto source = KivCommon::ImageFunc::InitBitmap(8, 6);
  const auto target = KivCommon::ImageFunc::InitBitmap(3, 5);
  source->Fill(0x80102030);
  ASSERT_EQ(S_OK, KivCommon::ImageFunc::ResizeImage(nullptr, source.Get(), target.Get(), 0));
  const auto* const pixels = static_cast<const uint32_t*>(target->GetPixels());
  EXPECT_EQ(Pixels(15, 0x80102030), Pixels(pixels, pixels + 15));
  EXPECT_EQ(E_INVALIDARG, KivCommon::ImageFunc::ResizeImage(nullptr, nullptr, target.Get(), 0));
  EXPECT_EQ(E_INVALIDARG, KivCommon::ImageFunc::ResizeImage(nullptr, source.Get(), nullptr, 0));
}

}  // namespace
}  // namespace kiv
