#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "engine/base/CountedObject.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace kiv {
namespace {

using Pixels = std::vector<uint32_t>;

KivComPtr<IKivCGFilter> NewResizeFilter() {
  wchar_t bare[64] = {};
  KivCommon::Guid::RemoveBraces(KivKey::Filter::kFilterGUID_Resize, bare, 64);
  KivComPtr<IKivCGFilter> filter;
  KivCommon::GetCGFilterManager()->CreateFilter(KivCommon::GetCGDevice().Get(), bare, &filter);
  return filter;
}

KivComPtr<IKivFrame> FrameOf(int32_t width, int32_t height, const Pixels& pixels = {}) {
  KivComPtr<IKivFrame> frame;
  KivCommon::CreateBGRAFrameFrom(frame, KivSize{width, height}, KivCGMemoryType::kDownstream);
  if (!pixels.empty()) std::memcpy(frame->GetPixels(), pixels.data(), pixels.size() * 4);
  return frame;
}

Pixels PixelsOf(const KivComPtr<IKivFrame>& frame) {
  const auto* const pixels = static_cast<const uint32_t*>(frame->GetPixels());
  return {pixels, pixels + frame->GetBitmap()->GetWidth() * frame->GetBitmap()->GetHeight()};
}

TEST(CreateFilter, KnowsTheBareTextOfItsFilters) {
  const std::pair<const wchar_t*, HRESULT> kCases[] = {
      {L"2c6e0b5d-7f43-4a91-8d0a-3b5e94f1c6d2", S_OK},
      {L"{2C6E0B5D-7F43-4A91-8D0A-3B5E94F1C6D2}", E_NOTFOUND},
      {L"A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95", S_OK},
      {L"A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F96", E_NOTFOUND},
      {L"", E_NOTFOUND},
      {nullptr, E_INVALIDARG}};
  for (const auto& [guid, expected] : kCases) {
    auto filter = NewResizeFilter();
    EXPECT_EQ(expected, KivCommon::GetCGFilterManager()->CreateFilter(nullptr, guid, &filter));
    EXPECT_EQ(Succeeded(expected), static_cast<bool>(filter));
  }
}

TEST(Filter, IsOneObjectWithItsBagOfParameters) {
  namespace Key = KivKey::Filter::Property;
  const int64_t alive = LiveObjectCount();
  {
    auto filter = NewResizeFilter();
    const auto bag = filter.As<IKivProperties>();
    EXPECT_EQ(filter.As<IUnknown>().Get(), bag.As<IUnknown>().Get());
    filter.Reset();
    int32_t count = 0, value = -1;
    EXPECT_EQ(S_OK, bag->GetInt(Key::kCount, &count));
    EXPECT_EQ(1, count);
    KivComPtr<IUnknown> object;
    EXPECT_EQ(E_NOTFOUND, bag->GetObject(Key::kParamsArray[1], object.Put()));
    ASSERT_EQ(S_OK, bag->GetObject(Key::kParamsArray[0], object.Put()));
    EXPECT_EQ(S_OK, object.As<IKivProperties>()->GetInt(Key::kValue_Current, &value));
    EXPECT_EQ(2, value);
  }
  EXPECT_EQ(alive, LiveObjectCount());
}

// Red, green / blue, white.
constexpr uint32_t R = 0xFFFF0000, G = 0xFF00FF00, B = 0xFF0000FF, W = 0xFFFFFFFF, O = 0;
constexpr KivRectF kWhole{0, 0, 1, 1};

template <typename T>
void SetQuality(const KivComPtr<IKivCGFilter>& filter, const T& quality) {
  CKivValue value;
  value.SetValue(quality);
  KivComPtr<IUnknown> parameter;
  filter.As<IKivProperties>()->GetObject(KivKey::Filter::Property::kParamsArray[0],
                                         parameter.Put());
  parameter.As<IKivProperties>()->SetValue(KivKey::Filter::Property::kValue_Current, &value);
}

Pixels Resized(const KivComPtr<IKivCGFilter>& filter, const KivSize& size) {
  const auto output = FrameOf(size.width, size.height);
  EXPECT_EQ(S_OK, filter->Run(&size));
  EXPECT_EQ(S_OK, filter->ReadOutput(output.Get()));
  return PixelsOf(output);
}

struct RectCase {
  KivRectF target, source;
  Pixels expected;  // 4 x 2
};

TEST(ResizeFilter, RectsSelectAndPlace) {
  const Pixels nothing(8, O), white(8, W);
  const RectCase kCases[] = {
      {kWhole, kWhole, {R, R, G, G, B, B, W, W}},
      {kWhole, {0, 0.5, 0.5, 0.5}, Pixels(8, B)},
      {{0.25, 0, 0.5, 1}, kWhole, {O, R, G, O, O, B, W, O}},
      {{0, 0.5, 1, 0.5}, {0, 0, 1, 0.5}, {O, O, O, O, R, R, G, G}},
      {{-0.5, 0, 1, 1}, kWhole, {G, G, O, O, W, W, O, O}},
      {{-1, -1, 2, 2}, kWhole, white},
      {kWhole, {0.5, 0, 1, 1}, {G, G, O, O, W, W, O, O}},
      {{1.5, 0, 1, 1}, kWhole, nothing},
      {{0, 0, -1, 1}, kWhole, nothing},
      {{NAN, 0, 1, 1}, kWhole, nothing},
      {{0, 0, 1, NAN}, kWhole, nothing},
      {{-1e6, -1e6, 2e6, 2e6}, kWhole, white},
      {{-1e300, -1e300, 2e300, 2e300}, kWhole, nothing}};  // beyond all precision
  for (const RectCase& test : kCases) {
    const auto filter = NewResizeFilter();
    SetQuality(filter, 0);
    filter->SetFirstInput(FrameOf(2, 2, {R, G, B, W}).Get());
    filter->SetRects(&test.target, &test.source);
    EXPECT_EQ(test.expected, Resized(filter, {4, 2}))
        << test.target.left << ", " << test.source.left;
  }
}

// Four pixels become one: the third, the mean of the middle two, or the mean of all.
template <typename T>
uint32_t PixelAtQuality(const T& quality) {
  const auto filter = NewResizeFilter();
  filter->SetFirstInput(FrameOf(4, 1, {0xFF000000, 0xFF000020, 0xFF000040, 0xFF000080}).Get());
  SetQuality(filter, quality);
  return Resized(filter, {1, 1})[0];
}

TEST(ResizeFilter, QualityIsReadFromTheBag) {
  EXPECT_EQ(0xFF000040, PixelAtQuality(0));
  EXPECT_EQ(0xFF000030, PixelAtQuality(1));
  EXPECT_EQ(0xFF000038, PixelAtQuality(2));
  EXPECT_EQ(0xFF000038, PixelAtQuality(99));
  EXPECT_EQ(0xFF000040, PixelAtQuality(-7));
  EXPECT_EQ(0xFF000030, PixelAtQuality(1.0));
  EXPECT_EQ(0xFF000038, PixelAtQuality(std::wstring(L"0")));
}

TEST(ResizeFilter, ReadOutputGivesTheFrameTheOutputSizeAndKeepsItsTime) {
  const auto filter = NewResizeFilter();
  const auto frame = FrameOf(2, 2, {R, G, R, G});
  frame->SetTime(123, 45);
  filter->SetFirstInput(frame.Get());
  const KivRectF left{0, 0, 0.5, 1};
  filter->SetRects(nullptr, &left);
  const KivSize size{3, 5};
  ASSERT_EQ(S_OK, filter->Run(&size));
  ASSERT_EQ(S_OK, filter->ReadOutput(frame.Get())) << "one frame may be input and output";
  EXPECT_EQ(Pixels(15, R), PixelsOf(frame));
  EXPECT_EQ(3, frame->GetBitmap()->GetWidth());
  int64_t time = 0, duration = 0;
  frame->GetTime(&time, &duration);
  EXPECT_EQ(123, time);
  EXPECT_EQ(45, duration);
}

TEST(ResizeFilter, AFailedRunKeepsTheLastResult) {
  const auto filter = NewResizeFilter();
  const auto frame = FrameOf(1, 1, {O});
  const KivSize size{1, 1}, empty{0, 1}, large{1, 40000};
  EXPECT_EQ(E_NOTREADY, filter->Run(&size));
  EXPECT_EQ(E_NOTREADY, filter->ReadOutput(frame.Get()));
  filter->SetFirstInput(FrameOf(1, 1, {B}).Get());
  EXPECT_EQ(S_OK, filter->Run(&size));
  for (const KivSize* bad : {static_cast<const KivSize*>(nullptr), &empty, &large}) {
    EXPECT_EQ(E_INVALIDARG, filter->Run(bad));
  }
  filter->SetFirstInput(nullptr);
  EXPECT_EQ(E_NOTREADY, filter->Run(&size));
  EXPECT_EQ(E_INVALIDARG, filter->ReadOutput(nullptr));
  ASSERT_EQ(S_OK, filter->ReadOutput(frame.Get()));
  EXPECT_EQ(Pixels{B}, PixelsOf(frame));
}

}  // namespace
}  // namespace kiv
