// Files that are no media, not ours to open, or damaged: a result, never a crash or a hang.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <random>

#include "engine/base/CountedObject.h"
#include "test/media/Clips.h"
#include "test/support/TestFolder.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::MakeClip;
using kivtest::TemporaryPath;

HRESULT TryOpen(const std::string& path) {
  HRESULT result = S_OK;
  kivtest::OpenDecoder(path, 0, &result);
  return result;
}

std::string FileOf(const std::string& name, const std::string& bytes) {
  const std::string path = TemporaryPath(name);
  WriteBytes(path, bytes);
  return path;
}

TEST(HostileMedia, WhatIsNoRegularFileIsRefused) {
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(std::filesystem::temp_directory_path().string()));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen("/dev/zero"));
  const std::string pipe = TemporaryPath("pipe.mp4");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  EXPECT_EQ(E_UNSUPPORTED, TryOpen(pipe));
  for (const char* address :
       {"", "missing.mp4", "http://localhost/clip.mp4", "concat:a.mp4|b.mp4", "pipe:0",
        "file:clip.mp4", "lavfi:testsrc", "subfile,,start,0,end,0,,:a.mp4"}) {
    EXPECT_EQ(E_NOTFOUND, TryOpen(address)) << address;
  }
}

TEST(HostileMedia, ListsOfOtherFilesAndTextsAreRefused) {
  const std::string clip = MakeClip({.container = "ts"});
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
  const std::pair<const char*, std::string> files[] = {
      {"list.m3u8", m3u8},       {"list.mp4", m3u8},
      {"list.ffconcat", concat}, {"list.txt", concat},
      {"session.sdp", sdp},      {"list.mpd", dash},
      {"empty.mp4", ""},         {"notes.txt", "nothing to see\n"}};
  for (const auto& [name, bytes] : files) {
    EXPECT_EQ(E_UNSUPPORTED, TryOpen(FileOf(name, bytes))) << name;
  }
}

TEST(HostileMedia, AbsurdSizesAndRatesTakeNoMemoryAndNoTime) {
  for (const char* size : {"W100000 H100000", "W32769 H16", "W32768 H32768", "W0 H0", "W-5 H7"}) {
    const std::string text = std::string("YUV4MPEG2 ") + size + " F25:1 Ip A1:1 C420jpeg\nFRAME\n";
    EXPECT_TRUE(Failed(TryOpen(FileOf("size.y4m", text + std::string(1000, 'x'))))) << size;
  }
  for (const char* rate : {"F0:0", "F1000000000:1", "F1:1000000000", "F2147483647:2147483647"}) {
    const std::string picture = "FRAME\n" + std::string(16 * 16 * 3 / 2, 'x');
    const std::string text = std::string("YUV4MPEG2 W16 H16 ") + rate + " Ip C420jpeg\n";
    const auto decoder =
        kivtest::OpenDecoder(FileOf("rate.y4m", text + picture + picture + picture));
    if (!decoder) continue;
    const KivStreamInfo info = kivtest::InfoOf(decoder);
    EXPECT_EQ(3, info.frameCount) << rate;
    EXPECT_GT(info.frameRate.ToDouble(), 0) << rate;
    decoder->Seek(INT64_MAX, 0);
    EXPECT_TRUE(kivtest::CurrentFrame(decoder)) << rate;
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
    ASSERT_TRUE(!frame || frame->GetBitmap()->GetWidth() == 64);
    int64_t time = 0;
    decoder.As<IKivStreamInfo>()->GetFrameTime(orders[i % 6], &time, nullptr, nullptr);
    i < 20 ? decoder->Skip(1, nullptr) : decoder->Seek(time, i % 2);
  }
}

struct DamageCase {
  const char* name;
  int mutations;
  ClipRecipe recipe;
  bool twice = false;  // one after the other
};

void PrintTo(const DamageCase& value, std::ostream* out) { *out << value.name; }

class DamagedClip : public testing::TestWithParam<DamageCase> {
 protected:
  void SetUp() override {
    ClipRecipe recipe = GetParam().recipe;
    recipe.size = {96, 64};
    recipe.frames = 24;
    // The sample is the footage that comes with the sources.
    const bool sample = std::string(GetParam().name) == "sample";
    bytes_ = ReadBytes(sample ? KIV_SAMPLES "/city.mp4" : MakeClip(recipe));
    if (bytes_.empty()) GTEST_SKIP() << "no sample";
    if (GetParam().twice) bytes_ += bytes_;
    path_ = TemporaryPath("damaged." + recipe.container);
  }
  void TearDown() override { EXPECT_EQ(objects_, kiv::LiveObjectCount()); }

  void ExerciseWith(const std::string& bytes) {
    WriteBytes(path_, bytes);
    ASSERT_NO_FATAL_FAILURE(Exercise(path_));
  }

  std::string bytes_;
  std::string path_;
  const int64_t objects_ = kiv::LiveObjectCount();
};

TEST_P(DamagedClip, CutShortAtAnyPlaceStillBehaves) {
  for (size_t part = 1; part < 24; ++part) {
    SCOPED_TRACE(part);
    ExerciseWith(bytes_.substr(0, bytes_.size() * part / 24));
  }
}

TEST_P(DamagedClip, WithFlippedBitsStillBehaves) {
  // The same damage every time; another seed is for whoever goes looking for more.
  const char* const named = std::getenv("KIV_TEST_SEED");
  const auto seed = static_cast<unsigned>(named ? std::strtoul(named, nullptr, 10) : 1);
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < GetParam().mutations; ++i) {
    SCOPED_TRACE("mutation " + std::to_string(i));
    std::string bytes = bytes_;
    // Every other time in the head, where the tables are.
    const size_t reach = i % 2 == 0 ? bytes.size() : std::min<size_t>(bytes.size(), 1024);
    for (auto flips = random() % 12 + 1; flips > 0; --flips) {
      bytes[random() % reach] ^= static_cast<char>(1u << (random() % 8));
    }
    ExerciseWith(bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, DamagedClip,
    testing::Values(
        DamageCase{"sample", 200, {}}, DamageCase{"mp4", 120, {.bFrames = 2}},
        DamageCase{"mkv", 80, {.container = "mkv", .bFrames = 2}},
        DamageCase{"ts", 60, {.container = "ts", .bFrames = 2}},
        DamageCase{"hevc", 40, {.codec = "libx265", .bFrames = 2}},
        DamageCase{"avi", 60, {.codec = "mpeg4", .container = "avi", .bFrames = 2}},
        DamageCase{"mpg", 60, {.codec = "mpeg2video", .container = "mpg", .bFrames = 2}},
        DamageCase{"ts_twice", 60, {.container = "ts", .bFrames = 2}, true},
        DamageCase{
            "mpg_twice", 60, {.codec = "mpeg2video", .container = "mpg", .bFrames = 2}, true},
        DamageCase{"webm", 40, {.codec = "libvpx-vp9", .container = "webm"}},
        DamageCase{"ffv1", 30, {.codec = "ffv1", .container = "mkv"}},
        DamageCase{"gif", 30, {.codec = "gif", .container = "gif", .pixelFormat = "rgb8"}}),
    [](const auto& clip) { return std::string(clip.param.name); });

}  // namespace
