#include "engine/motion/LumaPyramid.h"

#include <algorithm>
#include <utility>

#include "kiv/platform/PictureFacts.h"

namespace kiv {
namespace {

// Enough for a hundredth of a pixel, and a quarter of the work that a 1080p frame would be.
constexpr int kMostColumns = 1100;
constexpr int kSmallestSide = 28;
constexpr int kMostLevels = 5;

}  // namespace

void LumaPyramid::Build(const uint8_t* bgra, const KivSize& size) {
  frameSize_ = size;
  levels_.resize(kMostLevels);
  int halvings = 0;
  while (std::max(size.width, size.height) >> halvings > kMostColumns &&
         std::min(size.width, size.height) >> (halvings + 1) >= kSmallestSide) {
    ++halvings;
  }
  factor_ = 1 << halvings;
  BuildBase(bgra);
  HalveBase(halvings - 1);
  levels_[0].FillMargin();
  for (levelCount_ = 1; levelCount_ < kMostLevels; ++levelCount_) {
    const LumaPlane& upper = Level(levelCount_ - 1);
    if (std::min(upper.Size().width, upper.Size().height) / 2 < kSmallestSide) break;
    HalvePlane(upper, &levels_[static_cast<size_t>(levelCount_)]);
  }
}

void LumaPyramid::BuildBase(const uint8_t* bgra) {
  const ptrdiff_t stride = ptrdiff_t{kBytesPerPixel} * frameSize_.width;
  LumaPlane& base = levels_[0];
  const int side = factor_ == 1 ? 1 : 2;
  base.Resize({frameSize_.width / side, frameSize_.height / side});
  const ptrdiff_t rows = side;
  const auto width = static_cast<size_t>(base.Size().width);
  for (int y = 0; y < base.Size().height; ++y) {
    const uint8_t* const row = bgra + y * rows * stride;
    if (rows == 1) {
      LumaRow(row, width, base.Row(y));
    } else {
      HalvedLumaRow(row, row + stride, width, base.Row(y));
    }
  }
}

void LumaPyramid::HalveBase(int times) {
  for (; times > 0; --times) {
    HalvePlane(levels_[0], &scratch_);
    std::swap(levels_[0], scratch_);
  }
}

}  // namespace kiv
