// Every frame of every kind of clip, in order and in any order, is the frame that was asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "test/media/Clips.h"
#include "test/support/LogCapture.h"

namespace {

struct AccessCase {
  const char* name;
  kivtest::ClipRecipe recipe;
};

void PrintTo(const AccessCase& value, std::ostream* out) { *out << value.name; }

const AccessCase kCases[] = {
    {"h264_23976", {.rate = {24000, 1001}, .bFrames = 3}},
    {"h264_one_group", {.gop = 250, .bFrames = 3}},
    {"h264_2997", {.rate = {30000, 1001}, .gop = 15}},
    {"h264_30", {.rate = {30, 1}, .gop = 7, .bFrames = 3}},
    {"h264_50_intra", {.rate = {50, 1}, .gop = 1}},
    {"h264_5994", {.rate = {60000, 1001}, .gop = 30, .bFrames = 3}},
    {"h264_120", {.rate = {120, 1}, .gop = 60, .bFrames = 3}},
    {"h264_open_groups", {.gop = 10, .bFrames = 3, .openGop = true}},
    // Pictures soon after the one that their decoding starts at, in the last group.
    {"h264_open_group_of_two", {.frames = 62, .bFrames = 3, .openGop = true}},
    {"h264_open_groups_of_six", {.frames = 24, .gop = 6, .bFrames = 3, .openGop = true}},
    {"h264_fragmented", {.bFrames = 3, .movflags = "frag_keyframe+empty_moov"}},
    {"h264_audio", {.rate = {30000, 1001}, .bFrames = 3, .audioCodec = "aac"}},
    {"h264_mkv_2997", {.container = "mkv", .rate = {30000, 1001}, .bFrames = 3}},
    {"h264_mkv_120", {.container = "mkv", .rate = {120, 1}, .bFrames = 2, .openGop = true}},
    {"h264_flv", {.container = "flv", .bFrames = 2}},
    {"h264_ts", {.container = "ts", .bFrames = 3, .openGop = true, .audioCodec = "mp2"}},
    {"h264_ts_23976", {.container = "ts", .rate = {24000, 1001}, .bFrames = 2}},
    {"h264_start_offset", {.bFrames = 3, .startMilliseconds = 1400}},
    {"h264_ts_start_offset", {.container = "ts", .bFrames = 3, .startMilliseconds = 5000}},
    {"h264_raw", {.container = "h264"}},
    {"h264_raw_b_frames", {.container = "h264", .bFrames = 3}},
    {"h264_10_bits", {.pixelFormat = "yuv420p10le", .bFrames = 3}},
    {"hevc_mp4", {.codec = "libx265", .bFrames = 3}},
    {"hevc_open_groups", {.codec = "libx265", .bFrames = 3, .openGop = true}},
    {"hevc_mkv", {.codec = "libx265", .container = "mkv", .bFrames = 4, .openGop = true}},
    {"hevc_raw", {.codec = "libx265", .container = "hevc", .bFrames = 2}},
    {"mpeg2_ps", {.codec = "mpeg2video", .container = "mpg", .bFrames = 2, .audioCodec = "mp2"}},
    {"mpeg2_ts", {.codec = "mpeg2video", .container = "ts", .bFrames = 2, .openGop = true}},
    {"mpeg2_raw", {.codec = "mpeg2video", .container = "m2v", .bFrames = 2}},
    {"mpeg4_avi", {.codec = "mpeg4", .container = "avi", .bFrames = 2}},
    {"mpeg4_mp4", {.codec = "mpeg4", .bFrames = 2, .openGop = true}},
    {"mjpeg_avi",
     {.codec = "mjpeg", .container = "avi", .pixelFormat = "yuvj420p", .audioCodec = "pcm_s16le"}},
    {"ffv1_mkv", {.codec = "ffv1", .container = "mkv", .pixelFormat = "yuv422p10le"}},
    {"prores_mov", {.codec = "prores_ks", .container = "mov", .pixelFormat = "yuv422p10le"}},
    {"qtrle_mov", {.codec = "qtrle", .container = "mov", .pixelFormat = "rgb24"}},
    {"vp8_webm", {.codec = "libvpx", .container = "webm"}},
    {"vp9_webm", {.codec = "libvpx-vp9", .container = "webm"}},
    {"gif", {.codec = "gif", .container = "gif", .pixelFormat = "rgb8", .rate = {10, 1}}},
    {"asf", {.codec = "mpeg4", .container = "asf"}},
    {"ogg_theora", {.codec = "libtheora", .container = "ogv"}},
    {"nut", {.codec = "mpeg4", .container = "nut", .bFrames = 2}},
};

class DecoderAccess : public testing::TestWithParam<AccessCase> {
 protected:
  // trunc(index x 10^7 / rate), as a chain's source asks for a frame.
  int64_t TimeOf(int64_t index) const {
    return static_cast<int64_t>(static_cast<double>(index * 10'000'000) / recipe_.rate.ToDouble());
  }
  void ExpectFrame(int frame) {
    ASSERT_EQ(frame, kivtest::CurrentNumber(decoder_)) << "at " << decoder_->GetCurrentTime();
    EXPECT_EQ(TimeOf(frame), decoder_->GetCurrentTime());
  }

