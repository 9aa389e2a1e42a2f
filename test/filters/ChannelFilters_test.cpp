// Coverage, fills and compositing against exact arithmetic, at sizes that leave part of a vector.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "engine/filters/Compositing.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace kiv {
namespace {

constexpr KivSize kSizes[] = {{1, 1}, {3, 5}, {16, 2}, {37, 4}, {131, 3}};

KivComPtr<IKivFrame> Noise(KivSize size, unsigned seed) {
  KivComPtr<IKivFrame> frame;
  KivCommon::CreateBGRAFrameFrom(frame, size, KivCGMemoryType::kDownstream);
  std::mt19937 random(seed);
  auto* const bytes = static_cast<uint8_t*>(frame->GetPixels());
  for (int i = 0; i < size.width * size.height * 4; ++i) {
    // Full and none come often enough.
    const auto code = static_cast<int>(random() % 300);
    bytes[i] = static_cast<uint8_t>(std::clamp(code - 20, 0, 255));
  }
  return frame;
}

int ByteOf(const KivComPtr<IKivFrame>& frame, int pixel, int channel) {
  return static_cast<const uint8_t*>(frame->GetPixels())[4 * pixel + channel];
}

struct Filtering {
  explicit Filtering(const wchar_t* guid) {
    wchar_t bare[64] = {};
    KivCommon::Guid::RemoveBraces(guid, bare, 64);
    KivCommon::GetCGFilterManager()->CreateFilter(nullptr, bare, &filter);
  }
  template <typename T>
  void Set(int32_t parameter, const T& value) {
    KivComPtr<IUnknown> object;
    filter.As<IKivProperties>()->GetObject(KivKey::Filter::Property::kParamsArray[parameter],
                                           object.Put());
    CKivValue holder;
    holder.SetValue(value);
    object.As<IKivProperties>()->SetValue(KivKey::Filter::Property::kValue_Current, &holder);
  }
  KivComPtr<IKivFrame> operator()(const KivComPtr<IKivFrame>& first,
                                  const KivComPtr<IKivFrame>& second, KivSize size) {
    KivComPtr<IKivFrame> output;
    KivCommon::CreateBGRAFrameFrom(output, size, KivCGMemoryType::kDownstream);
    filter->SetFirstInput(first.Get());
    filter->SetSecondInput(second.Get());
    EXPECT_EQ(S_OK, filter->Run(&size));
    EXPECT_EQ(S_OK, filter->ReadOutput(output.Get()));
    return output;
  }

  KivComPtr<IKivCGFilter> filter;
};

struct Gradient {
  double theta;
  // Where the middle of a pixel lies, from 0 at the first colour's corner to 1 at the second's.
  double (*share)(double x, double y, KivSize size);
};

const Gradient kGradients[] = {
    {0, [](double x, double, KivSize size) { return x / size.width; }},
    {90, [](double, double y, KivSize size) { return y / size.height; }},
    {180, [](double x, double, KivSize size) { return 1 - x / size.width; }},
    {-90, [](double, double y, KivSize size) { return 1 - y / size.height; }},
    {405, [](double x, double y, KivSize size) { return (x + y) / (size.width + size.height); }},
    {NAN, [](double x, double, KivSize size) { return x / size.width; }},
};

TEST(AlphaChannelFilter, RunsFromColourToColourAlongItsDirection) {
  constexpr double kFirst[] = {0.25, 1, 0}, kSecond[] = {1, 0, 0.5};  // blue, green, red
  for (const KivSize& size : kSizes) {
    const auto picture = Noise(size, 1);
    for (const Gradient& gradient : kGradients) {
      Filtering run(KivKey::Filter::kFilterGUID_AlphaChannel);
      run.Set(0, 7);
      if (std::isfinite(gradient.theta)) run.Set(1, gradient.theta);
      for (int c = 0; c < 3; ++c) {
        run.Set(4 - c, kFirst[c]);
        run.Set(7 - c, kSecond[c]);
      }
      const auto filled = run(picture, nullptr, size);
      for (int i = 0; i < size.width * size.height; ++i) {
        const double share = gradient.share(i % size.width + 0.5, i / size.width + 0.5, size);
        for (int c = 0; c < 3; ++c) {
          const double exact = 255 * (kFirst[c] + (kSecond[c] - kFirst[c]) * share);
          ASSERT_NEAR(exact, ByteOf(filled, i, c), 0.51) << gradient.theta << " at " << i;
        }
        ASSERT_EQ(ByteOf(picture, i, 3), ByteOf(filled, i, 3));
      }
    }
  }
}

TEST(AlphaChannelFilter, TakesTheCoverageOfTheChannelChosen) {
  const std::pair<int, int> kCases[] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {99, 3}, {-1, 0}};
  for (const KivSize& size : kSizes) {
    const auto picture = Noise(size, 2);
    for (const auto& [chosen, channel] : kCases) {
      Filtering run(KivKey::Filter::kFilterGUID_AlphaChannel);
      run.Set(8, chosen);
      run.Set(2, 7.0);  // outside the range, as -1
      run.Set(3, 0.5);
      run.Set(4, -1.0);
      const auto filled = run(picture, nullptr, size);
      for (int i = 0; i < size.width * size.height; ++i) {
        ASSERT_EQ(0, ByteOf(filled, i, 0));
        ASSERT_EQ(128, ByteOf(filled, i, 1));
        ASSERT_EQ(255, ByteOf(filled, i, 2));
        ASSERT_EQ(ByteOf(picture, i, channel), ByteOf(filled, i, 3)) << chosen;
      }
    }
  }
}

