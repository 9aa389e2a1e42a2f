#include "engine/media/read/PictureBuffers.h"

#include <algorithm>

#include "engine/memory/SlabPool.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace kiv {
namespace {

constexpr int kMostPlanes = 4;
// Decoders write whole vectors at the ends of rows and read beyond the last one.
constexpr int kRowAlignment = 64;
constexpr size_t kPlaneSlack = 128;
constexpr int kMostAttempts = 16;

struct Layout {
  int strides[kMostPlanes] = {};
  size_t offsets[kMostPlanes] = {};
  int planes = 0;
  size_t bytes = 0;
};

// Strides that are whole vectors in every plane. Wider than asked, never narrower.
bool FillStrides(AVPixelFormat format, int width, const int* alignments, int* strides) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt, width += kRowAlignment) {
    if (av_image_fill_linesizes(strides, format, width) < 0) return false;
    bool aligned = true;
    for (int i = 0; i < kMostPlanes; ++i) {
      aligned = aligned && strides[i] % std::max(alignments[i], kRowAlignment) == 0;
    }
    if (aligned) return true;
  }
  return false;
}

bool LayOut(AVCodecContext* decoder, const AVFrame& picture, Layout* layout) {
  int width = picture.width;
  int height = picture.height;
  int alignments[AV_NUM_DATA_POINTERS];
  avcodec_align_dimensions2(decoder, &width, &height, alignments);
  width = (width + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  const auto format = static_cast<AVPixelFormat>(picture.format);
  layout->planes = av_pix_fmt_count_planes(format);
  if (layout->planes < 1 || layout->planes > kMostPlanes) return false;
  if (!FillStrides(format, width, alignments, layout->strides)) return false;
  ptrdiff_t strides[kMostPlanes];
  std::copy(std::begin(layout->strides), std::end(layout->strides), strides);
  size_t sizes[kMostPlanes];
  if (av_image_fill_plane_sizes(sizes, format, height, strides) < 0) return false;
  for (int i = 0; i < layout->planes; ++i) {
    layout->offsets[i] = layout->bytes;
    layout->bytes += (sizes[i] / kRowAlignment + 1) * kRowAlignment + kPlaneSlack;
  }
  return true;
}

void GiveBack(void* /*unused*/, uint8_t* data) { SlabPool::Shared().Release(data); }

int GetPicture(AVCodecContext* decoder, AVFrame* picture, int flags) {
  const AVPixFmtDescriptor* form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture->format));
  constexpr uint64_t kNotPlain = AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL;
  Layout layout;
  const bool plain = form && !(form->flags & kNotPlain) && !decoder->hw_frames_ctx &&
                     (decoder->codec->capabilities & AV_CODEC_CAP_DR1);
  if (!plain || !LayOut(decoder, *picture, &layout)) {
    return avcodec_default_get_buffer2(decoder, picture, flags);
  }
  auto* const data = static_cast<uint8_t*>(SlabPool::Shared().Acquire(layout.bytes));
  if (!data) return AVERROR(ENOMEM);
  picture->buf[0] = av_buffer_create(data, layout.bytes, &GiveBack, nullptr, 0);
  if (!picture->buf[0]) {
    SlabPool::Shared().Release(data);
    return AVERROR(ENOMEM);
  }
  for (int i = 0; i < layout.planes; ++i) {
    picture->data[i] = data + layout.offsets[i];
    picture->linesize[i] = layout.strides[i];
  }
  picture->extended_data = picture->data;
  return 0;
}

}  // namespace

void UseSlabsForPictures(AVCodecContext* decoder) {
  decoder->get_buffer2 = &GetPicture;
#if LIBAVCODEC_VERSION_MAJOR < 60
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  decoder->thread_safe_callbacks = 1;  // later versions take it for granted
#pragma GCC diagnostic pop
#endif
}

}  // namespace kiv
