#include "draw/Sheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "draw/Label.h"
#include "kiv/values/Saturate.h"

namespace kiv::draw {
namespace {

// More tiles than this nobody can look at; longer clips show every n-th frame.
constexpr int32_t kMostTiles = 400;
constexpr int32_t kSheetWidth = 1600;
constexpr int32_t kNarrowestTile = 96;
constexpr int32_t kWidestTile = 480;
constexpr int32_t kGap = 4;
constexpr int32_t kWideLabelTile = 128;
constexpr uint32_t kPaper = 0xFF202020;

struct Layout {
  int32_t first = 0;
  int32_t step = 1;
  int32_t tiles = 0;
  int32_t columns = 1;
  int32_t rows = 1;
  int32_t labelScale = 1;
  session::Size tile;

  int32_t LabelHeight() const { return (kGlyphHeight + 4) * labelScale; }
  session::Size SheetSize() const {
    return {columns * (tile.width + kGap) + kGap,
            rows * (tile.height + LabelHeight() + kGap) + kGap};
  }
  // The top left corner of a tile's picture; its label lies below.
  Point PlaceOf(int32_t number) const {
    return {kGap + number % columns * (tile.width + kGap),
            kGap + number / columns * (tile.height + LabelHeight() + kGap)};
  }
};

Layout LayOut(int32_t first, int32_t count, session::Size frame) {
  Layout layout;
  layout.first = first;
  layout.step = (count - 1) / kMostTiles + 1;
  layout.tiles = (count - 1) / layout.step + 1;
  layout.columns = std::max(1, kiv::SaturateToInt32(std::ceil(std::sqrt(layout.tiles))));
  layout.rows = (layout.tiles + layout.columns - 1) / layout.columns;
  layout.tile.width = std::clamp(kSheetWidth / layout.columns, kNarrowestTile, kWidestTile);
  const double height = static_cast<double>(layout.tile.width) * frame.height / frame.width;
  // A strip-shaped picture must not make a sheet of unlimited height.
  layout.tile.height = std::clamp(kiv::SaturateToInt32(height + 0.5), 1, kWidestTile * 2);
  layout.labelScale = layout.tile.width >= kWideLabelTile ? 2 : 1;
  return layout;
}

class SheetPicture {
 public:
  explicit SheetPicture(const Layout& layout) : layout_(layout), size_(layout.SheetSize()) {
    bgra_.resize(static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height) *
                 session::kBytesPerPixel);
    for (size_t i = 0; i < bgra_.size(); i += sizeof(kPaper)) {
      std::memcpy(&bgra_[i], &kPaper, sizeof(kPaper));
    }
  }

  void Add(int32_t tile, const session::Frame& frame) {
    const Point place = layout_.PlaceOf(tile);
    CopyTile(place, frame.Scaled(layout_.tile));
    const std::string label = fmt::format("{} {:.3f}s", layout_.first + tile * layout_.step,
                                          session::SecondsOf(frame.SourceTime()));
    DrawLabel(label, {place.x, place.y + layout_.tile.height + 2 * layout_.labelScale},
              layout_.labelScale, bgra_.data(), size_);
  }

  Picture Take() { return {size_, std::move(bgra_)}; }

 private:
  void CopyTile(Point place, const session::Frame& tile) {
    const auto rowBytes = static_cast<size_t>(layout_.tile.width) * session::kBytesPerPixel;
    for (int32_t y = 0; y < layout_.tile.height; ++y) {
      const size_t row = static_cast<size_t>(place.y + y) * static_cast<size_t>(size_.width);
      std::memcpy(&bgra_[session::kBytesPerPixel * (row + static_cast<size_t>(place.x))],
                  tile.Pixels() + y * tile.Stride(), rowBytes);
    }
  }

  const Layout& layout_;
  const session::Size size_;
  std::vector<uint8_t> bgra_;
};

}  // namespace

Sheet DrawSheet(session::Clip& clip, const session::FrameSpan& span, const char* framesOption,
                const session::ProgressFunction& progress) {
  const session::FrameRange range = clip.Frames(span, framesOption);
  clip.Analyse(progress);
  session::Frame frame = clip.At(range.First());
  const Layout layout = LayOut(range.First(), range.Count(), frame.Size());
  SheetPicture sheet(layout);
  session::Report(progress, {session::Stage::kRender, 0, layout.tiles});
  for (int32_t tile = 0; tile < layout.tiles; ++tile) {
    if (tile > 0) frame = clip.At(range.First() + tile * layout.step);
    sheet.Add(tile, frame);
    session::Report(progress, {session::Stage::kRender, tile + 1, layout.tiles});
  }
  clip.RequirePictures();
  return {sheet.Take(), layout.step, range.Count()};
}

}  // namespace kiv::draw
