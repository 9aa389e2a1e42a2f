#include "test/support/Remux.h"

#include <memory>
#include <stdexcept>

#include "test/support/NumberedClip.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace kivtest {
namespace {

constexpr AVRational kMilliseconds{1, 1000};

struct Free {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
template <typename T>
using Held = std::unique_ptr<T, Free>;

int Check(int result, const char* step) {
  if (result < 0) throw std::runtime_error(std::string("remux: ") + step + " failed");
  return result;
}

class Input {
 public:
  explicit Input(const std::string& path) {
    Check(avformat_open_input(&context_, path.c_str(), nullptr, nullptr), "opening");
    Check(avformat_find_stream_info(context_, nullptr), "probing");
    stream_ = Check(av_find_best_stream(context_, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0), "video");
  }
  ~Input() { avformat_close_input(&context_); }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  const AVStream& Stream() const { return *context_->streams[stream_]; }
  bool Next(AVPacket* packet) {
    do {
      av_packet_unref(packet);
      if (av_read_frame(context_, packet) < 0) return false;
    } while (packet->stream_index != stream_);
    return true;
  }

 private:
  AVFormatContext* context_ = nullptr;
  int stream_ = 0;
};

int NumberIn(const AVFrame& frame) {
  const Held<SwsContext> scaler(sws_getContext(
      frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
      frame.height, AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr));
  std::vector<uint8_t> bgra(static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height) *
                            4);
  uint8_t* const planes[] = {bgra.data()};
  const int strides[] = {frame.width * 4};
  sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
  return ReadNumber(bgra.data(), frame.width, frame.height);
}

}  // namespace

void Restamp(const std::string& from, const std::string& to,
             const std::function<int64_t(int, int64_t)>& change) {
  Input input(from);
  AVFormatContext* output = nullptr;
  Check(avformat_alloc_output_context2(&output, nullptr, "matroska", to.c_str()), "muxer");
  AVStream* const stream = avformat_new_stream(output, nullptr);
  Check(avcodec_parameters_copy(stream->codecpar, input.Stream().codecpar), "parameters");
  stream->codecpar->codec_tag = 0;
  stream->avg_frame_rate = input.Stream().avg_frame_rate;
  stream->time_base = kMilliseconds;
  Check(avio_open(&output->pb, to.c_str(), AVIO_FLAG_WRITE), "opening");
  Check(avformat_write_header(output, nullptr), "header");
  const Held<AVPacket> packet(av_packet_alloc());
  for (int number = 0; input.Next(packet.get()); ++number) {
    av_packet_rescale_ts(packet.get(), input.Stream().time_base, kMilliseconds);
    packet->pts = change(number, packet->pts);
    packet->dts = 0;  // the muxer asks for it and writes it nowhere
    packet->stream_index = 0;
    packet->pos = -1;
    Check(av_write_frame(output, packet.get()), "writing");
  }
  Check(av_write_trailer(output), "trailer");
  avio_closep(&output->pb);
  avformat_free_context(output);
}

std::vector<int> NumbersInOrder(const std::string& path) {
  Input input(path);
  const AVCodecParameters& parameters = *input.Stream().codecpar;
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  const Held<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  Check(avcodec_parameters_to_context(decoder.get(), &parameters), "parameters");
  decoder->thread_count = 1;
  Check(avcodec_open2(decoder.get(), codec, nullptr), "decoder");
  const Held<AVPacket> packet(av_packet_alloc());
  const Held<AVFrame> frame(av_frame_alloc());
  std::vector<int> numbers;
  for (bool more = true; more;) {
    more = input.Next(packet.get());
    avcodec_send_packet(decoder.get(), more ? packet.get() : nullptr);
    while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
      numbers.push_back(NumberIn(*frame));
    }
  }
  return numbers;
}

}  // namespace kivtest
