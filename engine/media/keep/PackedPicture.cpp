#include "engine/media/keep/PackedPicture.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "engine/media/keep/PackKernel.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace kiv {
namespace {

// Rows that are folded before their bits are written: few enough to stay in the nearest cache.
constexpr size_t kRowsAtOnce = 4;
constexpr int kMostPlanes = 4;

// A piece is a few rows: the widths of its blocks, then their bits. It never crosses a chunk's end;
// what a piece may take at most tells both sides when the next chunk begins.
constexpr size_t kChunkBytes = size_t{128} << 10;

size_t PieceLimit(size_t blocks) { return blocks * (1 + kPackBlock); }

struct PlaneShape {
  size_t samples = 0;  // in a row
  size_t rows = 0;
  size_t step = 1;  // samples from one to the next of the same component
  bool wide = false;

  size_t BlocksIn(size_t rowCount) const {
    return (samples * rowCount + kPackBlock - 1) / kPackBlock;
  }
};

struct PictureShape {
  PlaneShape planes[kMostPlanes];
  int count = 0;
};

std::optional<PictureShape> ShapeOf(const AVFrame& picture) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  constexpr uint64_t kNotPlain = AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL |
                                 AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BE |
                                 AV_PIX_FMT_FLAG_FLOAT;
  if (!description || (description->flags & kNotPlain)) return std::nullopt;
  PictureShape shape;
  shape.count = av_pix_fmt_count_planes(format);
  for (int i = 0; i < description->nb_components; ++i) {
    const AVComponentDescriptor& component = description->comp[i];
    PlaneShape& plane = shape.planes[component.plane];
    plane.wide = component.depth > 8;
    const int sampleBytes = plane.wide ? 2 : 1;
    const int bytes = av_image_get_linesize(format, picture.width, component.plane);
    const bool chroma = component.plane == 1 || component.plane == 2;
    const int shift = chroma ? description->log2_chroma_h : 0;
    if (bytes <= 0 || bytes % sampleBytes != 0 || component.depth > 16) return std::nullopt;
    plane.samples = static_cast<size_t>(bytes / sampleBytes);
    plane.rows = static_cast<size_t>(AV_CEIL_RSHIFT(picture.height, shift));
    plane.step = static_cast<size_t>(std::max(1, component.step / sampleBytes));
    if (plane.step * static_cast<size_t>(sampleBytes) > kPackMargin) return std::nullopt;
    if (PieceLimit(plane.BlocksIn(kRowsAtOnce)) > kChunkBytes) return std::nullopt;
  }
  return shape;
}

// Two rows with margins, taken in turns: one and the one above it.
template <typename Sample>
class RowPair {
 public:
  explicit RowPair(const PlaneShape& plane)
      : plane_(plane), memory_(2 * (plane.samples + 2 * kPackMargin)) {}

  Sample* Row() { return memory_.data() + kPackMargin + (odd_ ? Stride() : 0); }
  const Sample* Above() const { return memory_.data() + kPackMargin + (odd_ ? 0 : Stride()); }
  // The row is complete: it becomes the one above.
  void Next() {
    Sample* const row = Row();
    for (size_t i = 0; i < plane_.step; ++i) {
      row[-1 - static_cast<ptrdiff_t>(i)] = row[0];
      row[plane_.samples + i] = row[plane_.samples - 1];
    }
    odd_ = !odd_;
  }

 private:
  size_t Stride() const { return plane_.samples + 2 * kPackMargin; }

  const PlaneShape& plane_;
  std::vector<Sample> memory_;
  bool odd_ = false;
};

// The folded differences of a few rows, one after the other, with room for a last vector.
struct FoldedRows {
  explicit FoldedRows(const PlaneShape& plane)
      : low(plane.BlocksIn(kRowsAtOnce) * kPackBlock + kPackMargin),
        high(plane.wide ? low.size() : 0) {}
  std::vector<uint8_t> low, high;
};

void Fold(RowPair<uint8_t>& rows, const PlaneShape& plane, size_t at, FoldedRows* folded) {
  FoldRow8(rows.Row(), rows.Above(), plane.samples, plane.step, folded->low.data() + at);
}
void Fold(RowPair<uint16_t>& rows, const PlaneShape& plane, size_t at, FoldedRows* folded) {
  FoldRow16(rows.Row(), rows.Above(), plane.samples, plane.step, folded->low.data() + at,
            folded->high.data() + at);
}
void Unfold(RowPair<uint8_t>& rows, const PlaneShape& plane, size_t at, const FoldedRows& folded) {
  UnfoldRow8(folded.low.data() + at, rows.Above(), plane.samples, plane.step, rows.Row());
}
void Unfold(RowPair<uint16_t>& rows, const PlaneShape& plane, size_t at, const FoldedRows& folded) {
  UnfoldRow16(folded.low.data() + at, folded.high.data() + at, rows.Above(), plane.samples,
              plane.step, rows.Row());
}

class PackTarget {
 public:
  PackTarget(std::vector<SlabBuffer>* chunks, std::vector<uint8_t>* piece)
      : chunks_(chunks), piece_(piece) {}

