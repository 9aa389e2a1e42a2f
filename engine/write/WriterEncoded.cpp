// H.264, HEVC, AV1, VP9, FFV1, ProRes and PNG in their containers.
//
// H.264 and HEVC pictures with an odd side grow by one column or row, repeated from the edge: players handle
// 4:2:0 more widely than 4:4:4. The others hold odd sizes as they are.

#include <fmt/format.h>
#include <libyuv/planar_functions.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "engine/write/SoundCopy.h"
#include "engine/write/WriterAlpha.h"
#include "engine/write/WriterCodecs.h"
#include "engine/write/WriterConvert.h"
#include "engine/write/WriterEncoder.h"
#include "engine/write/WriterFile.h"
#include "engine/write/WriterKinds.h"
#include "engine/write/WriterTimes.h"
#include "kiv/platform/PictureFacts.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace kiv {
namespace {

constexpr int kIoBufferBytes = 1 << 18;
constexpr int kThreadsAsItLikes = 0;

void SetColourTags(AVCodecContext* context, KivSize size) {
  const bool isHd = OutputMatrix(size) == MatrixKind::kBt709;
  context->color_range = AVCOL_RANGE_MPEG;
  context->colorspace = isHd ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
  context->color_primaries = isHd ? AVCOL_PRI_BT709 : AVCOL_PRI_SMPTE170M;
  context->color_trc = isHd ? AVCOL_TRC_BT709 : AVCOL_TRC_SMPTE170M;
  context->chroma_sample_location = AVCHROMA_LOC_LEFT;
}

bool IsRgb(AVPixelFormat format) { return format == AV_PIX_FMT_BGRA || format == AV_PIX_FMT_RGBA; }

class EncodedWriter : public Writer {
 public:
  EncodedWriter(const WriterSetup& setup, const WriterCodec& codec)
      : setup_(setup),
        codec_(codec),
        pixelFormat_(codec.PixelFormat(setup.plan, setup.series)),
        file_(setup.cancelled) {}
  ~EncodedWriter() override;
  EncodedWriter(const EncodedWriter&) = delete;
  EncodedWriter& operator=(const EncodedWriter&) = delete;

  WriteError Open();
  WriteError Write(const uint8_t* bgra) override;
  WriteError Finish() override;

 private:
  bool IsMp4() const { return setup_.plan.container == "mp4" || setup_.plan.container == "mov"; }
  bool HasAlphaLayer() const { return pixelFormat_ == AV_PIX_FMT_YUVA420P; }
  WriteError OpenEncoder();
  WriteError OpenEncoderWith(int threads);
  WriteError OpenContainer();
  WriteError OpenIo();
  WriteError AddStream();
  WriteError AddSound();
  WriteError WritePicture(AVPacket& packet);
  WriteError CopySound(double until);
  WriteError WritePacket(AVPacket& packet);
  bool IsCancelled() const { return setup_.cancelled != nullptr && *setup_.cancelled; }
  // What the file itself reported, else libavformat's reason.
  WriteError Explain(int code) const;
  WriteError Because(const std::string& reason) const;
  void FillFrame(const uint8_t* bgra, AVFrame* frame);
  static void FillBgra(const uint8_t* bgra, KivSize size, AVFrame* frame);

