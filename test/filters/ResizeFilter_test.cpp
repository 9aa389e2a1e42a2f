#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "kiv/values/CKivValue.h"
#include "test/filters/FilterSupport.h"

namespace kiv {
namespace {

// Red, green / blue, white.
constexpr uint32_t R = 0xFFFF0000, G = 0xFF00FF00, B = 0xFF0000FF, W = 0xFFFFFFFF, O = 0;
constexpr KivRectF kWhole{0, 0, 1, 1};
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct RectCase {
  const char* name;
  KivRectF target;
  KivRectF source;
  Pixels expected;  // 4 x 2
};

class ResizeRects : public testing::TestWithParam<RectCase> {};

TEST_P(ResizeRects, SelectAndPlace) {
  const auto filter = NewResizeFilter();
  const auto input = FrameOf(2, 2, {R, G, B, W});
  const auto output = FrameOf(4, 2);
  const auto bag = filter.As<IKivProperties>();
  KivComPtr<IUnknown> quality;
  bag->GetObject(KivKey::Filter::Property::kParamsArray[0], quality.Put());
  quality.As<IKivProperties>()->SetInt(KivKey::Filter::Property::kValue_Current, 0);

  filter->SetFirstInput(input.Get());
  filter->SetRects(&GetParam().target, &GetParam().source);
  const KivSize size{4, 2};
  ASSERT_EQ(S_OK, filter->Run(&size));
  ASSERT_EQ(S_OK, filter->ReadOutput(output.Get()));

  EXPECT_EQ(GetParam().expected, PixelsOf(output));
}

INSTANTIATE_TEST_SUITE_P(
    Rects, ResizeRects,
    testing::Values(
        RectCase{"Whole", kWhole, kWhole, {R, R, G, G, B, B, W, W}},
        RectCase{"SourceColumn", kWhole, {0.5, 0, 0.5, 1}, {G, G, G, G, W, W, W, W}},
        RectCase{"SourceCorner", kWhole, {0, 0.5, 0.5, 0.5}, {B, B, B, B, B, B, B, B}},
        RectCase{"TargetMiddle", {0.25, 0, 0.5, 1}, kWhole, {O, R, G, O, O, B, W, O}},
        RectCase{"TargetBottom", {0, 0.5, 1, 0.5}, {0, 0, 1, 0.5}, {O, O, O, O, R, R, G, G}},
        RectCase{"TargetBeyondTheLeft", {-0.5, 0, 1, 1}, kWhole, {G, G, O, O, W, W, O, O}},
        RectCase{"TargetLargerThanTheOutput", {-1, -1, 2, 2}, kWhole, {W, W, W, W, W, W, W, W}},
        RectCase{"SourceBeyondTheRight", kWhole, {0.5, 0, 1, 1}, {G, G, O, O, W, W, O, O}},
        RectCase{"TargetOutside", {1.5, 0, 1, 1}, kWhole, {O, O, O, O, O, O, O, O}},
        RectCase{"EmptySource", kWhole, {0.5, 0.5, 0, 0}, {O, O, O, O, O, O, O, O}},
        RectCase{"NegativeSize", {0, 0, -1, 1}, kWhole, {O, O, O, O, O, O, O, O}},
        RectCase{"NotANumber", {kNaN, kNaN, kNaN, kNaN}, kWhole, {O, O, O, O, O, O, O, O}},
        RectCase{"NotANumberPlace", {kNaN, 0, 1, 1}, kWhole, {O, O, O, O, O, O, O, O}},
        RectCase{"VeryLarge", {-1e6, -1e6, 2e6, 2e6}, kWhole, {W, W, W, W, W, W, W, W}},
        RectCase{"BeyondAllPrecision",
                 {-1e300, -1e300, 2e300, 2e300},
                 kWhole,
                 {O, O, O, O, O, O, O, O}}),
    [](const auto& test) { return test.param.name; });

struct QualityCase {
  const char* name;
  CKivValue value;
  uint32_t expected;
};

template <typename T>
CKivValue Value(const T& native) {
  CKivValue value;
  value.SetValue(native);
  return value;
}

class ResizeQuality : public testing::TestWithParam<QualityCase> {};

// Four pixels become one: the third, the mean of the middle two, or the mean of all.
TEST_P(ResizeQuality, IsReadFromTheBagAtTheRun) {
  const auto filter = NewResizeFilter();
  KivComPtr<IUnknown> quality;
  filter.As<IKivProperties>()->GetObject(KivKey::Filter::Property::kParamsArray[0], quality.Put());
  quality.As<IKivProperties>()->SetValue(KivKey::Filter::Property::kValue_Current,
                                         &GetParam().value);
  filter->SetFirstInput(FrameOf(4, 1, {0xFF000000, 0xFF000020, 0xFF000040, 0xFF000080}).Get());
  const KivSize size{1, 1};
  ASSERT_EQ(S_OK, filter->Run(&size));
  const auto output = FrameOf(1, 1);
  ASSERT_EQ(S_OK, filter->ReadOutput(output.Get()));
  EXPECT_EQ((Pixels{GetParam().expected}), PixelsOf(output));
}

INSTANTIATE_TEST_SUITE_P(Values, ResizeQuality,
                         testing::Values(QualityCase{"Nearest", Value(0), 0xFF000040},
                                         QualityCase{"Linear", Value(1), 0xFF000030},
                                         QualityCase{"Area", Value(2), 0xFF000038},
                                         QualityCase{"AsDouble", Value(1.0), 0xFF000030},
                                         QualityCase{"TooLarge", Value(99), 0xFF000038},
                                         QualityCase{"TooSmall", Value(-7), 0xFF000040},
                                         QualityCase{"Text", Value(std::wstring(L"0")),
                                                     0xFF000038}),
                         [](const auto& test) { return test.param.name; });

TEST(ResizeFilter, ReadOutputGivesTheFrameTheOutputSizeAndKeepsItsTime) {
  const auto filter = NewResizeFilter();
  filter->SetFirstInput(FrameOf(2, 2, {R, R, R, R}).Get());
  const KivSize size{3, 5};
  ASSERT_EQ(S_OK, filter->Run(&size));
  const auto frame = FrameOf(7, 7);
  frame->SetTime(123, 45);
  ASSERT_EQ(S_OK, filter->ReadOutput(frame.Get()));
  EXPECT_EQ(Pixels(15, R), PixelsOf(frame));
  EXPECT_EQ(3, frame->GetBitmap()->GetWidth());
  int64_t time = 0, duration = 0;
  frame->GetTime(&time, &duration);
  EXPECT_EQ(123, time);
  EXPECT_EQ(45, duration);
}

TEST(ResizeFilter, OneFrameMayBeInputAndOutput) {
  const auto filter = NewResizeFilter();
  const auto frame = FrameOf(2, 1, {R, G});
  filter->SetFirstInput(frame.Get());
  const KivRectF left{0, 0, 0.5, 1};
  filter->SetRects(nullptr, &left);
  const KivSize size{2, 1};
  ASSERT_EQ(S_OK, filter->Run(&size));
  ASSERT_EQ(S_OK, filter->ReadOutput(frame.Get()));
  EXPECT_EQ((Pixels{R, R}), PixelsOf(frame));
}

TEST(ResizeFilter, AFailedRunKeepsTheLastResult) {
  const auto filter = NewResizeFilter();
  const auto frame = FrameOf(1, 1, {O});
  const KivSize size{1, 1}, empty{0, 1}, large{1, 40000};
  EXPECT_EQ(E_NOTREADY, filter->Run(&size));
  EXPECT_EQ(E_NOTREADY, filter->ReadOutput(frame.Get()));
  filter->SetFirstInput(FrameOf(1, 1, {B}).Get());
  EXPECT_EQ(S_OK, filter->Run(&size));
  EXPECT_EQ(E_INVALIDARG, filter->Run(nullptr));
  EXPECT_EQ(E_INVALIDARG, filter->Run(&empty));
  EXPECT_EQ(E_INVALIDARG, filter->Run(&large));
  filter->SetFirstInput(nullptr);
  EXPECT_EQ(E_NOTREADY, filter->Run(&size));
  EXPECT_EQ(E_INVALIDARG, filter->ReadOutput(nullptr));
  ASSERT_EQ(S_OK, filter->ReadOutput(frame.Get()));
  EXPECT_EQ((Pixels{B}), PixelsOf(frame));
}

}  // namespace
}  // namespace kiv
