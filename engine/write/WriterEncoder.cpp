#include "engine/write/WriterEncoder.h"

#include <fmt/format.h>

#include <array>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

namespace kiv {
namespace {

AVRational ToAv(const KivRational& value) {
  AVRational result{};
  av_reduce(&result.num, &result.den, value.numerator, value.denominator, INT32_MAX);
  return result;
}

}  // namespace

std::string AvErrorText(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return text.data();
}

WriterEncoder::~WriterEncoder() { Free(); }

void WriterEncoder::Free() {
  avcodec_free_context(&context_);
  av_frame_free(&frame_);
  av_packet_free(&packet_);
}

WriteError WriterEncoder::Prepare(const char* encoderName, KivSize size, int pixelFormat,
                                  const PictureSeries& series) {
  const AVCodec* codec = avcodec_find_encoder_by_name(encoderName);
  if (codec == nullptr) return fmt::format("this libavcodec has no encoder {}", encoderName);
  Free();
  context_ = avcodec_alloc_context3(codec);
  frame_ = av_frame_alloc();
  packet_ = av_packet_alloc();
  if (context_ == nullptr || frame_ == nullptr || packet_ == nullptr) {
    return fmt::format("no memory for the encoder {}", encoderName);
  }
  context_->width = size.width;
  context_->height = size.height;
  context_->pix_fmt = static_cast<AVPixelFormat>(pixelFormat);
  context_->framerate = ToAv(series.frameRate);
  context_->time_base = av_inv_q(context_->framerate);
  context_->sample_aspect_ratio = ToAv(series.sampleAspect);
  return std::nullopt;
}

WriteError WriterEncoder::Open() {
  // A refusal clears the context.
  const std::string refusal = fmt::format("the encoder {} refuses {}x{} pictures at {}/{} a second",
                                          context_->codec->name, context_->width, context_->height,
                                          context_->framerate.num, context_->framerate.den);
  const int opened = avcodec_open2(context_, nullptr, nullptr);
  if (opened < 0) return refusal + ": " + AvErrorText(opened);
  frame_->format = context_->pix_fmt;
  frame_->width = context_->width;
  frame_->height = context_->height;
  return std::nullopt;
}

AVFrame* WriterEncoder::WritableFrame() {
  const int code =
      frame_->buf[0] == nullptr ? av_frame_get_buffer(frame_, 0) : av_frame_make_writable(frame_);
  return code < 0 ? nullptr : frame_;
}

WriteError WriterEncoder::Encode(int64_t number, const PacketSink& sink) {
  frame_->pts = number;
  // The encoder decides about key frames itself.
  frame_->pict_type = AV_PICTURE_TYPE_NONE;
  frame_->quality = context_->global_quality;  // what a fixed quantizer is read from
  const int sent = avcodec_send_frame(context_, frame_);
  if (sent < 0) {
    return fmt::format("the encoder {} failed: {}", context_->codec->name, AvErrorText(sent));
  }
  return ReceiveAll(sink);
}

WriteError WriterEncoder::Drain(const PacketSink& sink) {
  avcodec_send_frame(context_, nullptr);
  return ReceiveAll(sink);
}

WriteError WriterEncoder::ReceiveAll(const PacketSink& sink) {
  for (;;) {
    const int code = avcodec_receive_packet(context_, packet_);
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return std::nullopt;
    if (code < 0) {
      return fmt::format("the encoder {} failed: {}", context_->codec->name, AvErrorText(code));
    }
    auto error = sink(*packet_);
    av_packet_unref(packet_);
    if (error) return error;
  }
}

}  // namespace kiv
