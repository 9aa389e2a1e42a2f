#include "test/support/ClipEncoder.h"

#include <memory>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
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

class Options {
 public:
  explicit Options(const std::vector<std::pair<std::string, std::string>>& pairs) {
    for (const auto& [name, value] : pairs) Set(name, value);
  }
  ~Options() { av_dict_free(&dictionary_); }
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;

  void Set(const std::string& name, const std::string& value) {
    av_dict_set(&dictionary_, name.c_str(), value.c_str(), 0);
  }
  AVDictionary** Data() { return &dictionary_; }

 private:
  AVDictionary* dictionary_ = nullptr;
};

class Encoder {
 public:
  Encoder(const ClipSpec& spec, const std::string& path) : spec_(spec) {
    AVFormatContext* format = nullptr;
    Check(avformat_alloc_output_context2(&format, nullptr, nullptr, path.c_str()), "muxer");
    format_.reset(format);
    OpenVideo();
    if (!spec.audioCodec.empty()) OpenAudio();
    Check(avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE), "opening " + path);
    Options options(spec.muxerOptions);
    if (spec.startMilliseconds < 0) options.Set("avoid_negative_ts", "disabled");
    Check(avformat_write_header(format_.get(), options.Data()), "header");
  }

  void Run() {
    for (int number = 0; number < spec_.frames; ++number) {
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
  void OpenVideo() {
    const AVCodec* codec = Need(avcodec_find_encoder_by_name(spec_.codec.c_str()), spec_.codec);
    video_.reset(Need(avcodec_alloc_context3(codec), "memory"));
    video_->width = spec_.size.width;
    video_->height = spec_.size.height;
    video_->pix_fmt = av_get_pix_fmt(spec_.pixelFormat.c_str());
    const AVRational rate{static_cast<int>(spec_.rate.numerator),
                          static_cast<int>(spec_.rate.denominator)};
    const bool regular = spec_.times.empty() && spec_.startMilliseconds == 0;
    video_->time_base = regular ? av_inv_q(rate) : AVRational{1, 90000};
    if (spec_.times.empty()) video_->framerate = rate;
    video_->gop_size = spec_.gop;
    video_->max_b_frames = spec_.bFrames;
    video_->thread_count = 1;
    if (!spec_.openGop) video_->flags |= AV_CODEC_FLAG_CLOSED_GOP;
    SetQuality();
    SetColours();
    if (format_->oformat->flags & AVFMT_GLOBALHEADER) video_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    Options options(spec_.codecOptions);
    AddCodecOptions(&options);
    Check(avcodec_open2(video_.get(), codec, options.Data()), "opening " + spec_.codec);
    AddVideoStream();
  }

  void SetQuality() {
    if (spec_.codec.rfind("mpeg", 0) == 0 || spec_.codec == "mjpeg") {
      video_->flags |= AV_CODEC_FLAG_QSCALE;
      video_->global_quality = 3 * FF_QP2LAMBDA;
    } else if (spec_.codec.rfind("libvpx", 0) == 0) {
      video_->bit_rate = 600'000;
    }
  }

  void SetColours() {
    if (!spec_.colourMatrix.empty()) {
      video_->colorspace =
          static_cast<AVColorSpace>(av_color_space_from_name(spec_.colourMatrix.c_str()));
    }
    if (!spec_.colourRange.empty()) {
      video_->color_range =
          static_cast<AVColorRange>(av_color_range_from_name(spec_.colourRange.c_str()));
    }
  }

  void AddCodecOptions(Options* options) {
    const std::string keys = "keyint=" + std::to_string(spec_.gop) +
                             ":min-keyint=" + std::to_string(spec_.gop) + ":scenecut=0";
    const std::string open = std::string(":open-gop=") + (spec_.openGop ? "1" : "0");
    if (spec_.codec == "libx264") {
      options->Set("preset", "veryfast");
      options->Set("x264-params", keys + open + ":b-adapt=0");
    } else if (spec_.codec == "libx265") {
      options->Set("preset", "ultrafast");
      options->Set("x265-params", keys + open +
                                      ":b-adapt=0:bframes=" + std::to_string(spec_.bFrames) +
                                      ":log-level=none:pools=none:frame-threads=1");
    } else if (spec_.codec.rfind("mpeg", 0) == 0 || spec_.codec == "mjpeg") {
      options->Set("sc_threshold", "1000000000");  // or closed groups are refused
    } else if (spec_.codec.rfind("libvpx", 0) == 0) {
      options->Set("deadline", "realtime");
      options->Set("cpu-used", "6");
      options->Set("lag-in-frames", "12");
      options->Set("auto-alt-ref", spec_.pixelFormat == "yuva420p" ? "0" : "1");
    }
  }

  void AddVideoStream() {
    videoStream_ = Need(avformat_new_stream(format_.get(), nullptr), "memory");
    Check(avcodec_parameters_from_context(videoStream_->codecpar, video_.get()), "parameters");
    videoStream_->time_base = video_->time_base;
    videoStream_->avg_frame_rate = video_->framerate;
    for (const auto& [name, value] : spec_.streamTags) {
      av_dict_set(&videoStream_->metadata, name.c_str(), value.c_str(), 0);
    }
    if (spec_.rotation == 0) return;
    auto* const matrix = reinterpret_cast<int32_t*>(
        av_stream_new_side_data(videoStream_, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)));
    av_display_rotation_set(Need(matrix, "memory"), spec_.rotation);
  }

  void OpenAudio() {
    const AVCodec* codec =
        Need(avcodec_find_encoder_by_name(spec_.audioCodec.c_str()), spec_.audioCodec);
    audio_.reset(Need(avcodec_alloc_context3(codec), "memory"));
    audio_->sample_rate = 48000;
    audio_->sample_fmt = codec->sample_fmts[0];
    av_channel_layout_default(&audio_->ch_layout, 1);
    audio_->time_base = {1, audio_->sample_rate};
    if (format_->oformat->flags & AVFMT_GLOBALHEADER) audio_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    Check(avcodec_open2(audio_.get(), codec, nullptr), "opening " + spec_.audioCodec);
    audioStream_ = Need(avformat_new_stream(format_.get(), nullptr), "memory");
    Check(avcodec_parameters_from_context(audioStream_->codecpar, audio_.get()), "parameters");
    audioStream_->time_base = audio_->time_base;
  }

  int64_t TimeOf(int number) const {
    if (spec_.times.empty() && spec_.startMilliseconds == 0) return number;
    if (spec_.times.empty()) {
      return av_rescale_q(
                 number,
                 {static_cast<int>(spec_.rate.denominator), static_cast<int>(spec_.rate.numerator)},
                 video_->time_base) +
             spec_.startMilliseconds * 90;
    }
    const int last = static_cast<int>(spec_.times.size()) - 1;
    int64_t time = spec_.times[static_cast<size_t>(std::min(number, last))];
    if (number > last)
      time += (number - last) * (time - spec_.times[static_cast<size_t>(last - 1)]);
    return (time + spec_.startMilliseconds) * 90;
  }

  // Until the next frame. A container that is not told cuts the last one off.
  int64_t DurationAt(int64_t time) const {
    int number = 0;
    while (number < spec_.frames && TimeOf(number) < time) ++number;
    return TimeOf(number + 1) - TimeOf(number);
  }

  void EncodeVideo(int number) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(video_->pix_fmt);
    const bool alpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    const std::vector<uint8_t> bgra = DrawNumber(number, spec_.size, alpha);
    Held<AVFrame> frame(Need(av_frame_alloc(), "memory"));
    frame->width = spec_.size.width;
    frame->height = spec_.size.height;
    frame->format = video_->pix_fmt;
    frame->pts = TimeOf(number);
    frame->colorspace = video_->colorspace;
    frame->color_range = video_->color_range;
    Check(av_frame_get_buffer(frame.get(), 0), "memory");
    scaler_.reset(
        Need(sws_getCachedContext(scaler_.release(), frame->width, frame->height, AV_PIX_FMT_BGRA,
                                  frame->width, frame->height, video_->pix_fmt, SWS_BILINEAR,
                                  nullptr, nullptr, nullptr),
             "scaler for " + spec_.pixelFormat));
    const uint8_t* const planes[] = {bgra.data()};
    const int strides[] = {frame->width * 4};
    sws_scale(scaler_.get(), planes, strides, 0, frame->height, frame->data, frame->linesize);
    Drain(video_.get(), frame.get(), videoStream_);
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
      av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
      Check(av_interleaved_write_frame(format_.get(), packet.get()), "writing");
    }
  }

  const ClipSpec& spec_;
  Held<AVFormatContext> format_;
  Held<AVCodecContext> video_;
  Held<AVCodecContext> audio_;
  Held<SwsContext> scaler_;
  AVStream* videoStream_ = nullptr;
  AVStream* audioStream_ = nullptr;
  int64_t audioSamples_ = 0;
};

}  // namespace

void EncodeClip(const ClipSpec& spec, const std::string& path) { Encoder(spec, path).Run(); }

}  // namespace kivtest
