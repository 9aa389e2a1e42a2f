#include "engine/media/colour/ColourMatrix.h"

#include <cmath>

#include "engine/media/read/AvPointers.h"
#include "kiv/values/Saturate.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace kiv {
namespace {

int16_t Fixed(double factor) {
  return static_cast<int16_t>(SaturateToInt32(std::nearbyint(factor * 32768.0)));
}

MatrixKind MatrixBySize(const AVFrame& picture) {
  const bool highDefinition = picture.height >= 720 || picture.width >= 1280;
  return highDefinition ? MatrixKind::kBt709 : MatrixKind::kBt601;
}

bool IsJpegFormat(int format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ444P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ411P:
      return true;
    default:
      return false;
  }
}

}  // namespace

LumaWeights WeightsOf(MatrixKind matrix) {
  switch (matrix) {
    case MatrixKind::kBt709:
      return {0.2126, 0.0722};
    case MatrixKind::kBt2020:
      return {0.2627, 0.0593};
    case MatrixKind::kFcc:
      return {0.30, 0.11};
    case MatrixKind::kSmpte240:
      return {0.212, 0.087};
    default:
      return {0.299, 0.114};
  }
}

ColourSpace ResolveColour(const AVFrame& picture) {
  ColourSpace space;
  const AVPixFmtDescriptor* format =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  const bool grey = format && format->nb_components < 3;
  const int range = TagNumber(picture.color_range);
  space.fullRange = range == AVCOL_RANGE_JPEG || IsJpegFormat(picture.format) ||
                    (grey && range == AVCOL_RANGE_UNSPECIFIED);
  switch (TagNumber(picture.colorspace)) {
    case AVCOL_SPC_BT709:
      space.matrix = MatrixKind::kBt709;
      break;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
      space.matrix = MatrixKind::kBt601;
      break;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      space.matrix = MatrixKind::kBt2020;
      break;
    case AVCOL_SPC_FCC:
      space.matrix = MatrixKind::kFcc;
      break;
    case AVCOL_SPC_SMPTE240M:
      space.matrix = MatrixKind::kSmpte240;
      break;
    default:
      // JPEG pictures are BT.601 whatever their size (JFIF).
      space.matrix = IsJpegFormat(picture.format) ? MatrixKind::kBt601 : MatrixBySize(picture);
  }
  if (format && format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) {
    space = {MatrixKind::kRgb, true};
  }
  return space;
}

ColourFactors FactorsOf(ColourSpace space, int bitDepth) {
  const auto [kr, kb] = WeightsOf(space.matrix);
  const double kg = 1.0 - kr - kb;
  // Full range spans 2^depth - 1 steps, so an n-bit sample is not quite an 8-bit one times 2^(n-8).
  const double fullScale = 255.0 * std::ldexp(1.0, bitDepth - 8) / (std::ldexp(1.0, bitDepth) - 1);
  const double lumaScale = space.fullRange ? fullScale : 255.0 / 219.0;
  const double chromaScale = space.fullRange ? fullScale : 255.0 / 224.0;
  const double lumaOffset = space.fullRange ? 0.0 : 16.0;

  ColourFactors factors;
  factors.luma = Fixed(lumaScale / 2);
  // The final shift by 6 rounds through the 32 added here.
  factors.lumaBias =
      static_cast<int16_t>(SaturateToInt32(std::nearbyint(32 - lumaOffset * lumaScale * 64)));
  factors.cbToBlue = Fixed(chromaScale * 2 * (1 - kb) / 4);
  factors.crToRed = Fixed(chromaScale * 2 * (1 - kr) / 4);
  factors.cbToGreen = Fixed(chromaScale * 2 * (1 - kb) * kb / kg / 4);
  factors.crToGreen = Fixed(chromaScale * 2 * (1 - kr) * kr / kg / 4);
  return factors;
}

}  // namespace kiv
