#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "test/support/NumberedClip.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

// The leak sanitizer asks for this by name. The HEVC encoder keeps a few buffers for good.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libx265\n"; }

// And so does the thread sanitizer. Libraries built without it synchronize unseen.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
  return "called_from_lib:libavutil\ncalled_from_lib:libavcodec\ncalled_from_lib:libavformat\n"
         "called_from_lib:libx264\ncalled_from_lib:libx265\ncalled_from_lib:libvpx\n";
}

namespace kivtest {
namespace {

struct Free {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
  void operator()(AVBSFContext* context) const { av_bsf_free(&context); }
  void operator()(AVFormatContext* context) const {
    if (context->pb) avio_closep(&context->pb);
    avformat_free_context(context);
  }
};
template <typename T>
using Held = std::unique_ptr<T, Free>;

int Check(int result, const std::string& step) {
  if (result < 0) throw std::runtime_error("numbered clip: " + step + " failed");
  return result;
}

template <typename T>
T* Need(T* pointer, const std::string& step) {
  if (!pointer) throw std::runtime_error("numbered clip: no " + step);
  return pointer;
}

void Set(void* object, const char* name, const std::string& value) {
  if (!value.empty()) av_opt_set(object, name, value.c_str(), AV_OPT_SEARCH_CHILDREN);
}

// The text that libx264 puts into its first packet.
void PatchBuild(AVPacket* packet, int build) {
  constexpr std::string_view kMark = "x264 - core ";
  uint8_t* const end = packet->data + packet->size;
  uint8_t* const found = std::search(packet->data, end, kMark.begin(), kMark.end());
  if (found == end) return;
  for (uint8_t* digit = found + kMark.size() + 3; digit-- > found + kMark.size(); build /= 10) {
    *digit = static_cast<uint8_t>('0' + build % 10);
  }
}

class Encoder {
 public:
  Encoder(const ClipRecipe& recipe, const std::string& path) : recipe_(recipe) {
    AVFormatContext* format = nullptr;
    Check(avformat_alloc_output_context2(&format, nullptr, nullptr, path.c_str()), "muxer");
    format_.reset(format);
    OpenVideo();
    if (!recipe.audioCodec.empty()) OpenAudio();
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, "seekable", recipe.streamed ? 0 : -1, 0);
    Check(avio_open2(&format_->pb, path.c_str(), AVIO_FLAG_WRITE, nullptr, &options),
          "opening " + path);
    av_dict_free(&options);
    Set(format, "movflags", recipe.movflags);
    Set(format, "update", "1");  // of a picture file: it is no pattern
    if (recipe.startMilliseconds < 0) Set(format, "avoid_negative_ts", "disabled");
    Check(avformat_write_header(format, nullptr), "header");
  }

  void Run() {
    for (int number = 0; number < recipe_.frames; ++number) {
      EncodeVideo(number);
      while (audio_ && av_compare_ts(audioSamples_, {1, audio_->sample_rate}, TimeOf(number),
                                     video_->time_base) <= 0) {
        EncodeAudio();
      }
    }
    Drain(video_.get(), nullptr, videoStream_);
    if (audio_) Drain(audio_.get(), nullptr, audioStream_);
    Check(av_write_trailer(format_.get()), "trailer");
  }

