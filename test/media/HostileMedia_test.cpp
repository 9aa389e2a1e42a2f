// Files that are no media, not ours to open, or damaged: a result, never a crash or a hang.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <random>

#include "engine/common/CountedObject.h"
#include "test/media/Clips.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::MakeClip;
using kivtest::TemporaryPath;
using kivtest::TryOpen;

std::string TextFile(const std::string& name, const std::string& text) {
  const std::string path = TemporaryPath(name);
  kivtest::WriteFile(path, {text.begin(), text.end()});
  return path;
}

TEST(HostileMedia, WhatIsNoRegularFileIsRefused) {
  EXPECT_EQ(E_NOTFOUND, TryOpen(TemporaryPath("missing.mp4")));
  EXPECT_EQ(E_NOTFOUND, TryOpen(""));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(std::filesystem::temp_directory_path().string()));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("empty.mp4", "")));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen("/dev/zero"));
  const std::string pipe = TemporaryPath("pipe.mp4");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(pipe));
  for (const char* address : {"http://localhost/clip.mp4", "concat:a.mp4|b.mp4", "pipe:0",
                              "file:clip.mp4", "lavfi:testsrc", "subfile,,start,0,end,0,,:a.mp4"}) {
    EXPECT_EQ(E_NOTFOUND, TryOpen(address)) << address;
  }
}

TEST(HostileMedia, ListsThatNameOtherFilesAreRefused) {
  ClipRecipe recipe;
  recipe.container = "ts";
  const std::string clip = MakeClip(recipe);
  const std::string m3u8 = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXTINF:2.4,\n" +
                           clip + "\n#EXT-X-ENDLIST\n";
  const std::string concat = "ffconcat version 1.0\nfile '" + clip + "'\n";
  const std::string sdp =
      "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
      "m=video 5004 RTP/AVP 96\na=rtpmap:96 H264/90000\n";
  const std::string dash =
      "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\"><Period>"
      "<AdaptationSet><Representation><BaseURL>" +
      clip + "</BaseURL></Representation></AdaptationSet></Period></MPD>";
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("list.m3u8", m3u8)));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("list.mp4", m3u8)));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("list.ffconcat", concat)));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("list.txt", concat)));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("session.sdp", sdp)));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("list.mpd", dash)));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("notes.txt", "nothing to see\n")));
}

TEST(HostileMedia, WithoutVideoIsRefused) {
  const std::string silence = std::string("RIFF\x24\x04\0\0WAVEfmt \x10\0\0\0\1\0\1\0", 24) +
                              std::string("\x80\xbb\0\0\0\x77\1\0\2\0\x10\0data\0\4\0\0", 20) +
                              std::string(1024, '\0');
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(TextFile("silence.wav", silence)));
}

TEST(HostileMedia, AbsurdSizesAndRatesTakeNoMemoryAndNoTime) {
  for (const char* size : {"W100000 H100000", "W32769 H16", "W32768 H32768", "W0 H0", "W-5 H7"}) {
    const std::string text = std::string("YUV4MPEG2 ") + size + " F25:1 Ip A1:1 C420jpeg\nFRAME\n";
    EXPECT_TRUE(Failed(TryOpen(TextFile("size.y4m", text + std::string(1000, 'x'))))) << size;
  }
  for (const char* rate : {"F0:0", "F1000000000:1", "F1:1000000000", "F2147483647:2147483647"}) {
    const std::string picture = "FRAME\n" + std::string(16 * 16 * 3 / 2, 'x');
    const std::string text = std::string("YUV4MPEG2 W16 H16 ") + rate + " Ip C420jpeg\n";
    const auto decoder =
        kivtest::OpenDecoder(TextFile("rate.y4m", text + picture + picture + picture));
    if (!decoder) continue;
    const KivStreamInfo info = kivtest::InfoOf(decoder);
    EXPECT_EQ(3, info.frameCount) << rate;
    EXPECT_GT(info.frameRate.numerator, 0) << rate;
    EXPECT_GT(info.frameRate.denominator, 0) << rate;
    decoder->Seek(INT64_MAX, 0);
    KivComPtr<IKivFrame> frame;
    EXPECT_EQ(S_OK, decoder->ReadCurrentFrame(&frame)) << rate;
  }
}

