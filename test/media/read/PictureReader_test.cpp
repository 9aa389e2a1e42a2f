// However one comes to a frame, it is the picture that FFmpeg's decoder gives for it in playing.
#include "engine/media/read/PictureReader.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string_view>

#include "engine/media/MediaFile.h"
#include "engine/media/keep/PictureCache.h"
#include "test/media/Clips.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace {

using kiv::AvPtr;

// Size, format and every visible sample, a palette's too.
size_t PrintOf(const AVFrame& picture) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const int bytes = av_image_get_buffer_size(format, picture.width, picture.height, 1);
  std::vector<uint8_t> samples(static_cast<size_t>(bytes));
  av_image_copy_to_buffer(samples.data(), bytes, picture.data, picture.linesize, format,
                          picture.width, picture.height, 1);
  const std::string_view text(reinterpret_cast<const char*>(samples.data()), samples.size());
  return std::hash<std::string_view>()(text) + static_cast<size_t>(picture.width * 31 + format);
}

// What comes out of a decoder of our own that is given every packet from the first on.
class Playing {
 public:
  explicit Playing(const std::string& path) {
    std::unique_ptr<kiv::MediaInput> input;
    if (Failed(kiv::MediaInput::Open(path, &input))) return;
    const int stream = input->VideoStreams().front();
    const AVCodecParameters& parameters = *input->Stream(stream)->codecpar;
    const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
    decoder_ = kiv::HoldAv(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(decoder_.get(), &parameters);
    decoder_->flags |= AV_CODEC_FLAG_UNALIGNED;
    decoder_->thread_count = 1;
    if (avcodec_open2(decoder_.get(), codec, nullptr) < 0) return;
    const AvPtr<AVPacket> packet = kiv::NewPacket();
    while (input->ReadPacket(stream, packet.get())) Send(packet.get());
    Send(nullptr);
  }

  std::vector<size_t> prints;
  KivSize size;  // of the last picture

 private:
  void Send(const AVPacket* packet) {
    avcodec_send_packet(decoder_.get(), packet);
    while (avcodec_receive_frame(decoder_.get(), picture_.get()) >= 0) {
      prints.push_back(PrintOf(*picture_));
      size = {picture_->width, picture_->height};
    }
  }

  AvPtr<AVCodecContext> decoder_;
  const AvPtr<AVFrame> picture_ = kiv::NewFrame();
};

struct ReaderCase {
  const char* name;
  kivtest::ClipRecipe recipe;
};

void PrintTo(const ReaderCase& value, std::ostream* out) { *out << value.name; }

class FreshReader : public testing::TestWithParam<ReaderCase> {
 protected:
  void SetUp() override {
    const std::string path = MakeClip(GetParam().recipe);
    const Playing playing(path);
    played_ = playing.prints;
    ASSERT_EQ(S_OK, kiv::MediaFile::Open(path, {}, &file_));
    ASSERT_EQ(S_OK, file_->Track(0, &track_));
    ASSERT_EQ(static_cast<int64_t>(played_.size()), track_->index->FrameCount());
    ASSERT_LE(60u, played_.size());
    EXPECT_EQ(playing.size, track_->info.size);
  }

  std::unique_ptr<kiv::PictureReader> NewReader(int threads = 0) const {
    std::unique_ptr<kiv::PictureReader> reader;
    EXPECT_EQ(S_OK, file_->NewReader(*track_, {.threads = threads, .name = {}}, &reader));
    return reader;
  }
  int Last() const { return static_cast<int>(played_.size()) - 1; }
  // The frames that are other pictures than in playing.
  template <typename Pictures>
  std::string Differing(Pictures& pictures, const std::vector<int>& order) const {
    std::string differing;
    for (const int frame : order) {
      const AVFrame* picture = nullptr;
      const bool read = Succeeded(pictures.At(frame, &picture));
      if (read && PrintOf(*picture) == played_[static_cast<size_t>(frame)]) continue;
      differing += std::to_string(frame) + " ";
    }
    return differing;
  }
  std::vector<int> Order() const {
    std::vector<int> order(played_.size());
    std::iota(order.begin(), order.end(), 0);
    return order;
  }