TEST(GreenChannelFilter, JoinsMaskAndPictureOfAnySize) {
  for (const KivSize& size : kSizes) {
    const auto mask = Noise(size, 3), picture = Noise(size, 4);
    Filtering run(KivKey::Filter::kFilterGUID_GreenChannel);
    const auto joined = run(mask, picture, size), alone = run(nullptr, picture, size);
    KivComPtr<IKivFrame> flat;
    KivCommon::CreateBGRAFrameFrom(flat, KivSize{2, 7}, KivCGMemoryType::kDownstream);
    flat->GetBitmap()->Fill(0xFF117711);
    const auto scaled = run(flat, picture, size);
    for (int i = 0; i < size.width * size.height; ++i) {
      for (int c = 0; c < 3; ++c) ASSERT_EQ(ByteOf(picture, i, c), ByteOf(joined, i, c));
      ASSERT_EQ(ByteOf(mask, i, 1), ByteOf(joined, i, 3));
      ASSERT_EQ(ByteOf(picture, i, 3), ByteOf(alone, i, 3));
      ASSERT_EQ(0x77, ByteOf(scaled, i, 3));
    }
  }
  Filtering run(KivKey::Filter::kFilterGUID_GreenChannel);
  run.filter->SetFirstInput(Noise({1, 1}, 1).Get());
  EXPECT_EQ(E_NOTREADY, run.filter->Run(&kSizes[0])) << "a mask alone is no picture";
}

TEST(PremultiplyFilter, MultipliesEveryCodeByEveryAlpha) {
  constexpr KivSize kAll{256, 256};
  auto picture = Noise(kAll, 5);
  auto* const bytes = static_cast<uint8_t*>(picture->GetPixels());
  for (int i = 0; i < 256 * 256; ++i) {
    for (int c = 0; c < 3; ++c) bytes[4 * i + c] = static_cast<uint8_t>(i % 256 + 85 * c);
    bytes[4 * i + 3] = static_cast<uint8_t>(i / 256);
  }
  const auto done = Filtering(KivKey::Filter::kFilterGUID_preMultAlpha)(picture, nullptr, kAll);
  for (int i = 0; i < 256 * 256; ++i) {
    for (int c = 0; c < 3; ++c) {
      ASSERT_EQ(std::lround(bytes[4 * i + c] * bytes[4 * i + 3] / 255.0), ByteOf(done, i, c));
    }
    ASSERT_EQ(bytes[4 * i + 3], ByteOf(done, i, 3));
  }
}

// A strip of four, of which the coverage is told by every channel alike.
KivComPtr<IKivFrame> Strip(const uint8_t (&codes)[4]) {
  auto frame = Noise({4, 1}, 1);
  for (int i = 0; i < 16; ++i) static_cast<uint8_t*>(frame->GetPixels())[i] = codes[i / 4];
  return frame;
}

using Line = std::vector<uint32_t>;

struct PlacedCase {
  KivRectF target, source;
  Line gradient, green, multiplied;  // 4 x 1
};