  void Add(std::vector<uint8_t>& folded, size_t samples, size_t blocks) {
    std::fill(folded.begin() + static_cast<ptrdiff_t>(samples),
              folded.begin() + static_cast<ptrdiff_t>(blocks * kPackBlock), uint8_t{0});
    piece_->resize(std::max(piece_->size(), PieceLimit(blocks)));
    const size_t bytes =
        blocks + PackBlocks(folded.data(), blocks, piece_->data(), piece_->data() + blocks);
    if (chunks_->empty() || used_ + PieceLimit(blocks) > kChunkBytes) AddChunk();
    std::memcpy(chunks_->back().get() + used_, piece_->data(), bytes);
    used_ += bytes;
  }

 private:
  void AddChunk() {
    chunks_->emplace_back(static_cast<uint8_t*>(SlabPool::Shared().Acquire(kChunkBytes)));
    if (!chunks_->back()) throw std::bad_alloc();
    used_ = 0;
  }

  std::vector<SlabBuffer>* const chunks_;
  std::vector<uint8_t>* const piece_;
  size_t used_ = 0;
};

class PackSource {
 public:
  explicit PackSource(const std::vector<SlabBuffer>& chunks) : chunks_(chunks) {}

  void Take(size_t blocks, std::vector<uint8_t>* folded) {
    if (used_ + PieceLimit(blocks) > kChunkBytes) {
      ++chunk_;
      used_ = 0;
    }
    const uint8_t* const piece = chunks_[chunk_].get() + used_;
    used_ += blocks + UnpackBlocks(piece + blocks, piece, blocks, folded->data());
  }

 private:
  const std::vector<SlabBuffer>& chunks_;
  size_t chunk_ = 0;
  size_t used_ = 0;
};

template <typename Sample>
void PackPlane(const PlaneShape& plane, const uint8_t* data, ptrdiff_t stride, PackTarget* target) {
  RowPair<Sample> rows(plane);
  FoldedRows folded(plane);
  for (size_t y = 0; y < plane.rows;) {
    const size_t count = std::min(kRowsAtOnce, plane.rows - y);
    for (size_t i = 0; i < count; ++i, ++y) {
      const uint8_t* const row = data + static_cast<ptrdiff_t>(y) * stride;
      std::memcpy(rows.Row(), row, plane.samples * sizeof(Sample));
      Fold(rows, plane, i * plane.samples, &folded);
      rows.Next();
    }
    target->Add(folded.low, count * plane.samples, plane.BlocksIn(count));
    if (plane.wide) target->Add(folded.high, count * plane.samples, plane.BlocksIn(count));
  }
}

template <typename Sample>
void UnpackPlane(const PlaneShape& plane, uint8_t* data, ptrdiff_t stride, PackSource* source) {
  RowPair<Sample> rows(plane);
  FoldedRows folded(plane);
  for (size_t y = 0; y < plane.rows;) {
    const size_t count = std::min(kRowsAtOnce, plane.rows - y);
    source->Take(plane.BlocksIn(count), &folded.low);
    if (plane.wide) source->Take(plane.BlocksIn(count), &folded.high);
    for (size_t i = 0; i < count; ++i, ++y) {
      Unfold(rows, plane, i * plane.samples, folded);
      uint8_t* const row = data + static_cast<ptrdiff_t>(y) * stride;
      std::memcpy(row, rows.Row(), plane.samples * sizeof(Sample));
      rows.Next();
    }
  }
}

}  // namespace

std::shared_ptr<const PackedPicture> PackedPicture::Pack(const AVFrame& picture,
                                                         PackScratch* scratch) {
  const std::optional<PictureShape> shape = ShapeOf(picture);
  if (!shape) return nullptr;
  const std::shared_ptr<PackedPicture> made(new PackedPicture);
  PackTarget target(&made->chunks_, &scratch->piece);
  for (int i = 0; i < shape->count; ++i) {
    const PlaneShape& plane = shape->planes[i];
    const auto pack = plane.wide ? &PackPlane<uint16_t> : &PackPlane<uint8_t>;
    pack(plane, picture.data[i], picture.linesize[i], &target);
  }
  made->properties_ = NewFrame();
  made->properties_->format = picture.format;
  made->properties_->width = picture.width;
  made->properties_->height = picture.height;
  if (av_frame_copy_props(made->properties_.get(), &picture) < 0) throw std::bad_alloc();
  return made;
}

int64_t PackedPicture::Bytes() const { return static_cast<int64_t>(chunks_.size() * kChunkBytes); }

int PackedPicture::Unpack(AVFrame* picture) const {
  const bool fits = picture->buf[0] && picture->format == properties_->format &&
                    picture->width == properties_->width &&
                    picture->height == properties_->height && av_frame_is_writable(picture);
  if (!fits) {
    av_frame_unref(picture);
    picture->format = properties_->format;
    picture->width = properties_->width;
    picture->height = properties_->height;
    if (const int error = av_frame_get_buffer(picture, 0); error < 0) return error;
  }
  // What the picture before left there would pile up.
  while (picture->nb_side_data > 0) {
    av_frame_remove_side_data(picture, picture->side_data[0]->type);
  }
  if (const int error = av_frame_copy_props(picture, properties_.get()); error < 0) return error;
  const std::optional<PictureShape> shape = ShapeOf(*picture);
  PackSource source(chunks_);
  for (int i = 0; i < shape->count; ++i) {
    const PlaneShape& plane = shape->planes[i];
    const auto unpack = plane.wide ? &UnpackPlane<uint16_t> : &UnpackPlane<uint8_t>;
    unpack(plane, picture->data[i], picture->linesize[i], &source);
  }
  return 0;
}

}  // namespace kiv
