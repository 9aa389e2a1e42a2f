// sheet: the chain's frames as one picture of labelled tiles.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/Clip.h"
#include "host/Commands.h"
#include "host/HostError.h"
#include "host/InputChecks.h"
#include "host/Interrupt.h"
#include "host/Label.h"
#include "host/Messages.h"
#include "host/PictureFile.h"
#include "host/Progress.h"
#include "kiv/values/Saturate.h"

namespace host {
namespace {

// More tiles than this nobody can look at; longer clips show every n-th frame.
constexpr int32_t kMostTiles = 400;
constexpr int32_t kSheetWidth = 1600;
constexpr int32_t kNarrowestTile = 96;
constexpr int32_t kWidestTile = 480;
constexpr int32_t kGap = 4;
constexpr int32_t kWideLabelTile = 128;
constexpr double kTicksPerSecond = 1e7;

struct Layout {
  int32_t first = 0;
  int32_t step = 1;
  int32_t tiles = 0;
  int32_t columns = 1;
  int32_t rows = 1;
  int32_t labelScale = 1;
  KivSize tile;

  int32_t LabelHeight() const { return (kGlyphHeight + 4) * labelScale; }
  KivSize SheetSize() const {
    return {columns * (tile.width + kGap) + kGap,
            rows * (tile.height + LabelHeight() + kGap) + kGap};
  }
  // The top left corner of a tile's picture; its label lies below.
  KivPoint PlaceOf(int32_t number) const {
    return {kGap + number % columns * (tile.width + kGap),
            kGap + number / columns * (tile.height + LabelHeight() + kGap)};
  }
};

Layout LayOut(KivRange range, KivSize frame) {
  Layout layout;
  const int32_t count = range.end - range.start + 1;
  layout.first = range.start;
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
  explicit SheetPicture(const Layout& layout)
      : layout_(layout),
        size_(layout.SheetSize()),
        sheet_(KivCommon::ImageFunc::InitBitmap(size_.width, size_.height)),
        tile_(KivCommon::ImageFunc::InitBitmap(layout.tile.width, layout.tile.height)) {
    if (!sheet_ || !tile_) FailRun("no memory for a sheet of {}x{}", size_.width, size_.height);
    sheet_->Fill(0xFF202020);
  }

  void Add(int32_t tile, IKivFrame& frame, int64_t sourceTime) {
    KivCommon::ImageFunc::ResizeImage(nullptr, frame.GetBitmap(), tile_.Get(), 0);
    const KivPoint place = layout_.PlaceOf(tile);
    CopyTile(place);
    const std::string label = fmt::format("{} {:.3f}s", layout_.first + tile * layout_.step,
                                          static_cast<double>(sourceTime) / kTicksPerSecond);
    DrawLabel(label, {place.x, place.y + layout_.tile.height + 2 * layout_.labelScale},
              layout_.labelScale, Pixels(), size_);
  }

  KivSize Size() const { return size_; }
  uint8_t* Pixels() const { return static_cast<uint8_t*>(sheet_->GetPixels()); }

 private:
  void CopyTile(KivPoint place) {
    const auto rowBytes = static_cast<size_t>(layout_.tile.width) * 4;
    const auto* source = static_cast<const uint8_t*>(tile_->GetPixels());
    for (int32_t y = 0; y < layout_.tile.height; ++y) {
      const size_t row = static_cast<size_t>(place.y + y) * static_cast<size_t>(size_.width);
      std::memcpy(Pixels() + 4 * (row + static_cast<size_t>(place.x)), source, rowBytes);
      source += rowBytes;
    }
  }

  const Layout& layout_;
  const KivSize size_;
  const KivComPtr<IKivBitmap> sheet_;
  const KivComPtr<IKivBitmap> tile_;
};

}  // namespace

void RunSheet(const Options& options) {
  CheckFiles(options);
  Clip clip(options.input, options.chain);
  const KivRange range = ResolveFrames(options.frames, "--frames", clip.Result().frameCount);
  clip.Stabilize(options.progress);
  clip.Seek(range.start);
  KivComPtr<IKivFrame> frame = clip.Pull();
  const Layout layout =
      LayOut(range, {frame->GetBitmap()->GetWidth(), frame->GetBitmap()->GetHeight()});
  SheetPicture picture(layout);
  Progress progress(options.progress, layout.tiles, clip.Stage());
  for (int32_t tile = 0; tile < layout.tiles; ++tile) {
    ThrowIfInterrupted();
    if (tile > 0) {
      for (int32_t i = 0; i < layout.step; ++i) clip.Advance();
      frame = clip.Pull();
    }
    picture.Add(tile, *frame, clip.SourceTimeOf(*frame, range.start + tile * layout.step));
    progress.Update(tile + 1);
  }
  clip.RequirePictures();
  WritePicture(options.plan, picture.Size(), picture.Pixels());
  if (!options.chain.saveSettings.empty()) clip.SaveSettings(options.chain.saveSettings);
  if (layout.step > 1) {
    PrintNote(fmt::format("the sheet shows one frame in {} of {}", layout.step,
                          range.end - range.start + 1));
  }
}

}  // namespace host
