// Every frame of every kind of clip, in order and in any order, is the frame that was asked for.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "test/media/Clips.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::CurrentNumber;
using kivtest::FrameTime;
using kivtest::OpenDecoder;

struct AccessCase {
  const char* name;
  ClipRecipe recipe;
};

void PrintTo(const AccessCase& value, std::ostream* out) { *out << value.name; }

ClipRecipe H264(KivRational rate, int gop, int bFrames, bool openGop = false) {
  ClipRecipe recipe;
  recipe.rate = rate;
  recipe.gop = gop;
  recipe.bFrames = bFrames;
  recipe.openGop = openGop;
  return recipe;
}

ClipRecipe Clip(const char* codec, const char* container, int bFrames = 0, bool openGop = false,
                const char* pixelFormat = "yuv420p") {
  ClipRecipe recipe;
  recipe.codec = codec;
  recipe.container = container;
  recipe.bFrames = bFrames;
  recipe.openGop = openGop;
  recipe.pixelFormat = pixelFormat;
  return recipe;
}

ClipRecipe WithAudio(ClipRecipe recipe, const char* codec) {
  recipe.audioCodec = codec;
  return recipe;
}

ClipRecipe At(ClipRecipe recipe, KivRational rate) {
  recipe.rate = rate;
  return recipe;
}

ClipRecipe Starting(ClipRecipe recipe, int64_t milliseconds) {
  recipe.startMilliseconds = milliseconds;
  return recipe;
}

ClipRecipe Fragmented(ClipRecipe recipe) {
  recipe.muxerOptions = {{"movflags", "frag_keyframe+empty_moov"}};
  return recipe;
}

const AccessCase kCases[] = {
    {"h264_23976", H264({24000, 1001}, 12, 3)},
    {"h264_24", H264({24, 1}, 24, 2)},
    {"h264_25", H264({25, 1}, 250, 3)},
    {"h264_2997", H264({30000, 1001}, 15, 0)},
    {"h264_30", H264({30, 1}, 7, 3)},
    {"h264_50", H264({50, 1}, 1, 0)},
    {"h264_5994", H264({60000, 1001}, 30, 3)},
    {"h264_120", H264({120, 1}, 60, 3)},
    {"h264_open_groups", H264({25, 1}, 10, 3, true)},
    {"h264_fragmented", Fragmented(H264({25, 1}, 12, 3))},
    {"h264_audio", WithAudio(H264({30000, 1001}, 12, 3), "aac")},
    {"h264_mkv_milliseconds", At(Clip("libx264", "mkv", 3), {30000, 1001})},
    {"h264_mkv_5994", At(Clip("libx264", "mkv", 3), {60000, 1001})},
    {"h264_mkv_120", At(Clip("libx264", "mkv", 2, true), {120, 1})},
    {"h264_flv", Clip("libx264", "flv", 2)},
    {"h264_ts", Clip("libx264", "ts", 3)},
    {"h264_ts_open_audio", WithAudio(Clip("libx264", "ts", 3, true), "mp2")},
    {"h264_ts_23976", At(Clip("libx264", "ts", 2), {24000, 1001})},
    {"h264_start_offset", Starting(H264({25, 1}, 12, 3), 1400)},
    {"h264_ts_start_offset", Starting(Clip("libx264", "ts", 3), 5000)},
    {"h264_raw", Clip("libx264", "h264")},
    {"h264_raw_b_frames", Clip("libx264", "h264", 3)},
    {"h264_10_bits", Clip("libx264", "mp4", 3, false, "yuv420p10le")},
    {"h264_444", Clip("libx264", "mov", 3, false, "yuv444p")},
    {"hevc_mp4", Clip("libx265", "mp4", 3)},
    {"hevc_open_groups", Clip("libx265", "mp4", 3, true)},
    {"hevc_mkv_open_groups", Clip("libx265", "mkv", 4, true)},
    {"hevc_raw", Clip("libx265", "hevc", 2)},
    {"mpeg2_ps", Clip("mpeg2video", "mpg", 2, true)},
    {"mpeg2_ps_audio", WithAudio(Clip("mpeg2video", "mpg", 2), "mp2")},
    {"mpeg2_ts", Clip("mpeg2video", "ts", 2, true)},
    {"mpeg2_raw", Clip("mpeg2video", "m2v", 2)},
    {"mpeg4_avi", Clip("mpeg4", "avi")},
    {"mpeg4_avi_b_frames", Clip("mpeg4", "avi", 2)},
    {"mpeg4_mp4_b_frames", Clip("mpeg4", "mp4", 2, true)},
    {"mjpeg_avi", WithAudio(Clip("mjpeg", "avi", 0, false, "yuvj420p"), "pcm_s16le")},
    {"ffv1_mkv", Clip("ffv1", "mkv", 0, false, "yuv422p10le")},
    {"prores_mov", Clip("prores_ks", "mov", 0, false, "yuv422p10le")},
    {"qtrle_mov", Clip("qtrle", "mov", 0, false, "rgb24")},
    {"png_mov", Clip("png", "mov", 0, false, "rgba")},
    {"vp8_webm", Clip("libvpx", "webm")},
    {"vp9_webm", Clip("libvpx-vp9", "webm")},
    {"vp8_webm_alpha", Clip("libvpx", "webm", 0, false, "yuva420p")},
    {"gif", At(Clip("gif", "gif", 0, false, "rgb8"), {10, 1})},
    {"asf", Clip("mpeg4", "asf")},
    {"ogg_theora", Clip("libtheora", "ogv")},
    {"nut", Clip("mpeg4", "nut", 2)},
};