// Reads on, seeks about and switches sizes; whatever comes out is a result or a frame of that size.
void Exercise(const std::string& path) {
  const auto decoder = kivtest::OpenDecoder(path);
  if (!decoder) return;
  const int count = kivtest::InfoOf(decoder).frameCount;
  ASSERT_GT(count, 0);
  const KivSize size{64, 48};
  decoder.As<IKivDecoderSize>()->SetOutputSize(&size);
  const int orders[] = {count - 1, count / 2, 0, count / 3, count - 2, 1};
  for (int i = 0; i < 30; ++i) {
    KivComPtr<IKivFrame> frame;
    const HRESULT hr = decoder->ReadCurrentFrame(&frame);
    ASSERT_EQ(Succeeded(hr), static_cast<bool>(frame));
    if (frame) {
      ASSERT_EQ(64, frame->GetBitmap()->GetWidth());
    }
    if (i < 20) {
      decoder->Skip(1, nullptr);
    } else {
      int64_t time = 0;
      decoder.As<IKivStreamInfo>()->GetFrameTime(orders[i % 6], &time, nullptr, nullptr);
      decoder->Seek(time, i % 2);
    }
  }
}

struct DamageCase {
  const char* name;
  const char* codec;
  const char* container;
  int mutations;
};

void PrintTo(const DamageCase& value, std::ostream* out) { *out << value.name; }

class DamagedClip : public testing::TestWithParam<DamageCase> {
 protected:
  void SetUp() override {
    ClipRecipe recipe;
    recipe.codec = GetParam().codec;
    recipe.container = GetParam().container;
    recipe.size = {96, 64};
    recipe.frames = 24;
    recipe.bFrames = recipe.codec == "libvpx-vp9" || recipe.codec == "ffv1" ? 0 : 2;
    if (recipe.codec == "gif") recipe.pixelFormat = "rgb8";
    bytes_ = kivtest::ReadFile(MakeClip(recipe));
    path_ = TemporaryPath("damaged." + recipe.container);
    objects_ = kiv::LiveObjectCount();
    start_ = std::chrono::steady_clock::now();
  }
  void TearDown() override {
    EXPECT_EQ(objects_, kiv::LiveObjectCount());
    EXPECT_LT(std::chrono::steady_clock::now() - start_, std::chrono::minutes(5));
  }

  std::vector<uint8_t> bytes_;
  std::string path_;
  int64_t objects_ = 0;
  std::chrono::steady_clock::time_point start_;
};

TEST_P(DamagedClip, CutShortAtAnyPlaceStillBehaves) {
  for (size_t part = 1; part < 24; ++part) {
    const auto size = static_cast<std::ptrdiff_t>(bytes_.size() * part / 24);
    kivtest::WriteFile(path_, {bytes_.begin(), bytes_.begin() + size});
    SCOPED_TRACE(std::to_string(size) + " bytes");
    ASSERT_NO_FATAL_FAILURE(Exercise(path_));
  }
}

TEST_P(DamagedClip, WithFlippedBitsStillBehaves) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < GetParam().mutations; ++i) {
    SCOPED_TRACE("mutation " + std::to_string(i));
    std::vector<uint8_t> bytes = bytes_;
    // Every other time in the head, where the tables are.
    const size_t reach = i % 2 == 0 ? bytes.size() : std::min<size_t>(bytes.size(), 1024);
    for (auto flips = random() % 12 + 1; flips > 0; --flips) {
      bytes[random() % reach] ^= static_cast<uint8_t>(1u << (random() % 8));
    }
    kivtest::WriteFile(path_, bytes);
    ASSERT_NO_FATAL_FAILURE(Exercise(path_));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, DamagedClip,
    testing::Values(DamageCase{"mp4", "libx264", "mp4", 120},
                    DamageCase{"mkv", "libx264", "mkv", 80}, DamageCase{"ts", "libx264", "ts", 60},
                    DamageCase{"hevc", "libx265", "mp4", 40}, DamageCase{"avi", "mpeg4", "avi", 60},
                    DamageCase{"mpg", "mpeg2video", "mpg", 60},
                    DamageCase{"webm", "libvpx-vp9", "webm", 40},
                    DamageCase{"ffv1", "ffv1", "mkv", 30}, DamageCase{"gif", "gif", "gif", 30}),
    [](const auto& clip) { return std::string(clip.param.name); });

// The footage that comes with the sources.
TEST(DamagedSample, WithFlippedBitsStillBehaves) {
  const std::vector<uint8_t> sample = kivtest::ReadFile(KIV_SAMPLES "/city.mp4");
  if (sample.empty()) GTEST_SKIP() << "no sample";
  const std::string path = TemporaryPath("city.mp4");
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < 40; ++i) {
    SCOPED_TRACE("mutation " + std::to_string(i));
    std::vector<uint8_t> bytes = sample;
    for (auto flips = random() % 30 + 1; flips > 0; --flips) {
      bytes[random() % bytes.size()] ^= static_cast<uint8_t>(1u << (random() % 8));
    }
    kivtest::WriteFile(path, bytes);
    ASSERT_NO_FATAL_FAILURE(Exercise(path));
  }
}

}  // namespace