 private:
  Held<AVCodecContext> NewEncoder(const std::string& name) const {
    const AVCodec* codec = Need(avcodec_find_encoder_by_name(name.c_str()), name);
    Held<AVCodecContext> encoder(Need(avcodec_alloc_context3(codec), "memory"));
    if (format_->oformat->flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    return encoder;
  }

  AVStream* OpenStream(AVCodecContext* encoder) {
    Check(avcodec_open2(encoder, nullptr, nullptr), "opening an encoder");
    AVStream* const stream = Need(avformat_new_stream(format_.get(), nullptr), "memory");
    Check(avcodec_parameters_from_context(stream->codecpar, encoder), "parameters");
    if (encoder->codec_type == AVMEDIA_TYPE_VIDEO) FilterParameters(*encoder, stream->codecpar);
    stream->time_base = encoder->time_base;
    stream->avg_frame_rate = encoder->framerate;
    return stream;
  }

  void FilterParameters(const AVCodecContext& encoder, AVCodecParameters* parameters) {
    if (recipe_.packetFilter.empty()) return;
    AVBSFContext* filter = nullptr;
    Check(av_bsf_list_parse_str(recipe_.packetFilter.c_str(), &filter), "packet filter");
    filter_.reset(filter);
    Check(avcodec_parameters_copy(filter_->par_in, parameters), "parameters");
    filter_->time_base_in = encoder.time_base;
    Check(av_bsf_init(filter_.get()), "packet filter");
    Check(avcodec_parameters_copy(parameters, filter_->par_out), "parameters");
  }

  // False when the filter drops the packet. None in use makes more of one.
  bool Refine(AVPacket* packet) {
    if (recipe_.x264Build > 0) PatchBuild(packet, recipe_.x264Build);
    if (!filter_) return true;
    Check(av_bsf_send_packet(filter_.get(), packet), "packet filter");
    const int received = av_bsf_receive_packet(filter_.get(), packet);
    if (received != AVERROR(EAGAIN)) Check(received, "packet filter");
    return received >= 0;
  }

  AVRational FrameLength() const {
    return {static_cast<int>(recipe_.rate.denominator), static_cast<int>(recipe_.rate.numerator)};
  }

  void OpenVideo() {
    video_ = NewEncoder(recipe_.codec);
    video_->width = recipe_.size.width;
    video_->height = recipe_.size.height;
    video_->pix_fmt = av_get_pix_fmt(recipe_.pixelFormat.c_str());
    const bool regular = recipe_.times.empty() && recipe_.startMilliseconds == 0;
    video_->time_base = regular ? FrameLength() : AVRational{1, 90000};
    if (recipe_.times.empty()) video_->framerate = av_inv_q(FrameLength());
    video_->gop_size = recipe_.gop;
    video_->max_b_frames = recipe_.bFrames;
    video_->thread_count = 1;
    if (!recipe_.openGop) video_->flags |= AV_CODEC_FLAG_CLOSED_GOP;
    SetCodecOptions(video_.get());
    videoStream_ = OpenStream(video_.get());
    if (recipe_.pixelFormat == "yuva420p") {
      av_dict_set(&videoStream_->metadata, "alpha_mode", "1", 0);
    }
    if (recipe_.rotation == 0 && !recipe_.mirrored) return;
    auto* const matrix = reinterpret_cast<int32_t*>(
        av_stream_new_side_data(videoStream_, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)));
    av_display_rotation_set(Need(matrix, "memory"), recipe_.rotation);
    av_display_matrix_flip(matrix, recipe_.mirrored, 0);
  }

  void SetCodecOptions(AVCodecContext* video) const {
    const std::string gop = std::to_string(recipe_.gop);
    const std::string groups = "keyint=" + gop + ":min-keyint=" + gop + ":scenecut=0:b-adapt=0" +
                               ":open-gop=" + (recipe_.openGop ? "1" : "0") +
                               (recipe_.encoderParameters.empty() ? "" : ":") +
                               recipe_.encoderParameters;
    if (recipe_.codec == "libx264") {
      Set(video, "preset", "veryfast");
      Set(video, "x264-params", groups);
    } else if (recipe_.codec == "libx265") {
      Set(video, "preset", "ultrafast");
      Set(video, "x265-params",
          groups + ":bframes=" + std::to_string(recipe_.bFrames) +
              ":log-level=none:pools=none:frame-threads=1");
    } else if (recipe_.codec.starts_with("mpeg") || recipe_.codec == "mjpeg") {
      video->flags |= AV_CODEC_FLAG_QSCALE;
      video->global_quality = 3 * FF_QP2LAMBDA;
      Set(video, "sc_threshold", "1000000000");  // or closed groups are refused
    } else if (recipe_.codec.starts_with("libvpx")) {
      video->bit_rate = 600'000;
      Set(video, "deadline", "realtime");
      Set(video, "cpu-used", "6");
      Set(video, "lag-in-frames", "12");
      Set(video, "auto-alt-ref", recipe_.pixelFormat == "yuva420p" ? "0" : "1");
    }
  }

  void OpenAudio() {
    audio_ = NewEncoder(recipe_.audioCodec);
    audio_->sample_rate = 48000;
    audio_->sample_fmt = audio_->codec->sample_fmts[0];
    av_channel_layout_default(&audio_->ch_layout, 1);
    audio_->time_base = {1, audio_->sample_rate};
    audioStream_ = OpenStream(audio_.get());
  }

  int64_t TimeOf(int number) const {
    const std::vector<int64_t>& times = recipe_.times;
    const int64_t start = recipe_.startMilliseconds * 90;
    if (times.empty()) return av_rescale_q(number, FrameLength(), video_->time_base) + start;
    const size_t last = times.size() - 1;
    const size_t at = std::min(static_cast<size_t>(number), last);
    const auto beyond = static_cast<int64_t>(static_cast<size_t>(number) - at);
    return (times[at] + beyond * (times[last] - times[last - 1])) * 90 + start;
  }