// What is read and where it is put is the same for every filter; a gradient runs over the whole of
// where it is put, also where that lies beyond the output.
TEST(ChannelFilters, RectsSelectAndPlace) {
  const Line nothing(4, 0);
  const PlacedCase kCases[] = {{{0.25, 0, 0.5, 1},
                                {0, 0, 0.5, 1},
                                {0, 0x10000040, 0x200000BF, 0},
                                {0, 0x01101010, 0x02202020, 0},
                                {0, 0x10010101, 0x20040404, 0}},
                               {{-0.5, 0, 1, 1},
                                {0, 0, 1, 1},
                                {0x4000009F, 0x800000DF, 0, 0},
                                {0x03404040, 0x04808080, 0, 0},
                                {0x40101010, 0x80404040, 0, 0}},
                               {{0, 0, 1, 1},
                                {0.75, -0.5, 1, 2},
                                {0x80000020, 0, 0, 0},
                                {0x04808080, 0, 0, 0},
                                {0x80404040, 0, 0, 0}},
                               {{0, 0, NAN, 1}, {0, 0, 1, 1}, nothing, nothing, nothing},
                               {{0, 0, 1, 1}, {0, 2, 1, 1}, nothing, nothing, nothing},
                               {{0, 0, 1e308, 1},
                                {0, 0, 1, 1},
                                Line(4, 0x10000000),
                                Line(4, 0x01101010),
                                Line(4, 0x10010101)}};
  const auto picture = Strip({0x10, 0x20, 0x40, 0x80}), mask = Strip({1, 2, 3, 4});
  for (const PlacedCase& test : kCases) {
    const auto made = [&](Filtering& run, const KivComPtr<IKivFrame>& first) {
      run.filter->SetRects(&test.target, &test.source);
      const auto output = run(first, picture, {4, 1});
      const auto* const pixels = static_cast<const uint32_t*>(output->GetPixels());
      return Line(pixels, pixels + 4);
    };
    Filtering alpha(KivKey::Filter::kFilterGUID_AlphaChannel);
    for (const auto& [parameter, value] :
         {std::pair{0, 1.0}, {2, 0.0}, {3, 0.0}, {4, 0.0}, {7, 1.0}}) {
      alpha.Set(parameter, value);
    }
    Filtering green(KivKey::Filter::kFilterGUID_GreenChannel);
    Filtering multiply(KivKey::Filter::kFilterGUID_preMultAlpha);
    EXPECT_EQ(test.gradient, made(alpha, picture)) << test.target.left << ", " << test.source.left;
    EXPECT_EQ(test.green, made(green, mask)) << test.target.left << ", " << test.source.left;
    EXPECT_EQ(test.multiplied, made(multiply, picture)) << test.target.left;
  }
}

SourcePicture Source(const KivComPtr<IKivFrame>& frame, KivSize size) {
  return {static_cast<const uint8_t*>(frame->GetPixels()), size.width, size.height,
          static_cast<size_t>(size.width) * 4};
}

TargetPicture Target(const KivComPtr<IKivFrame>& frame, KivSize size) {
  return {static_cast<uint8_t*>(frame->GetPixels()), size.width, size.height,
          static_cast<size_t>(size.width) * 4};
}

// Straight over straight, as light adds up: what a pixel shows is the mean of both by what each covers.
TEST(LayOver, IsTheMeanByCoverageWhateverIsTransparent) {
  for (const KivSize& size : kSizes) {
    for (const bool opaque : {true, false}) {
      const auto over = Noise(size, 6), under = Noise(size, 7), before = Noise(size, 7);
      for (int i = 0; opaque && i < size.width * size.height; ++i) {
        for (const auto& frame : {under, before}) {
          static_cast<uint8_t*>(frame->GetPixels())[4 * i + 3] = 255;
        }
      }
      ASSERT_EQ(S_OK, LayOver(Source(over, size), Target(under, size)));
      for (int i = 0; i < size.width * size.height; ++i) {
        const double upper = ByteOf(over, i, 3) / 255.0;
        const double lower = ByteOf(before, i, 3) / 255.0 * (1 - upper);
        ASSERT_NEAR(255 * (upper + lower), ByteOf(under, i, 3), 0.51);
        for (int c = 0; c < 3 && upper + lower > 0; ++c) {
          const double exact =
              (ByteOf(over, i, c) * upper + ByteOf(before, i, c) * lower) / (upper + lower);
          ASSERT_NEAR(exact, ByteOf(under, i, c), 0.51) << i;
        }
      }
    }
  }
  const auto frame = Noise({3, 5}, 8);
  EXPECT_EQ(E_INVALIDARG, LayOver(Source(frame, {3, 5}), Target(frame, {5, 3})));
  EXPECT_EQ(E_INVALIDARG, LayOver({}, Target(frame, {3, 5})));
}

TEST(FillShape, GivesTheFillsColoursToWhatBothCover) {
  constexpr KivSize kOne{1, 1};
  const uint32_t kCases[][3] = {// fill, multiplied by its alpha; shape; both
                                {0xFF336699, 0x80FFFFFF, 0x80336699},
                                {0x80402000, 0xFFFFFFFF, 0x80804000},
                                {0x80402000, 0x80000000, 0x40804000},
                                {0x00000000, 0xFF123456, 0x00000000},
                                {0x01020202, 0xFF000000, 0x01FFFFFF}};
  for (const auto& [fill, shape, both] : kCases) {
    const auto from = Noise(kOne, 1), to = Noise(kOne, 1);
    from->GetBitmap()->Fill(fill);
    to->GetBitmap()->Fill(shape);
    ASSERT_EQ(S_OK, FillShape(Source(from, kOne), Target(to, kOne)));
    uint32_t pixel = 0;
    std::memcpy(&pixel, to->GetPixels(), sizeof pixel);
    EXPECT_EQ(both, pixel) << std::hex << fill;
  }
}

}  // namespace
}  // namespace kiv
