#include "engine/media/colour/PlaneView.h"

#include <bit>

#include "engine/media/read/AvPointers.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace kiv {
namespace {

constexpr int kMostBits = 14;

bool IsInterleavedChroma(int format) { return format == AV_PIX_FMT_NV12; }

// Every component alone in its plane, values in the low bits.
bool IsPlainPlanar(const AVPixFmtDescriptor& format) {
  if (format.flags & (AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL |
                      AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER)) {
    return false;
  }
  const bool bigEndian = (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
  for (int i = 0; i < format.nb_components; ++i) {
    const AVComponentDescriptor& c = format.comp[i];
    const int bytes = format.comp[0].depth > 8 ? 2 : 1;
    if (c.step != bytes || c.offset != 0 || c.shift != 0) return false;
    if (c.depth != format.comp[0].depth) return false;
    if (bytes == 2 && bigEndian != (std::endian::native == std::endian::big)) return false;
  }
  return format.comp[0].depth >= 8 && format.comp[0].depth <= kMostBits;
}

PlaneKind KindOf(const AVPixFmtDescriptor& format, int id) {
  const bool rgb = (format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
  if (IsInterleavedChroma(id)) return PlaneKind::kSemiPlanarYuv;
  const bool plain = IsPlainPlanar(format);
  const bool byteDepth = format.comp[0].depth == 8;
  if (rgb) return plain && byteDepth ? PlaneKind::kPlanarRgb : PlaneKind::kOther;
  if (format.nb_components == 1) return plain ? PlaneKind::kGrey : PlaneKind::kOther;
  if (format.nb_components < 3) return PlaneKind::kOther;
  const bool subsamplingKnown = format.log2_chroma_w <= 1 && format.log2_chroma_h <= 1;
  return plain && subsamplingKnown ? PlaneKind::kPlanarYuv : PlaneKind::kOtherYuv;
}

void SetSiting(const AVFrame& picture, PlaneView* view) {
  const bool jpegFormat =
      picture.format == AV_PIX_FMT_YUVJ420P || picture.format == AV_PIX_FMT_YUVJ422P;
  const int location = TagNumber(picture.chroma_location);
  switch (location) {
    case AVCHROMA_LOC_CENTER:
    case AVCHROMA_LOC_TOP:
    case AVCHROMA_LOC_BOTTOM:
      view->siting = ChromaSiting::kCentre;
      break;
    case AVCHROMA_LOC_UNSPECIFIED:
      view->siting = jpegFormat ? ChromaSiting::kCentre : ChromaSiting::kLeft;
      break;
    default:
      view->siting = ChromaSiting::kLeft;
  }
  view->chromaOnTopLine = location == AVCHROMA_LOC_TOPLEFT || location == AVCHROMA_LOC_TOP;
}

}  // namespace

PlaneView ViewOf(const AVFrame& picture) {
  PlaneView view;
  view.size = {picture.width, picture.height};
  const AVPixFmtDescriptor* format =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (!format) return view;
  view.kind = KindOf(*format, picture.format);
  view.depth = format->comp[0].depth;
  view.hasAlpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  view.horizontalShift = format->log2_chroma_w;
  view.verticalShift = format->log2_chroma_h;
  view.chroma = {AV_CEIL_RSHIFT(picture.width, view.horizontalShift),
                 AV_CEIL_RSHIFT(picture.height, view.verticalShift)};
  for (int i = 0; i < 4; ++i) {
    view.data[i] = picture.data[i];
    view.stride[i] = picture.linesize[i];
  }
  SetSiting(picture, &view);
  return view;
}

}  // namespace kiv
