// Times of irregular clips, edit lists, cut streams, and how pictures are to be shown.
#include <gtest/gtest.h>

#include "test/media/Clips.h"
#include "test/support/TestFolder.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::CurrentNumber;
using kivtest::MakeClip;
using kivtest::NumberAt;
using kivtest::OpenClip;

constexpr int64_t kMillisecond = 10'000;
constexpr int64_t kFrame = 400'000;

// Frame i starts at times[i]; the last one lasts as long as the one before.
const std::vector<int64_t> kTimes{0,   33,  67,  150, 183, 250, 500, 533, 567,  600,
                                  700, 717, 733, 750, 900, 917, 950, 983, 1200, 1233};

class IrregularClip : public testing::TestWithParam<ClipRecipe> {};

TEST_P(IrregularClip, FramesKeepTheirOwnTimesAndReachToTheNext) {
  ClipRecipe recipe = GetParam();
  SCOPED_TRACE(recipe.codec + " in " + recipe.container);
  recipe.gop = 8;
  recipe.frames = static_cast<int>(kTimes.size());
  recipe.times = kTimes;
  const auto decoder = OpenClip(recipe);
  EXPECT_EQ(0, kivtest::InfoOf(decoder).constantRate);
  EXPECT_EQ(recipe.frames, kivtest::InfoOf(decoder).frameCount);
  const auto info = decoder.As<IKivStreamInfo>();
  int64_t time = 0, duration = 0;
  for (int i = recipe.frames - 1; i >= 0; --i) {
    const int64_t start = kTimes[static_cast<size_t>(i)] * kMillisecond;
    EXPECT_EQ(i, NumberAt(decoder, start));
    EXPECT_EQ(start, decoder->GetCurrentTime());
    EXPECT_EQ(i, NumberAt(decoder, start + 10 * kMillisecond)) << "within the frame";
    ASSERT_EQ(S_OK, info->GetFrameTime(i, &time, &duration, nullptr));
    EXPECT_EQ(start, time);
    if (i + 1 < recipe.frames) {
      EXPECT_EQ(kTimes[static_cast<size_t>(i) + 1] * kMillisecond, time + duration);
    }
    if (i > 0) {
      EXPECT_EQ(i - 1, NumberAt(decoder, start - 2)) << "just before the frame";
    }
  }
  EXPECT_EQ(E_INVALIDARG, info->GetFrameTime(recipe.frames, &time, nullptr, nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetFrameTime(-1, &time, nullptr, nullptr));
}

INSTANTIATE_TEST_SUITE_P(Containers, IrregularClip,
                         testing::Values(ClipRecipe{.container = "mkv", .bFrames = 2},
                                         ClipRecipe{.container = "mp4", .bFrames = 2},
                                         ClipRecipe{.container = "ts", .bFrames = 2},
                                         ClipRecipe{.codec = "libx265", .bFrames = 2},
                                         ClipRecipe{.codec = "libvpx-vp9", .container = "webm"}));

TEST(EditList, FramesBeforeTheEditAreDecodedButNeverShown) {
  const auto decoder = OpenClip({.gop = 25, .bFrames = 2, .startMilliseconds = -400});
  EXPECT_EQ(50, kivtest::InfoOf(decoder).frameCount);
  for (const int frame : {0, 49, 3, 17, 1, 0}) {
    EXPECT_EQ(frame + 10, NumberAt(decoder, frame * kFrame));
  }
}

// Streams without their beginning: what cannot be decoded is not part of the clip, and frames are
// counted from the first that can.
TEST(CutStream, TheClipStartsWithTheFirstDecodablePicture) {
  for (const char* container : {"ts", "h264"}) {
    SCOPED_TRACE(container);
    const std::string whole =
        ReadBytes(MakeClip({.container = container, .bFrames = 3, .openGop = true}));
    const std::string path = kivtest::TemporaryPath(std::string("cut.") + container);
    WriteBytes(path, whole.substr(whole.size() * 3 / 10 / 188 * 188));
    const auto decoder = kivtest::OpenDecoder(path);
    ASSERT_TRUE(decoder);
    const int first = CurrentNumber(decoder);
    ASSERT_GT(first, 0);
    EXPECT_EQ(59, NumberAt(decoder, INT64_MAX));
    const int count = kivtest::InfoOf(decoder).frameCount;
    ASSERT_EQ(60 - count, first);
    EXPECT_GT(count, 20);
    for (const int frame : {count - 1, 0, count / 2, 1, 5}) {
      EXPECT_EQ(first + frame, NumberAt(decoder, frame * kFrame));
    }
  }
}

TEST(StillPicture, IsAClipOfOneFrame) {
  const ClipRecipe png{.codec = "png", .container = "png", .pixelFormat = "rgb24", .frames = 1};
  const ClipRecipe jpg{
      .codec = "mjpeg", .container = "jpg", .pixelFormat = "yuvj420p", .frames = 1};
  for (const ClipRecipe& recipe : {png, jpg}) {
    const auto decoder = OpenClip(recipe);
    EXPECT_EQ(1, kivtest::InfoOf(decoder).frameCount);
    EXPECT_EQ(0, NumberAt(decoder, 5'000'000)) << recipe.codec;
  }
}

// Turned by so many degrees; at 0, mirrored.
TEST(Orientation, PicturesComeOutAsTheyAreShown) {
  for (const int rotation : {0, 90, 180, 270}) {
    const auto decoder = OpenClip({.frames = 20, .rotation = rotation, .mirrored = rotation == 0});
    EXPECT_EQ(rotation, kivtest::InfoOf(decoder).rotation);
    KivSize size;
    decoder.As<IKivDecoderSize>()->GetSourceSize(&size);
    ASSERT_EQ(rotation % 180 == 0 ? (KivSize{192, 112}) : (KivSize{112, 192}), size);
    decoder->Skip(13, nullptr);
    const auto frame = kivtest::CurrentFrame(decoder);
    const auto* const shown = static_cast<const uint32_t*>(frame->GetPixels());
    std::vector<uint32_t> upright;
    for (int y = 0; y < 112; ++y) {
      for (int x = 0; x < 192; ++x) {
        const KivPoint places[] = {{191 - x, y}, {111 - y, x}, {191 - x, 111 - y}, {y, 191 - x}};
        const KivPoint place = places[rotation / 90];
        upright.push_back(shown[place.y * size.width + place.x]);
      }
    }
    EXPECT_EQ(13, kivtest::ReadNumber(reinterpret_cast<const uint8_t*>(upright.data()), 192, 112))
        << rotation << " degrees";
  }
}

TEST(Alpha, SurvivesWhereTheCodecHasIt) {
  const char* const cases[][3] = {
      {"libvpx", "webm", "yuva420p"}, {"libvpx-vp9", "webm", "yuva420p"},
      {"png", "mov", "rgba"},         {"qtrle", "mov", "argb"},
      {"ffv1", "mkv", "bgra"},        {"prores_ks", "mov", "yuva444p10le"},
  };
  for (const auto& [codec, container, pixelFormat] : cases) {
    SCOPED_TRACE(codec);
    const auto decoder = OpenClip(
        {.codec = codec, .container = container, .pixelFormat = pixelFormat, .frames = 12});
    EXPECT_EQ(1, kivtest::InfoOf(decoder).hasAlpha);
    for (const int number : {7, 2}) {
      EXPECT_EQ(number, NumberAt(decoder, number * kFrame));
      const auto frame = kivtest::CurrentFrame(decoder);
      const auto* const pixels = static_cast<const uint8_t*>(frame->GetPixels());
      EXPECT_NEAR(255, pixels[(56 * 192 + 40) * 4 + 3], 3);
      EXPECT_NEAR(128, pixels[(56 * 192 + 150) * 4 + 3], 3);
    }
  }
}

}  // namespace