class DecoderAccess : public testing::TestWithParam<AccessCase> {
 protected:
  void SetUp() override {
    decoder_ = OpenDecoder(kivtest::MakeClip(spec_));
    ASSERT_TRUE(decoder_);
  }

  void ExpectFrame(int frame) {
    ASSERT_EQ(frame, CurrentNumber(decoder_.Get())) << "at time " << decoder_->GetCurrentTime();
  }

  const ClipRecipe& spec_ = GetParam().recipe;
  KivComPtr<IKivMediaDecoder> decoder_;
};

TEST_P(DecoderAccess, TheStreamIsDescribed) {
  const KivStreamInfo info = kivtest::InfoOf(decoder_);
  EXPECT_EQ(spec_.frames, info.frameCount);
  EXPECT_EQ(spec_.rate, info.frameRate);
  EXPECT_EQ(1, info.constantRate);
  EXPECT_EQ(spec_.size, info.size);
  EXPECT_EQ(FrameTime(spec_.frames, spec_.rate), info.duration);
  EXPECT_EQ(spec_.audioCodec.empty() ? 0 : 1, info.audioStreams);
}

TEST_P(DecoderAccess, ForwardsOneByOne) {
  for (int frame = 0; frame < spec_.frames; ++frame) {
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
    EXPECT_EQ(FrameTime(frame, spec_.rate), decoder_->GetCurrentTime());
    int32_t moved = -1;
    ASSERT_EQ(S_OK, decoder_->Skip(1, &moved));
    EXPECT_EQ(frame + 1 < spec_.frames ? 1 : 0, moved);
  }
}

TEST_P(DecoderAccess, BackwardsOneByOne) {
  ASSERT_EQ(S_OK, decoder_->Seek(FrameTime(spec_.frames - 1, spec_.rate), 0));
  for (int frame = spec_.frames - 1; frame >= 0; --frame) {
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
    int32_t moved = 7;
    ASSERT_EQ(S_OK, decoder_->Skip(-1, &moved));
    EXPECT_EQ(frame > 0 ? -1 : 0, moved);
  }
}

TEST_P(DecoderAccess, InAnyOrder) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  int frame = 0;
  for (int i = 0; i < 60; ++i) {
    const int target = static_cast<int>(random() % static_cast<unsigned>(spec_.frames));
    if (random() % 2 == 0) {
      ASSERT_EQ(S_OK,
                decoder_->Seek(FrameTime(target, spec_.rate), static_cast<int>(random() % 2)));
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

}  // namespace
