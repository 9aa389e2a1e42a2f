#include "engine/write/WriterCodecs.h"

#include <algorithm>
#include <string>

#include "kiv/values/Saturate.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/cpu.h>
#include <libavutil/opt.h>
}

namespace kiv {
namespace {

constexpr int kMostThreads = 16;  // prores_ks's own limit

void SetH264Options(AVCodecContext* context, int32_t setting) {
  av_opt_set(context->priv_data, "crf", std::to_string(setting).c_str(), 0);
  av_opt_set(context->priv_data, "preset", "fast", 0);
}

void SetHevcOptions(AVCodecContext* context, int32_t setting) {
  void* own = context->priv_data;
  av_opt_set(own, "crf", std::to_string(setting).c_str(), 0);
  av_opt_set(own, "preset", "fast", 0);
  // It writes its news to standard error past libavutil's log.
  av_opt_set(own, "x265-params", "log-level=error", 0);
}

void SetAv1Options(AVCodecContext* context, int32_t setting) {
  void* own = context->priv_data;
  av_opt_set(own, "crf", std::to_string(setting).c_str(), 0);
  av_opt_set_int(own, "cpu-used", 6, 0);
  av_opt_set_int(own, "row-mt", 1, 0);
  context->bit_rate = 0;
}

void SetJpegOptions(AVCodecContext* context, int32_t setting) {
  context->flags |= AV_CODEC_FLAG_QSCALE;
  context->global_quality = FF_QP2LAMBDA * setting;
  context->qmin = 1;
  context->color_range = AVCOL_RANGE_JPEG;
}

void SetVp9Options(AVCodecContext* context, int32_t setting) {
  void* own = context->priv_data;
  av_opt_set(own, "crf", std::to_string(setting).c_str(), 0);
  av_opt_set(own, "deadline", "good", 0);
  av_opt_set_int(own, "cpu-used", 4, 0);
  av_opt_set_int(own, "row-mt", 1, 0);
  context->bit_rate = 0;
  // With the frames that it hides it cannot keep the alpha layer's beside the pictures'.
  if (context->pix_fmt == AV_PIX_FMT_YUVA420P) av_opt_set_int(own, "auto-alt-ref", 0, 0);
}

void SetFfv1Options(AVCodecContext* context, int32_t /*setting*/) {
  context->level = 3;  // slices with checksums
  context->gop_size = 1;
  av_opt_set_int(context->priv_data, "slicecrc", 1, 0);
}

void SetProResOptions(AVCodecContext* context, int32_t setting) {
  context->thread_count = std::min(av_cpu_count(), kMostThreads);
  context->flags |= AV_CODEC_FLAG_QSCALE;
  context->global_quality = FF_QP2LAMBDA * setting;
  av_opt_set(context->priv_data, "profile", "4444", 0);
}

void SetNothing(AVCodecContext* /*context*/, int32_t /*setting*/) {}

// Qualities are spread over the useful part of each encoder's scale. VP9's alpha layer shares the
// pictures' quantizer, and soft coverage shows its errors at every edge.
constexpr WriterCodec kCodecs[] = {
    {.name = "h264",
     .id = OutputCodec::kH264,
     .encoder = "libx264",
     .formats = kMp4Bit | kMovBit | kMkvBit,
     .opaque = AV_PIX_FMT_YUV420P,
     .withAlpha = AV_PIX_FMT_YUV420P,
     .quality = {40, 10},
     .needsEvenSides = true,
     .setOptions = SetH264Options},
    // Players of one maker know HEVC in mp4 under this tag only.
    {.name = "hevc",
     .id = OutputCodec::kHevc,
     .encoder = "libx265",
     .formats = kMp4Bit | kMovBit | kMkvBit,
     .opaque = AV_PIX_FMT_YUV420P,
     .withAlpha = AV_PIX_FMT_YUV420P,
     .quality = {44, 12},
     .needsEvenSides = true,
     .mp4Tag = MKTAG('h', 'v', 'c', '1'),
     .setOptions = SetHevcOptions},
    // The one AV1 encoder that takes every size and says nothing on its own.
    {.name = "av1",
     .id = OutputCodec::kAv1,
     .encoder = "libaom-av1",
     .formats = kMp4Bit | kMkvBit | kWebmBit,
     .opaque = AV_PIX_FMT_YUV420P,
     .withAlpha = AV_PIX_FMT_YUV420P,
     .quality = {60, 10},
     .setOptions = SetAv1Options},
    {.name = "vp9",
     .id = OutputCodec::kVp9,
     .encoder = "libvpx-vp9",
     .formats = kMp4Bit | kMkvBit | kWebmBit,
     .opaque = AV_PIX_FMT_YUV420P,
     .withAlpha = AV_PIX_FMT_YUVA420P,
     .withoutAlpha = "mp4",
     .quality = {60, 10},
     .qualityWithAlpha = {40, 2},
     .setOptions = SetVp9Options},
    {.name = "ffv1",
     .id = OutputCodec::kFfv1,
     .encoder = "ffv1",
     .formats = kMkvBit,
     .opaque = AV_PIX_FMT_BGRA,
     .withAlpha = AV_PIX_FMT_BGRA,
     .isLossless = true,
     .setOptions = SetFfv1Options},
    {.name = "prores",
     .id = OutputCodec::kProRes,
     .encoder = "prores_ks",
     .formats = kMovBit | kMkvBit,
     .opaque = AV_PIX_FMT_YUV444P10,
     .withAlpha = AV_PIX_FMT_YUVA444P10,
     .quality = {24, 2},
     .qualityWithAlpha = {24, 2},
     .setOptions = SetProResOptions},
    {.name = "png",
     .id = OutputCodec::kPng,
     .encoder = "png",
     .formats = kMovBit | kMkvBit,
     .opaque = AV_PIX_FMT_RGBA,
     .withAlpha = AV_PIX_FMT_RGBA,
     .isLossless = true,
     .setOptions = SetNothing},
    {.name = "jpeg",
     .id = OutputCodec::kJpeg,
     .encoder = "mjpeg",
     .formats = kJpegBit,
     .opaque = AV_PIX_FMT_YUVJ420P,
     .withAlpha = AV_PIX_FMT_YUVJ420P,
     .quality = {12, 1},
     .setOptions = SetJpegOptions},
};

}  // namespace

AVPixelFormat WriterCodec::PixelFormat(const OutputPlan& plan, const PictureSeries& series) const {
  return series.hasAlpha && plan.container != withoutAlpha ? withAlpha : opaque;
}

void WriterCodec::SetOptions(AVCodecContext* context, int32_t planned) const {
  const bool hasAlpha = context->pix_fmt == withAlpha && withAlpha != opaque;
  const auto& [worst, best] = hasAlpha ? qualityWithAlpha : quality;
  context->thread_count = 0;
  setOptions(context, SaturateToInt32(worst + (best - worst) * planned / kQualityBest + 0.5));
}

std::span<const WriterCodec> WriterCodecs() { return kCodecs; }

const WriterCodec* FindWriterCodec(OutputCodec id) {
  const auto* const found = std::find_if(std::begin(kCodecs), std::end(kCodecs),
                                         [id](const WriterCodec& row) { return row.id == id; });
  return found == std::end(kCodecs) ? nullptr : found;
}

}  // namespace kiv
