#include "engine/motion/Warp.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "engine/motion/WarpKernel.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

constexpr ptrdiff_t kChannels = 4;
// Columns kept on each side of the picture, repeating its edge.
constexpr int kMargin = 4;

class Warper {
 public:
  Warper(const uint8_t* source, const KivSize& size, const WarpMap& map)
      : source_{source, kChannels * size.width, size.height},
        width_(size.width),
        map_(map),
        columns_((static_cast<size_t>(size.width) + size_t{2} * kMargin) * kChannels) {}

  void Row(int y, uint8_t* out) {
    const double startX = map_.xy * y + map_.x0;
    const double startY = map_.yy * y + map_.y0;
    if (map_.xx > 0) {
      const double slope = map_.yx / map_.xx;
      const double endX = startX + map_.xx * (width_ - 1);
      if (FillColumns({startY - slope * startX, slope}, Inside(startX), Inside(endX))) {
        OpaqueRow(startX, out);
        return;
      }
    }
    for (int i = 0; i < width_; ++i) {
      TranslucentPixel(startX + map_.xx * i, startY + map_.yx * i, out + kChannels * i);
    }
  }

 private:
  int16_t* Column(int x) { return columns_.data() + kChannels * (x + kMargin); }
  double Inside(double x) const { return std::clamp(x, -1.5, width_ + 0.5); }

  // Pixels farther out than the margin are the edge itself.
  void OpaqueRow(double startX, uint8_t* out) {
    const double step = map_.xx;
    const int from = std::clamp(SaturateToInt32(std::ceil((-1.5 - startX) / step)), 0, width_);
    const double last = std::floor((width_ + 0.5 - startX) / step);
    const int to = std::clamp(SaturateToInt32(last + 1), from, width_);
    Sample(-1, 0, 0, from, out);
    Sample(startX + step * from, step, from, to, out);
    Sample(width_, 0, to, width_, out);
  }
  void Sample(double x, double step, int from, int to, uint8_t* out) {
    if (from < to) {
      const size_t count = static_cast<size_t>(to) - static_cast<size_t>(from);
      SampleLine(Column(0), x, step, count, out + kChannels * from);
    }
  }

  // The columns that sampling between `from` and `to` reads. True when they are opaque.
  bool FillColumns(const WarpLine& line, double from, double to) {
    const int first = std::clamp(SaturateToInt32(std::floor(from)) - 1, 0, width_ - 1);
    const int last = std::clamp(SaturateToInt32(std::floor(to)) + 3, first, width_ - 1);
    const size_t count = static_cast<size_t>(last) - static_cast<size_t>(first) + 1;
    const bool opaque = SampleColumns(source_, line, first, count, Column(first));
    for (int i = 1; i <= kMargin; ++i) {
      if (first == 0) std::copy_n(Column(0), kChannels, Column(-i));
      if (last == width_ - 1) std::copy_n(Column(last), kChannels, Column(last + i));
    }
    return opaque;
  }

  // The slow way, colours weighed by their alpha.
  void TranslucentPixel(double x, double y, uint8_t* out) const {
    const int column = SaturateToInt32(std::floor(x)), row = SaturateToInt32(std::floor(y));
    const CubicWeights wx = CubicAt(x - column), wy = CubicAt(y - row);
    double sums[kChannels] = {};
    for (int j = 0; j < 4; ++j) {
      const int64_t at = std::clamp<int64_t>(int64_t{row} + j - 1, 0, source_.height - 1);
      for (int i = 0; i < 4; ++i) {
        const int64_t across = std::clamp<int64_t>(int64_t{column} + i - 1, 0, width_ - 1);
        const uint8_t* const pixel = source_.pixels + at * source_.stride + across * kChannels;
        const double weight = wx.w[i] * wy.w[j];
        for (int c = 0; c < 3; ++c) sums[c] += weight * pixel[3] * pixel[c];
        sums[3] += weight * pixel[3];
      }
    }
    for (int c = 0; c < 3; ++c) out[c] = Code(sums[3] > 0 ? sums[c] / sums[3] : 0);
    out[3] = Code(sums[3]);
  }

  static uint8_t Code(double value) {
    return static_cast<uint8_t>(SaturateToInt32(std::clamp(value, 0.0, 255.0) + 0.5));
  }

  const WarpSource source_;
  const int width_;
  const WarpMap map_;
  std::vector<int16_t> columns_;
};

}  // namespace

void WarpPicture(const uint8_t* source, const KivSize& size, const WarpMap& map, uint8_t* target) {
  Warper warper(source, size, map);
  const ptrdiff_t stride = kChannels * size.width;
  for (int y = 0; y < size.height; ++y) warper.Row(y, target + y * stride);
}

}  // namespace kiv
