#include "engine/tween/Blender.h"

#include <cmath>
#include <cstring>

#include "engine/tween/BlendKernel.h"
#include "kiv/values/Saturate.h"

namespace kiv::tween {
namespace {

constexpr ptrdiff_t kBytes = 4;
constexpr float kOne = 32768;

// Pixels of a cell and one more column and row, for a place that is partly outside the picture.
struct Excerpt {
  static constexpr ptrdiff_t kSide = kLargestCell + 1;
  alignas(64) uint8_t pixels[kSide * kSide * kBytes];
};

class CellMaker {
 public:
  CellMaker(const KeyPictures& keys, const NodeGrid<TweenNode>& field, int factor, float when)
      : keys_(keys),
        field_(field),
        side_(factor * kNodeStep),
        factor_(static_cast<float>(factor)),
        when_(when),
        stride_(keys.size.width * kBytes) {}

  // The cell whose upper left corner is node (i, j).
  void Make(int i, int j, uint8_t* out) {
    const int half = side_ / 2, x = i * side_ + half, y = j * side_ + half;
    CellCorner corners[kCorners];
    for (int k = 0; k < kCorners; ++k) {
      const TweenNode& node = field_.Near(i + k % 2, j + k / 2);
      const Motion v = node.motion * factor_;
      SetSource(keys_.older, static_cast<float>(x) - when_ * v.x,
                static_cast<float>(y) - when_ * v.y, node.older, &excerpts_[k][0],
                &corners[k].sources[0]);
      SetSource(keys_.newer, static_cast<float>(x) + (1 - when_) * v.x,
                static_cast<float>(y) + (1 - when_) * v.y, 1 - node.older, &excerpts_[k][1],
                &corners[k].sources[1]);
      corners[k].trust = node.trust;
    }
    const KivSize& size = keys_.size;
    if (x >= 0 && y >= 0 && x + side_ <= size.width && y + side_ <= size.height) {
      BlendCell(corners, side_, out + y * stride_ + x * kBytes, stride_);
      return;
    }
    BlendCell(corners, side_, partial_, side_ * kBytes);
    const int left = std::max(x, 0), right = std::min(x + side_, size.width);
    for (int row = std::max(y, 0); row < std::min(y + side_, size.height) && left < right; ++row) {
      std::memcpy(out + row * stride_ + left * kBytes,
                  partial_ + ((row - y) * side_ + left - x) * kBytes,
                  static_cast<size_t>((right - left) * kBytes));
    }
  }

 private:
  void SetSource(const uint8_t* picture, float x, float y, float share, Excerpt* excerpt,
                 CellSource* source) const {
    const float column = std::floor(x), row = std::floor(y);
    const float right = x - column, lower = y - row;
    const float weights[] = {(1 - right) * (1 - lower), right * (1 - lower), (1 - right) * lower,
                             right * lower};
    for (int k = 0; k < 4; ++k) {
      source->weights[k] = SaturateTo<int16_t>(weights[k] * share * kOne + 0.5F);
    }
    SetPixels(picture, SaturateToInt32(column), SaturateToInt32(row), excerpt, source);
  }

  void SetPixels(const uint8_t* picture, int x, int y, Excerpt* excerpt, CellSource* source) const {
    const KivSize& size = keys_.size;
    if (x >= 0 && y >= 0 && x + side_ < size.width && y + side_ < size.height) {
      source->pixels = picture + y * stride_ + x * kBytes;
      source->stride = stride_;
      return;
    }
    uint8_t* to = excerpt->pixels;
    for (int row = 0; row <= side_; ++row) {
      const uint8_t* const from = picture + std::clamp(y + row, 0, size.height - 1) * stride_;
      for (int column = 0; column <= side_; ++column, to += kBytes) {
        std::memcpy(to, from + std::clamp(x + column, 0, size.width - 1) * kBytes, kBytes);
      }
    }
    source->pixels = excerpt->pixels;
    source->stride = (side_ + 1) * kBytes;
  }

  const KeyPictures& keys_;
  const NodeGrid<TweenNode>& field_;
  const int side_;
  const float factor_, when_;
  const ptrdiff_t stride_;
  Excerpt excerpts_[kCorners][2];
  alignas(64) uint8_t partial_[kBytes * kLargestCell * kLargestCell];
};

}  // namespace

void BlendPicture(const KeyPictures& keys, const NodeGrid<TweenNode>& field, int factor, float when,
                  RowPool& pool, uint8_t* out) {
  pool.Run(field.Height() + 1, [&](int row) {
    CellMaker maker(keys, field, factor, when);
    for (int i = -1; i < field.Width(); ++i) maker.Make(i, row - 1, out);
  });
}

void MixPictures(const KeyPictures& keys, float when, RowPool& pool, uint8_t* out) {
  const int share = SaturateToInt32(when * 256 + 0.5F);
  const ptrdiff_t stride = keys.size.width * kBytes;
  pool.Run(keys.size.height, [&](int y) {
    const uint8_t* const a = keys.older + y * stride;
    const uint8_t* const b = keys.newer + y * stride;
    uint8_t* const to = out + y * stride;
    for (ptrdiff_t i = 0; i < stride; ++i) {
      to[i] = static_cast<uint8_t>((a[i] * (256 - share) + b[i] * share + 128) >> 8);
    }
  });
}

}  // namespace kiv::tween