  std::vector<size_t> played_;
  std::shared_ptr<kiv::MediaFile> file_;
  std::shared_ptr<const kiv::VideoTrack> track_;
};

TEST_P(FreshReader, GivesThePicturesOfPlaying) {
  const std::vector<int> forwards = Order();
  const std::vector<int> backwards(forwards.rbegin(), forwards.rend());
  std::vector<int> shuffled = forwards;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
  for (const int threads : {0, 1}) {
    EXPECT_EQ("", Differing(*NewReader(threads), forwards));
    EXPECT_EQ("", Differing(*NewReader(threads), backwards));
    EXPECT_EQ("", Differing(*NewReader(threads), shuffled));
  }
}

TEST_P(FreshReader, GivesThePictureItIsFirstAskedFor) {
  for (int frame = 0; frame <= Last(); frame += 7) EXPECT_EQ("", Differing(*NewReader(), {frame}));
}

TEST_P(FreshReader, FillsACacheReadBackwards) {
  kiv::PictureCache cache(NewReader(), track_->index);
  cache.ExpectBackwards(true);
  const std::vector<int> forwards = Order();
  EXPECT_EQ("", Differing(cache, {forwards.rbegin(), forwards.rend()}));
}

constexpr char kReferredBPictures[] =
    "b-pyramid=normal:direct=spatial:ref=4:crf=10:subme=7:8x8dct=0";

const ReaderCase kCases[] = {
    // Builds up to 33 derived the motion of some blocks otherwise. Only the first packet tells.
    {"h264_build_33",
     {.size = {320, 192},
      .frames = 100,
      .gop = 20,
      .bFrames = 5,
      .encoderParameters = kReferredBPictures,
      .x264Build = 33}},
    {"h264_build_33_ts",
     {.container = "ts",
      .size = {320, 192},
      .frames = 100,
      .gop = 20,
      .bFrames = 5,
      .openGop = true,
      .encoderParameters = kReferredBPictures,
      .x264Build = 33}},
    {"h264_build_33_444_mkv",
     {.container = "mkv",
      .pixelFormat = "yuv444p",
      .size = {320, 192},
      .frames = 100,
      .gop = 20,
      .bFrames = 5,
      .encoderParameters = kReferredBPictures,
      .x264Build = 33}},
    {"pal8_avi", {.codec = "rawvideo", .container = "avi", .pixelFormat = "pal8"}},
    {"pal8_avi_two_palettes",
     {.codec = "rawvideo", .container = "avi", .pixelFormat = "pal8", .newPaletteAt = 30}},
    {"pal8_mov", {.codec = "rawvideo", .container = "mov", .pixelFormat = "pal8"}},
    {"grey_qtrle_mov", {.codec = "qtrle", .container = "mov", .pixelFormat = "gray"}},
    {"mpeg2_raw", {.codec = "mpeg2video", .container = "m2v", .bFrames = 2}},
    {"mpeg4_raw", {.codec = "mpeg4", .container = "m4v", .bFrames = 2}},
    // No key frame after the first: every picture is renewed by parts. Where x264 reorders them it
    // does not keep to what is renewed.
    {"refresh_12", {.frames = 120, .gop = 12, .encoderParameters = "intra-refresh=1"}},
    {"refresh_30_wide",
     {.size = {640, 64}, .frames = 150, .gop = 30, .encoderParameters = "intra-refresh=1"}},
    {"refresh_60", {.frames = 200, .gop = 60, .encoderParameters = "intra-refresh=1"}},
    {"refresh_12_b_frames",
     {.frames = 100, .gop = 12, .bFrames = 3, .encoderParameters = "intra-refresh=1"}},
    {"refresh_25_ts",
     {.container = "ts",
      .frames = 110,
      .gop = 25,
      .bFrames = 2,
      .encoderParameters = "intra-refresh=1"}},
    // The first packet belongs to a renewal: the clip begins with the first picture that is whole.
    {"refresh_cut",
     {.container = "ts",
      .frames = 130,
      .gop = 12,
      .encoderParameters = "intra-refresh=1",
      .packetFilter = "noise=drop=lt(n\\,24)"}},
    // The stream's own header cuts columns off, where no vector begins.
    {"h264_crop_2", {.bFrames = 2, .packetFilter = "h264_metadata=crop_left=2"}},
    {"h264_crop_32_mkv",
     {.container = "mkv", .packetFilter = "h264_metadata=crop_left=32:crop_top=2:crop_right=6"}},
    {"h264_10_bits_crop_10",
     {.pixelFormat = "yuv420p10le", .packetFilter = "h264_metadata=crop_left=10"}},
    {"h264_444_crop_5", {.pixelFormat = "yuv444p", .packetFilter = "h264_metadata=crop_left=5"}},
    {"hevc_crop_6", {.codec = "libx265", .packetFilter = "hevc_metadata=crop_left=6"}},
};

INSTANTIATE_TEST_SUITE_P(Clips, FreshReader, testing::ValuesIn(kCases),
                         [](const auto& clip) { return std::string(clip.param.name); });

}  // namespace