  WriterSetup setup_;
  const WriterCodec& codec_;
  const AVPixelFormat pixelFormat_;
  const WriterTimes times_{setup_.series};
  WriterFile file_;
  WriterConvert converter_;
  WriterEncoder encoder_;
  std::unique_ptr<SoundCopy> sound_;  // null: none
  AVFormatContext* container_ = nullptr;
  int64_t pictures_ = 0;
  int64_t packets_ = 0;
};

#if LIBAVFORMAT_VERSION_MAJOR >= 61
using IoBytes = const uint8_t*;
#else
using IoBytes = uint8_t*;
#endif

int WriteBytes(void* file, IoBytes bytes, int count) {
  const auto error = static_cast<WriterFile*>(file)->Write(bytes, static_cast<size_t>(count));
  return error ? AVERROR(EIO) : count;
}

int64_t SeekBytes(void* file, int64_t offset, int whence) {
  if ((whence & AVSEEK_SIZE) != 0) return AVERROR(ENOSYS);
  return static_cast<WriterFile*>(file)->Seek(offset, whence & ~AVSEEK_FORCE);
}

EncodedWriter::~EncodedWriter() {
  if (container_ == nullptr) return;
  if (container_->pb != nullptr) {
    av_freep(&container_->pb->buffer);
    avio_context_free(&container_->pb);
  }
  avformat_free_context(container_);
}

WriteError EncodedWriter::Because(const std::string& reason) const {
  return fmt::format("cannot write '{}': {}", setup_.plan.name, reason);
}

WriteError EncodedWriter::Explain(int code) const {
  return file_.FirstError() ? file_.FirstError() : Because(AvErrorText(code));
}

WriteError EncodedWriter::Open() {
  if (auto error = OpenContainer()) return error;
  if (auto error = OpenEncoder()) return Because(*error);
  if (auto error = OpenIo()) return error;
  if (auto error = AddStream()) return error;
  if (auto error = AddSound()) return Because(*error);
  AVDictionary* options = nullptr;
  if (IsMp4()) av_dict_set(&options, "movflags", "+faststart", 0);
  const int code = avformat_write_header(container_, &options);
  av_dict_free(&options);
  return code < 0 ? Explain(code) : std::nullopt;
}

WriteError EncodedWriter::OpenContainer() {
  const int code =
      avformat_alloc_output_context2(&container_, nullptr, setup_.plan.container.c_str(), nullptr);
  if (code < 0) return Because(AvErrorText(code));
  container_->flags |= AVFMT_FLAG_BITEXACT;  // the same pictures give the same file: no random ids
  return std::nullopt;
}

WriteError EncodedWriter::OpenEncoder() {
  const KivSize size = setup_.series.size;
  const auto transparent = HasAlphaLayer() ? WriterConvert::Transparent::kAsItIs
                                           : WriterConvert::Transparent::kOverBlack;
  if (Failed(converter_.Open(size, ChromaSampling::k420, transparent))) {
    return std::string("no memory for a picture");
  }
  // The system may refuse threads, and the encoder then opens with one alone.
  if (!OpenEncoderWith(kThreadsAsItLikes)) return std::nullopt;
  return OpenEncoderWith(1);
}

WriteError EncodedWriter::OpenEncoderWith(int threads) {
  if (auto error = encoder_.Prepare(codec_.encoder, WrittenSize(setup_.plan, setup_.series),
                                    pixelFormat_, setup_.series)) {
    return error;
  }
  if (!IsRgb(pixelFormat_)) SetColourTags(encoder_.Context(), setup_.series.size);
  codec_.SetOptions(encoder_.Context(), setup_.plan.quality);
  if (threads != kThreadsAsItLikes) encoder_.Context()->thread_count = threads;
  if ((container_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
    encoder_.Context()->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  }
  return encoder_.Open();
}

WriteError EncodedWriter::OpenIo() {
  if (auto error = file_.Open(setup_.plan.name)) return error;
  if (!file_.IsSeekable()) {
    return Because(fmt::format("{} needs a regular file", setup_.plan.container));
  }
  auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBufferBytes));
  if (buffer != nullptr) {
    container_->pb =
        avio_alloc_context(buffer, kIoBufferBytes, 1, &file_, nullptr, WriteBytes, SeekBytes);
    if (container_->pb == nullptr) av_free(buffer);
  }
  // The muxer reopens the file by this name when it moves the index to the front.
  container_->url = av_strdup(file_.TemporaryName().c_str());
  return container_->pb == nullptr || container_->url == nullptr
             ? Because(AvErrorText(AVERROR(ENOMEM)))
             : std::nullopt;
}

WriteError EncodedWriter::AddStream() {
  AVStream* stream = avformat_new_stream(container_, nullptr);
  if (stream == nullptr) return Because(AvErrorText(AVERROR(ENOMEM)));
  const AVCodecContext* context = encoder_.Context();
  const int code = avcodec_parameters_from_context(stream->codecpar, context);
  if (IsMp4()) stream->codecpar->codec_tag = codec_.mp4Tag;
  stream->time_base = times_.TimeBase();
  stream->avg_frame_rate = context->framerate;
  stream->r_frame_rate = context->framerate;
  stream->sample_aspect_ratio = context->sample_aspect_ratio;
  if (HasAlphaLayer()) av_dict_set(&stream->metadata, "alpha_mode", "1", 0);
  return code < 0 ? Because(AvErrorText(code)) : std::nullopt;
}

