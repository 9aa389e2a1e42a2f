// Times of irregular clips, edit lists, cut streams, and how pictures are to be shown.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "test/media/Clips.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::CurrentNumber;
using kivtest::MakeClip;
using kivtest::OpenDecoder;

constexpr int64_t kMillisecond = 10'000;

struct IrregularCase {
  const char* name;
  const char* codec;
  const char* container;
};

void PrintTo(const IrregularCase& value, std::ostream* out) { *out << value.name; }

class IrregularClip : public testing::TestWithParam<IrregularCase> {
 protected:
  // Frame i starts at times[i]; the last one lasts as long as the one before.
  const std::vector<int64_t> times_{0,   33,  67,  150, 183, 250, 500, 533, 567,  600,
                                    700, 717, 733, 750, 900, 917, 950, 983, 1200, 1233};
};

TEST_P(IrregularClip, FramesKeepTheirOwnTimes) {
  ClipRecipe recipe;
  recipe.codec = GetParam().codec;
  recipe.container = GetParam().container;
  recipe.bFrames = 2;
  recipe.gop = 8;
  recipe.frames = static_cast<int>(times_.size());
  recipe.times = times_;
  const auto decoder = OpenDecoder(MakeClip(recipe));
  ASSERT_TRUE(decoder);
  EXPECT_EQ(0, kivtest::InfoOf(decoder).constantRate);
  EXPECT_EQ(recipe.frames, kivtest::InfoOf(decoder).frameCount);
  for (int i = recipe.frames - 1; i >= 0; --i) {
    const int64_t start = times_[static_cast<size_t>(i)] * kMillisecond;
    decoder->Seek(start, 0);
    EXPECT_EQ(i, CurrentNumber(decoder.Get()));
    EXPECT_EQ(start, decoder->GetCurrentTime());
    decoder->Seek(start + 10 * kMillisecond, 0);
    EXPECT_EQ(i, CurrentNumber(decoder.Get())) << "within the frame";
    if (i == 0) continue;
    decoder->Seek(start - 2, 0);
    EXPECT_EQ(i - 1, CurrentNumber(decoder.Get())) << "just before the frame";
  }
}

TEST_P(IrregularClip, ADurationReachesToTheNextFrame) {
  ClipRecipe recipe;
  recipe.codec = GetParam().codec;
  recipe.container = GetParam().container;
  recipe.frames = static_cast<int>(times_.size());
  recipe.times = times_;
  const auto decoder = OpenDecoder(MakeClip(recipe));
  ASSERT_TRUE(decoder);
  const auto info = decoder.As<IKivStreamInfo>();
  int64_t time = 0;
  int64_t duration = 0;
  ASSERT_EQ(S_OK, info->GetFrameTime(5, &time, &duration, nullptr));
  EXPECT_EQ(250 * kMillisecond, time);
  EXPECT_EQ(250 * kMillisecond, duration);
  EXPECT_EQ(E_INVALIDARG, info->GetFrameTime(recipe.frames, &time, nullptr, nullptr));
  EXPECT_EQ(E_INVALIDARG, info->GetFrameTime(-1, &time, nullptr, nullptr));
}

INSTANTIATE_TEST_SUITE_P(Containers, IrregularClip,
                         testing::Values(IrregularCase{"mkv", "libx264", "mkv"},
                                         IrregularCase{"mp4", "libx264", "mp4"},
                                         IrregularCase{"ts", "libx264", "ts"},
                                         IrregularCase{"hevc", "libx265", "mp4"},
                                         IrregularCase{"vp9", "libvpx-vp9", "webm"}),
                         [](const auto& clip) { return std::string(clip.param.name); });

TEST(EditList, FramesBeforeTheEditAreDecodedButNeverShown) {
  ClipRecipe recipe;
  recipe.bFrames = 2;
  recipe.gop = 25;
  recipe.startMilliseconds = -400;  // ten frames
  const auto decoder = OpenDecoder(MakeClip(recipe));
  ASSERT_TRUE(decoder);
  EXPECT_EQ(50, kivtest::InfoOf(decoder).frameCount);
  for (const int frame : {0, 49, 3, 17, 1, 0}) {
    decoder->Seek(frame * 400'000, 0);
    EXPECT_EQ(frame + 10, CurrentNumber(decoder.Get()));
  }
}

// A transport stream without its first 30%: what cannot be decoded is not part of the clip.
TEST(CutStream, TheClipStartsWithTheFirstDecodablePicture) {
  ClipRecipe recipe;
  recipe.container = "ts";
  recipe.bFrames = 3;
  recipe.openGop = true;
  const std::vector<uint8_t> whole = kivtest::ReadFile(MakeClip(recipe));
  const auto from = static_cast<std::ptrdiff_t>(whole.size() * 3 / 10 / 188 * 188);
  const std::string path = kivtest::TemporaryPath("cut.ts");
  kivtest::WriteFile(path, {whole.begin() + from, whole.end()});
  const auto decoder = OpenDecoder(path);
  ASSERT_TRUE(decoder);
  const int count = kivtest::InfoOf(decoder).frameCount;
  const int first = CurrentNumber(decoder.Get());
  ASSERT_EQ(60 - count, first);
  EXPECT_GT(count, 20);
  for (const int frame : {count - 1, 0, count / 2, 1, 5}) {
    decoder->Seek(frame * 400'000, 0);
    EXPECT_EQ(first + frame, CurrentNumber(decoder.Get()));
  }
}

TEST(StillPicture, IsAClipOfOneFrame) {
  for (const char* codec : {"png", "mjpeg"}) {
    ClipRecipe recipe;
    recipe.codec = codec;
    recipe.container = std::string(codec) == "png" ? "png" : "jpg";
    recipe.pixelFormat = std::string(codec) == "png" ? "rgb24" : "yuvj420p";
    recipe.frames = 1;
    recipe.muxerOptions = {{"update", "1"}};
    const auto decoder = OpenDecoder(MakeClip(recipe));
    ASSERT_TRUE(decoder) << codec;
    EXPECT_EQ(1, kivtest::InfoOf(decoder).frameCount);
    decoder->Seek(5'000'000, 0);
    EXPECT_EQ(0, CurrentNumber(decoder.Get())) << codec;
  }
}

// Turns a shown picture back counter-clockwise by a quarter.
std::vector<uint32_t> TurnBack(const std::vector<uint32_t>& shown, int width, int height) {
  std::vector<uint32_t> upright(shown.size());
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      // The pixel at (x, y) came from column y of the row that many from the bottom.
      upright[static_cast<size_t>((width - 1 - x) * height + y)] =
          shown[static_cast<size_t>(y * width + x)];
    }
  }
  return upright;
}