  // Until the next frame. A container that is not told cuts the last one off.
  int64_t DurationAt(int64_t time) const {
    int number = 0;
    while (number < recipe_.frames && TimeOf(number) < time) ++number;
    return TimeOf(number + 1) - TimeOf(number);
  }

  void EncodeVideo(int number) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(video_->pix_fmt);
    const bool alpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    const std::vector<uint8_t> bgra = DrawNumber(number, recipe_.size, alpha);
    Held<AVFrame> frame(Need(av_frame_alloc(), "memory"));
    frame->width = recipe_.size.width;
    frame->height = recipe_.size.height;
    frame->format = video_->pix_fmt;
    frame->pts = TimeOf(number);
    Check(av_frame_get_buffer(frame.get(), 0), "memory");
    if (video_->pix_fmt == AV_PIX_FMT_PAL8) {
      Paint(bgra, number, frame.get());
      return Drain(video_.get(), frame.get(), videoStream_);
    }
    scaler_.reset(
        Need(sws_getCachedContext(scaler_.release(), frame->width, frame->height, AV_PIX_FMT_BGRA,
                                  frame->width, frame->height, video_->pix_fmt, SWS_BILINEAR,
                                  nullptr, nullptr, nullptr),
             "scaler for " + recipe_.pixelFormat));
    const uint8_t* const planes[] = {bgra.data()};
    const int strides[] = {frame->width * 4};
    sws_scale(scaler_.get(), planes, strides, 0, frame->height, frame->data, frame->linesize);
    Drain(video_.get(), frame.get(), videoStream_);
  }

  // Greys, which the new palette has in the opposite order.
  void Paint(const std::vector<uint8_t>& bgra, int number, AVFrame* frame) const {
    const bool reversed = recipe_.newPaletteAt > 0 && number >= recipe_.newPaletteAt;
    auto* const palette = reinterpret_cast<uint32_t*>(frame->data[1]);
    for (uint32_t i = 0; i < 256; ++i) {
      palette[i] = 0xFF000000U | 0x010101U * (reversed ? 255 - i : i);
    }
    for (int y = 0; y < frame->height; ++y) {
      for (int x = 0; x < frame->width; ++x) {
        const uint8_t grey = bgra[4 * static_cast<size_t>(y * frame->width + x)];
        frame->data[0][y * frame->linesize[0] + x] =
            reversed ? static_cast<uint8_t>(255 - grey) : grey;
      }
    }
  }

  void EncodeAudio() {
    Held<AVFrame> frame(Need(av_frame_alloc(), "memory"));
    frame->nb_samples = audio_->frame_size > 0 ? audio_->frame_size : 1024;
    frame->format = audio_->sample_fmt;
    frame->sample_rate = audio_->sample_rate;
    av_channel_layout_copy(&frame->ch_layout, &audio_->ch_layout);
    frame->pts = audioSamples_;
    Check(av_frame_get_buffer(frame.get(), 0), "memory");
    av_samples_set_silence(frame->data, 0, frame->nb_samples, 1, audio_->sample_fmt);
    audioSamples_ += frame->nb_samples;
    Drain(audio_.get(), frame.get(), audioStream_);
  }

  // Gives the encoder a frame, or its end, and writes what comes out.
  void Drain(AVCodecContext* encoder, const AVFrame* frame, AVStream* stream) {
    Check(avcodec_send_frame(encoder, frame), "encoding");
    Held<AVPacket> packet(Need(av_packet_alloc(), "memory"));
    while (avcodec_receive_packet(encoder, packet.get()) >= 0) {
      packet->stream_index = stream->index;
      if (packet->duration == 0 && encoder == video_.get()) {
        packet->duration = DurationAt(packet->pts);
      }
      if (encoder == video_.get() && !Refine(packet.get())) continue;
      av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
      Check(av_interleaved_write_frame(format_.get(), packet.get()), "writing");
    }
  }

  const ClipRecipe& recipe_;
  Held<AVFormatContext> format_;
  Held<AVCodecContext> video_;
  Held<AVCodecContext> audio_;
  Held<SwsContext> scaler_;
  Held<AVBSFContext> filter_;
  AVStream* videoStream_ = nullptr;
  AVStream* audioStream_ = nullptr;
  int64_t audioSamples_ = 0;
};

}  // namespace

void EncodeClip(const ClipRecipe& recipe, const std::string& path) { Encoder(recipe, path).Run(); }

}  // namespace kivtest
