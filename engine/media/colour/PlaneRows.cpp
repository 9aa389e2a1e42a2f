#include "engine/media/colour/PlaneRows.h"

#include <algorithm>

#include "kiv/platform/PictureFacts.h"

namespace kiv {
namespace {

// Room around a row for repeated edge samples and the last vector's overlap.
constexpr size_t kMargin = 64;

// Which two chroma lines a luma line lies between, and how near the first is, in quarters.
struct LinePair {
  int near, far, nearWeight;
};

LinePair LinesFor(const PlaneView& view, int y) {
  const int last = view.chroma.height - 1;
  if (view.verticalShift == 0) return {y, y, 4};
  const int near = std::min(y >> 1, last);
  const bool odd = (y & 1) != 0;
  if (view.chromaOnTopLine) return {near, odd ? std::min(near + 1, last) : near, odd ? 2 : 4};
  return {near, odd ? std::min(near + 1, last) : std::max(near - 1, 0), 3};
}

void RepeatEdges(std::vector<int16_t>* row, size_t count) {
  (*row)[kMargin - 1] = (*row)[kMargin];
  (*row)[kMargin + count] = (*row)[kMargin + count - 1];
}

}  // namespace

void PlaneRows::Reserve(const PlaneView& view) {
  const auto width = static_cast<size_t>(view.size.width);
  const auto chromaWidth = static_cast<size_t>(view.chroma.width);
  for (ChromaRow* row : {&cb_, &cr_}) {
    row->subsampled.assign(std::max(width, chromaWidth) + 2 * kMargin, 0);
    row->full.assign(width + 2 * kMargin, 0);
  }
  if (view.hasAlpha && view.depth > 8) alpha_.resize(width);
}

void PlaneRows::FillChroma(const PlaneView& view, int y) {
  const auto [near, far, weight] = LinesFor(view, y);
  const auto count = static_cast<size_t>(view.chroma.width);
  int16_t* const cb = cb_.subsampled.data() + kMargin;
  int16_t* const cr = cr_.subsampled.data() + kMargin;
  if (view.kind == PlaneKind::kSemiPlanarYuv) {
    BlendInterleavedChromaRows(view.Row(1, near), view.Row(1, far), weight, count, cb, cr);
  } else if (view.depth > 8) {
    BlendChromaRows(view.WideRow(1, near), view.WideRow(1, far), weight, view.depth, count, cb);
    BlendChromaRows(view.WideRow(2, near), view.WideRow(2, far), weight, view.depth, count, cr);
  } else {
    BlendChromaRows(view.Row(1, near), view.Row(1, far), weight, count, cb);
    BlendChromaRows(view.Row(2, near), view.Row(2, far), weight, count, cr);
  }
}

const int16_t* PlaneRows::Finish(const PlaneView& view, ChromaRow* row) {
  if (view.horizontalShift == 0) return row->subsampled.data() + kMargin;
  const auto count = static_cast<size_t>(view.chroma.width);
  RepeatEdges(&row->subsampled, count);
  DoubleChromaRow(row->subsampled.data() + kMargin, count, view.siting, row->full.data());
  return row->full.data();
}

const uint8_t* PlaneRows::AlphaRow(const PlaneView& view, int y) {
  if (!view.hasAlpha) return nullptr;
  if (view.depth == 8) return view.Row(3, y);
  const uint16_t* const wide = view.WideRow(3, y);
  const int most = (1 << view.depth) - 1;
  for (size_t x = 0; x < alpha_.size(); ++x) {
    alpha_[x] = static_cast<uint8_t>((std::min<int>(wide[x], most) * 255 + most / 2) / most);
  }
  return alpha_.data();
}

void PlaneRows::WriteRgbRow(const PlaneView& view, int y, uint8_t* out) {
  const BgraRow row{nullptr, nullptr, view.hasAlpha ? view.Row(3, y) : nullptr, out,
                    static_cast<size_t>(view.size.width)};
  PlanarRowToBgra(view.Row(2, y), view.Row(0, y), view.Row(1, y), row);
}

void PlaneRows::Write(const PlaneView& view, ColourSpace space, uint8_t* bgra) {
  Reserve(view);
  const ColourFactors factors = FactorsOf(space, view.depth);
  const auto width = static_cast<size_t>(view.size.width);
  for (int y = 0; y < view.size.height; ++y) {
    uint8_t* const out = bgra + static_cast<size_t>(y) * width * kBytesPerPixel;
    if (view.kind == PlaneKind::kPlanarRgb) {
      WriteRgbRow(view, y, out);
      continue;
    }
    if (view.kind != PlaneKind::kGrey) FillChroma(view, y);
    const BgraRow row{Finish(view, &cb_), Finish(view, &cr_), AlphaRow(view, y), out, width};
    if (view.depth > 8) {
      LumaRowToBgra(view.WideRow(0, y), view.depth, factors, row);
    } else {
      LumaRowToBgra(view.Row(0, y), factors, row);
    }
  }
}

}  // namespace kiv