TEST(Rotation, PicturesComeOutAsTheyAreShown) {
  for (const int rotation : {90, 180, 270}) {
    ClipRecipe recipe;
    recipe.rotation = rotation;
    recipe.frames = 20;
    const auto decoder = OpenDecoder(MakeClip(recipe));
    ASSERT_TRUE(decoder);
    const KivStreamInfo info = kivtest::InfoOf(decoder);
    EXPECT_EQ(rotation, info.rotation);
    EXPECT_EQ((KivSize{192, 112}), info.codedSize);
    KivSize size;
    decoder.As<IKivDecoderSize>()->GetSourceSize(&size);
    EXPECT_EQ(rotation == 180 ? (KivSize{192, 112}) : (KivSize{112, 192}), size);
    decoder->Skip(13, nullptr);
    KivComPtr<IKivFrame> frame;
    ASSERT_EQ(S_OK, decoder->ReadCurrentFrame(&frame));
    const auto* first = static_cast<const uint32_t*>(frame->GetPixels());
    std::vector<uint32_t> picture(first, first + size.width * size.height);
    for (int turned = 0; turned < rotation; turned += 90) {
      picture = TurnBack(picture, size.width, size.height);
      std::swap(size.width, size.height);
    }
    EXPECT_EQ(13, kivtest::ReadNumber(reinterpret_cast<const uint8_t*>(picture.data()), 192, 112))
        << rotation << " degrees";
  }
}

TEST(Alpha, SurvivesWhereTheCodecHasIt) {
  struct Case {
    const char* codec;
    const char* container;
    const char* pixelFormat;
  };
  for (const Case& c : {Case{"libvpx", "webm", "yuva420p"}, Case{"libvpx-vp9", "webm", "yuva420p"},
                        Case{"png", "mov", "rgba"}, Case{"qtrle", "mov", "argb"},
                        Case{"prores_ks", "mov", "yuva444p10le"}, Case{"ffv1", "mkv", "bgra"}}) {
    SCOPED_TRACE(std::string(c.codec) + " " + c.pixelFormat);
    ClipRecipe recipe;
    recipe.codec = c.codec;
    recipe.container = c.container;
    recipe.pixelFormat = c.pixelFormat;
    recipe.frames = 12;
    if (std::string(c.container) == "webm") recipe.streamTags = {{"alpha_mode", "1"}};
    const auto decoder = OpenDecoder(MakeClip(recipe));
    ASSERT_TRUE(decoder);
    EXPECT_EQ(1, kivtest::InfoOf(decoder).hasAlpha);
    for (const int number : {7, 2}) {
      decoder->Seek(number * 400'000, 0);
      KivComPtr<IKivFrame> frame;
      ASSERT_EQ(S_OK, decoder->ReadCurrentFrame(&frame));
      const auto* const pixels = static_cast<const uint8_t*>(frame->GetPixels());
      EXPECT_EQ(number, kivtest::ReadNumber(pixels, 192, 112));
      EXPECT_NEAR(255, pixels[(56 * 192 + 40) * 4 + 3], 3);
      EXPECT_NEAR(128, pixels[(56 * 192 + 150) * 4 + 3], 3);
    }
  }
}

TEST(ColourTags, AreReported) {
  ClipRecipe recipe;
  recipe.colourMatrix = "bt709";
  recipe.colourRange = "pc";
  recipe.frames = 3;
  KivStreamInfo info = kivtest::InfoOf(OpenDecoder(MakeClip(recipe)));
  EXPECT_STREQ("bt709", info.colourMatrix);
  EXPECT_STREQ("full", info.colourRange);
  recipe.colourMatrix = "smpte170m";
  recipe.colourRange = "tv";
  recipe.pixelFormat = "yuv420p10le";
  info = kivtest::InfoOf(OpenDecoder(MakeClip(recipe)));
  EXPECT_STREQ("bt601", info.colourMatrix);
  EXPECT_STREQ("limited", info.colourRange);
  EXPECT_EQ(10, info.bitDepth);
  EXPECT_STREQ("h264", info.codec);
}

}  // namespace