WriteError EncodedWriter::AddSound() {
  if (setup_.series.soundFile.empty()) return std::nullopt;
  sound_ = SoundCopy::Open(setup_.series.soundFile, *container_->oformat);
  return sound_ ? sound_->AddStreams(container_) : std::nullopt;
}

void EncodedWriter::FillFrame(const uint8_t* bgra, AVFrame* frame) {
  const KivSize size = setup_.series.size;
  switch (pixelFormat_) {
    case AV_PIX_FMT_YUV444P10:
    case AV_PIX_FMT_YUVA444P10:
      return FillYuva444Ten(bgra, size, YuvFactorsOf(OutputMatrix(size)), frame);
    case AV_PIX_FMT_RGBA:
      return FillRgba(bgra, size, frame);
    case AV_PIX_FMT_BGRA:
      return FillBgra(bgra, size, frame);
    default:  // 4:2:0
      converter_.Convert(bgra, frame);
      if (HasAlphaLayer()) FillAlphaPlane(bgra, size, frame);
  }
}

void EncodedWriter::FillBgra(const uint8_t* bgra, KivSize size, AVFrame* frame) {
  libyuv::CopyPlane(bgra, size.width * kBytesPerPixel, frame->data[0], frame->linesize[0],
                    size.width * kBytesPerPixel, size.height);
}

WriteError EncodedWriter::Write(const uint8_t* bgra) {
  AVFrame* frame = encoder_.WritableFrame();
  if (frame == nullptr) return Because(AvErrorText(AVERROR(ENOMEM)));
  FillFrame(bgra, frame);
  return encoder_.Encode(pictures_++, [this](AVPacket& packet) { return WritePicture(packet); });
}

WriteError EncodedWriter::WritePicture(AVPacket& packet) {
  AVStream* stream = container_->streams[0];
  packet.stream_index = 0;
  times_.Stamp(&packet, stream->time_base);
  const double end = static_cast<double>(packet.dts + packet.duration) * av_q2d(stream->time_base);
  if (auto error = WritePacket(packet)) return error;
  ++packets_;
  return CopySound(end);
}

// Sound goes along with the pictures, so that the muxer has little to hold back. A packet that the
// muxer refuses, of a damaged file, is a gap in the sound and no reason to lose the pictures.
WriteError EncodedWriter::CopySound(double until) {
  if (!sound_) return std::nullopt;
  return sound_->CopyUntil(until, [this](AVPacket& packet) -> WriteError {
    if (IsCancelled()) return Because("interrupted");
    const int code = av_interleaved_write_frame(container_, &packet);
    if (container_->pb->error < 0) return Explain(container_->pb->error);
    return code == AVERROR(ENOMEM) ? Because(AvErrorText(code)) : std::nullopt;
  });
}

WriteError EncodedWriter::WritePacket(AVPacket& packet) {
  const int code = av_interleaved_write_frame(container_, &packet);
  if (code >= 0 && container_->pb->error < 0) return Explain(container_->pb->error);
  return code < 0 ? Explain(code) : std::nullopt;
}

WriteError EncodedWriter::Finish() {
  if (auto error = encoder_.Drain([this](AVPacket& packet) { return WritePicture(packet); })) {
    return error;
  }
  // An encoder that may not start threads may swallow pictures without a word.
  if (packets_ == 0) return Because("the encoder gave no picture out");
  if (auto error = CopySound(HUGE_VAL)) return error;
  int code = av_write_trailer(container_);
  avio_flush(container_->pb);
  if (code >= 0) code = container_->pb->error;
  return code < 0 ? Explain(code) : file_.Commit();
}

}  // namespace

WriteError OpenEncodedWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer) {
  const WriterCodec* const codec = FindWriterCodec(setup.plan.codec);
  if (codec == nullptr) {
    return fmt::format("cannot write '{}': its codec is not known", setup.plan.name);
  }
  auto encoded = std::make_unique<EncodedWriter>(setup, *codec);
  if (auto error = encoded->Open()) return error;
  *writer = std::move(encoded);
  return std::nullopt;
}

}  // namespace kiv