  const kivtest::ClipRecipe& recipe_ = GetParam().recipe;
  const KivComPtr<IKivMediaDecoder> decoder_ = kivtest::OpenClip(recipe_);
};

TEST_P(DecoderAccess, OneByOneForwardsAndBack) {
  const KivStreamInfo info = kivtest::InfoOf(decoder_);
  EXPECT_EQ(recipe_.frames, info.frameCount);
  EXPECT_EQ(recipe_.rate, info.frameRate);
  EXPECT_EQ(1, info.constantRate);
  EXPECT_EQ(recipe_.size, info.size);
  EXPECT_EQ(TimeOf(recipe_.frames), info.duration);
  EXPECT_EQ(recipe_.audioCodec.empty() ? 0 : 1, info.audioStreams);
  const int last = recipe_.frames - 1;
  int32_t moved = -1;
  for (int frame = 0; frame <= last; ++frame) {
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
    ASSERT_EQ(S_OK, decoder_->Skip(1, &moved));
    EXPECT_EQ(frame < last ? 1 : 0, moved);
  }
  for (int frame = last; frame >= 0; --frame) {
    ASSERT_EQ(S_OK, decoder_->Skip(-1, &moved));
    EXPECT_EQ(frame < last ? -1 : 0, moved) << "one step had led behind the end";
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
  }
}

TEST_P(DecoderAccess, InAnyOrder) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  int frame = 0;
  for (int i = 0; i < 60; ++i) {
    const int target = static_cast<int>(random() % static_cast<unsigned>(recipe_.frames));
    if (random() % 2 == 0) {
      ASSERT_EQ(S_OK, decoder_->Seek(TimeOf(target), static_cast<int>(random() % 2)));
    } else {
      int32_t moved = 0;
      ASSERT_EQ(S_OK, decoder_->Skip(target - frame, &moved));
      EXPECT_EQ(target - frame, moved);
    }
    frame = target;
    if (random() % 4 == 0) continue;  // several moves between two reads
    SCOPED_TRACE("step " + std::to_string(i));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
  }
}

INSTANTIATE_TEST_SUITE_P(Clips, DecoderAccess, testing::ValuesIn(kCases),
                         [](const auto& clip) { return std::string(clip.param.name); });

// Groups that refer to the one before: FFmpeg complains at each start in the middle.
TEST(DecoderLog, SeekingIsNoFault) {
  const auto decoder = kivtest::OpenClip({.gop = 10, .bFrames = 3, .openGop = true});
  const auto seek = [&decoder] {
    for (int frame = 55; frame > 0; frame -= 11) {
      EXPECT_EQ(frame, kivtest::NumberAt(decoder, frame * int64_t{400'000}));
    }
  };
  test::LogCapture log;
  seek();
  EXPECT_TRUE(log.lines.empty());
  kiv::SetLogLevel(LogLevel::kDetail);
  for (int i = 0; i < 5; ++i) seek();
  kiv::SetLogLevel(LogLevel::kFailure);
  const auto isComplaint = [](const auto& line) {
    return line.second.ends_with("mmco: unref short failure");
  };
  EXPECT_EQ(1, std::count_if(log.lines.begin(), log.lines.end(), isComplaint));
}

}  // namespace
