#include "test/media/WriterReadBack.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace {

class VideoReader {
 public:
  ~VideoReader() {
    avcodec_free_context(&decoder_);
    avformat_close_input(&file_);
    av_frame_free(&frame_);
    av_packet_free(&packet_);
    sws_freeContext(scaler_);
  }

  void Read(const std::string& path, ReadBack* out) {
    if (avformat_open_input(&file_, path.c_str(), nullptr, nullptr) < 0) return;
    if (avformat_find_stream_info(file_, nullptr) < 0 || file_->nb_streams != 1) return;
    const AVCodecParameters* parameters = file_->streams[0]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    decoder_ = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(decoder_, parameters);
    if (avcodec_open2(decoder_, codec, nullptr) < 0) return;
    out->opened = true;
    while (av_read_frame(file_, packet_) >= 0) {
      avcodec_send_packet(decoder_, packet_);
      av_packet_unref(packet_);
      ReceiveAll(out);
    }
    avcodec_send_packet(decoder_, nullptr);
    ReceiveAll(out);
    Describe(out);
  }

 private:
  void Describe(ReadBack* out) {
    const AVStream* stream = file_->streams[0];
    out->width = decoder_->width;
    out->height = decoder_->height;
    out->codec = avcodec_get_name(decoder_->codec_id);
    out->rateNumerator = stream->avg_frame_rate.num;
    out->rateDenominator = stream->avg_frame_rate.den;
    const AVRational aspect = av_guess_sample_aspect_ratio(file_, file_->streams[0], nullptr);
    out->aspectNumerator = aspect.num;
    out->aspectDenominator = aspect.den;
    out->matrix = decoder_->colorspace;
    out->primaries = decoder_->color_primaries;
    out->transfer = decoder_->color_trc;
    out->range = decoder_->color_range;
    out->pixelFormat = decoder_->pix_fmt;
  }

  void ReceiveAll(ReadBack* out) {
    while (avcodec_receive_frame(decoder_, frame_) >= 0) {
      out->times.push_back(static_cast<double>(frame_->best_effort_timestamp) *
                           av_q2d(file_->streams[0]->time_base));
      std::vector<uint8_t> bgra(static_cast<size_t>(frame_->width * frame_->height * 4));
      uint8_t* const rows[] = {bgra.data()};
      const int stride[] = {frame_->width * 4};
      scaler_ = sws_getCachedContext(
          scaler_, frame_->width, frame_->height, static_cast<AVPixelFormat>(frame_->format),
          frame_->width, frame_->height, AV_PIX_FMT_BGRA,
          SWS_POINT | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr);
      const int* matrix = sws_getCoefficients(frame_->colorspace);
      sws_setColorspaceDetails(scaler_, matrix, 0, matrix, 1, 0, 1 << 16, 1 << 16);
      sws_scale(scaler_, frame_->data, frame_->linesize, 0, frame_->height, rows, stride);
      out->pixels.push_back(std::move(bgra));
    }
  }

  AVFormatContext* file_ = nullptr;
  AVCodecContext* decoder_ = nullptr;
  AVFrame* frame_ = av_frame_alloc();
  AVPacket* packet_ = av_packet_alloc();
  SwsContext* scaler_ = nullptr;
};

}  // namespace

ReadBack ReadVideo(const std::string& path) {
  ReadBack result;
  VideoReader().Read(path, &result);
  return result;
}

std::string ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TestFolder::TestFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "kiv-test-XXXXXX").string();
  if (mkdtemp(name.data()) != nullptr) folder_ = name;
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::vector<std::string> TestFolder::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}
