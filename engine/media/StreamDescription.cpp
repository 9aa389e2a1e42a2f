#include "engine/media/StreamDescription.h"

#include <cmath>
#include <cstring>
#include <string_view>

#include "engine/media/colour/ColourMatrix.h"
#include "kiv/values/Saturate.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

namespace kiv {
namespace {

constexpr size_t kDisplayMatrixBytes = 9 * sizeof(int32_t);

bool HasAlphaLayer(const AVStream& stream) {
  const AVDictionaryEntry* entry = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
  return entry && std::string_view(entry->value) == "1";
}

template <size_t N>
void PutText(char (&target)[N], const char* text) {
  std::memset(target, 0, N);
  if (text) std::strncpy(target, text, N - 1);
}

const char* MatrixName(MatrixKind matrix) {
  switch (matrix) {
    case MatrixKind::kBt709:
      return "bt709";
    case MatrixKind::kBt2020:
      return "bt2020";
    case MatrixKind::kRgb:
      return "rgb";
    case MatrixKind::kFcc:
      return "fcc";
    case MatrixKind::kSmpte240:
      return "smpte240m";
    default:
      return "bt601";
  }
}

// As the converter will take them, from a picture that carries the stream's tags.
ColourSpace ColoursOf(const AVCodecParameters& parameters) {
  const AvPtr<AVFrame> picture = NewFrame();
  picture->format = parameters.format;
  picture->width = parameters.width;
  picture->height = parameters.height;
  CopyTag(parameters.color_space, &picture->colorspace);
  CopyTag(parameters.color_range, &picture->color_range);
  return ResolveColour(*picture);
}

void DescribePixels(const AVStream& stream, KivStreamInfo* info) {
  const AVCodecParameters& parameters = *stream.codecpar;
  const AVPixFmtDescriptor* format =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(parameters.format));
  info->hasAlpha = HasAlphaLayer(stream) ? 1 : 0;
  if (!format) return;
  PutText(info->pixelFormat, format->name);
  info->bitDepth = format->comp[0].depth;
  if (format->flags & AV_PIX_FMT_FLAG_ALPHA) info->hasAlpha = 1;
  const ColourSpace colours = ColoursOf(parameters);
  const bool rgb = (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
  PutText(info->colourMatrix, rgb ? "rgb" : MatrixName(colours.matrix));
  PutText(info->colourRange, rgb || colours.fullRange ? "full" : "limited");
}

}  // namespace

Orientation OrientationOf(const AVStream& stream) {
  size_t size = 0;
  const uint8_t* const data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (!data || size < kDisplayMatrixBytes) return {};
  int32_t matrix[9];
  std::memcpy(matrix, data, sizeof(matrix));
  Orientation orientation;
  // A negative determinant turns the picture over. The rest is a rotation once that is undone.
  const double determinant =
      static_cast<double>(matrix[0]) * matrix[4] - static_cast<double>(matrix[1]) * matrix[3];
  orientation.mirrored = determinant < 0;
  if (orientation.mirrored) av_display_matrix_flip(matrix, 1, 0);
  const double degrees = -av_display_rotation_get(matrix);
  if (std::isnan(degrees)) return {};
  const int32_t quarter = SaturateToInt32(std::nearbyint(degrees / 90.0));
  if (std::abs(degrees - 90.0 * quarter) > 1.0) return {};
  orientation.rotation = ((quarter % 4) + 4) % 4 * 90;
  return orientation;
}

KivSize ShownSizeOf(const AVCodecParameters& parameters, Orientation orientation) {
  const int32_t width = parameters.width;
  const int32_t height = parameters.height;
  if (!IsPictureSize(width, height)) return {};
  return orientation.rotation % 180 == 0 ? KivSize{width, height} : KivSize{height, width};
}

const char* PreferredDecoder(const AVStream& stream) {
  if (!HasAlphaLayer(stream)) return "";
  switch (stream.codecpar->codec_id) {
    case AV_CODEC_ID_VP8:
      return "libvpx";
    case AV_CODEC_ID_VP9:
      return "libvpx-vp9";
    default:
      return "";
  }
}

namespace {

int32_t PicturesBeyondEnd(AVIOContext* file, AVStream* stream) {
  const int64_t end = file ? avio_size(file) : -1;
  if (end < 0) return 0;
  int32_t beyond = 0;
  for (int i = 0; i < avformat_index_get_entries_count(stream); ++i) {
    const AVIndexEntry* const entry = avformat_index_get_entry(stream, i);
    if ((entry->flags & AVINDEX_DISCARD_FRAME) == 0 && entry->pos > end - entry->size) ++beyond;
  }
  return beyond;
}

}  // namespace

KivStreamInfo DescribeStream(const MediaInput& input, int stream) {
  const AVStream& video = *input.Stream(stream);
  const AVCodecParameters& parameters = *video.codecpar;
  const Orientation orientation = OrientationOf(video);
  KivStreamInfo info;
  info.size = ShownSizeOf(parameters, orientation);
  info.codedSize = {parameters.width, parameters.height};
  info.rotation = orientation.rotation;
  const AVRational aspect =
      av_guess_sample_aspect_ratio(input.Context(), input.Context()->streams[stream], nullptr);
  if (aspect.num > 0 && aspect.den > 0) info.sampleAspect = {aspect.num, aspect.den};
  info.audioStreams = input.AudioStreamCount();
  info.picturesBeyondEnd = PicturesBeyondEnd(input.Context()->pb, input.Context()->streams[stream]);
  PutText(info.codec, avcodec_get_name(parameters.codec_id));
  PutText(info.container, input.Context()->iformat->name);
  DescribePixels(video, &info);
  return info;
}

}  // namespace kiv
