#include "engine/tween/Blender.h"

#include <cmath>
#include <cstring>

#include "engine/tween/BlendKernel.h"
#include "kiv/values/Saturate.h"

namespace kiv::tween {
namespace {

constexpr ptrdiff_t kBytes = 4;
constexpr float kOne = 32768;

// A sharper filter than this is not worth its time.
constexpr float kLeastCurve = 1.0F / 128;

// Pixels of a cell and what the filter needs around it, for a place that is partly outside the
// picture.
struct Excerpt {
  static constexpr ptrdiff_t kSide = kLargestCell + kTaps - 1;
  alignas(64) uint8_t pixels[kBytes * kSide * kSide];
};

CellWindow WindowOf(BlendWindow kind, int side) {
  CellWindow window{kind == BlendWindow::kWide ? 4 : 2, {}};
  for (int x = 0; x < side; ++x) {
    const float t = (static_cast<float>(x) + 0.5F) / static_cast<float>(side), u = 1 - t;
    if (kind == BlendWindow::kNear) {
      // Flat in the middle, where both corners know as much.
      window.weight[1][x] = t * (2 - t * (3 - 2 * t));
      window.weight[0][x] = 1 - window.weight[1][x];
      continue;
    }
    window.weight[0][x] = u * u * u;  // a cubic spline's parts, times 6
    window.weight[1][x] = 4 - 3 * t * t * (2 - t);
    window.weight[2][x] = 4 - 3 * u * u * (2 - u);
    window.weight[3][x] = t * t * t;
  }
  return window;
}

class CellMaker {
 public:
  CellMaker(const KeyPictures& keys, const NodeGrid<TweenNode>& field, const Blending& blending)
      : keys_(keys),
        field_(field),
        side_(blending.factor * kNodeStep),
        factor_(static_cast<float>(blending.factor)),
        when_(blending.when),
        sharpness_(blending.sharpness),
        stride_(keys.size.width * kBytes),
        window_(WindowOf(blending.window, side_)) {}

  // The cell whose upper left corner is node (i, j).
  void Make(int i, int j, uint8_t* out) {
    const int half = side_ / 2, x = i * side_ + half, y = j * side_ + half;
    const int lead = window_.across / 2 - 1;
    for (int k = 0; k < window_.across * window_.across; ++k) {
      const TweenNode& node =
          field_.Near(i - lead + k % window_.across, j - lead + k / window_.across);
      SetCorner(node, x, y, excerpts_[k], &corners_[k]);
    }
    const KivSize& size = keys_.size;
    if (x >= 0 && y >= 0 && x + side_ <= size.width && y + side_ <= size.height) {
      BlendCell(corners_, window_, side_, out + y * stride_ + x * kBytes, stride_);
      return;
    }
    BlendCell(corners_, window_, side_, partial_, side_ * kBytes);
    const int left = std::max(x, 0), right = std::min(x + side_, size.width);
    for (int row = std::max(y, 0); row < std::min(y + side_, size.height) && left < right; ++row) {
      std::memcpy(out + row * stride_ + left * kBytes,
                  partial_ + (kBytes * (row - y) * side_ + (left - x) * kBytes),
                  static_cast<size_t>((right - left) * kBytes));
    }
  }

 private:
  void SetCorner(const TweenNode& node, int x, int y, Excerpt (&excerpts)[2],
                 CellCorner* corner) const {
    const Motion v = node.motion * factor_;
    const auto atX = static_cast<float>(x), atY = static_cast<float>(y);
    SetSource(keys_.older, atX - when_ * v.x, atY - when_ * v.y, node.older, excerpts,
              &corner->sources[0]);
    SetSource(keys_.newer, atX + (1 - when_) * v.x, atY + (1 - when_) * v.y, 1 - node.older,
              excerpts + 1, &corner->sources[1]);
    corner->trust = node.trust;
  }

  void SetSource(const uint8_t* picture, float x, float y, float share, Excerpt* excerpt,
                 CellSource* source) const {
    const float column = std::floor(x), row = std::floor(y);
    const float curveX = SetTaps(x - column, 1, source->across);
    const float curveY = SetTaps(y - row, share, source->down);
    source->sharp = curveX > 0 || curveY > 0;
    SetPixels(picture, SaturateToInt32(column), SaturateToInt32(row), excerpt, source);
  }

  // Of a place so far beyond a pixel. Returns how much the outer ones count.
  float SetTaps(float beyond, float share, int16_t (&taps)[kTaps]) const {
    float curve = sharpness_ * beyond * (1 - beyond);
    if (curve < kLeastCurve) curve = 0;
    // What a straight line between the pixels misses, from the bends at both ends of it.
    const float first = curve * (1 - beyond), last = curve * beyond;
    const float weights[] = {-first, 1 - beyond + 2 * first - last, beyond - first + 2 * last,
                             -last};
    for (int k = 0; k < kTaps; ++k) {
      taps[k] = SaturateTo<int16_t>(std::floor(weights[k] * share * kOne + 0.5F));
    }
    return curve;
  }

  void SetPixels(const uint8_t* picture, int x, int y, Excerpt* excerpt, CellSource* source) const {
    const KivSize& size = keys_.size;
    if (x >= 1 && y >= 1 && x + side_ + 1 < size.width && y + side_ + 1 < size.height) {
      source->pixels = picture + y * stride_ + x * kBytes;
      source->stride = stride_;
      return;
    }
    uint8_t* to = excerpt->pixels;
    for (int row = -1; row <= side_ + 1; ++row) {
      const uint8_t* const from = picture + std::clamp(y + row, 0, size.height - 1) * stride_;
      for (int column = -1; column <= side_ + 1; ++column, to += kBytes) {
        std::memcpy(to, from + std::clamp(x + column, 0, size.width - 1) * kBytes, kBytes);
      }
    }
    source->stride = (side_ + kTaps - 1) * kBytes;
    source->pixels = excerpt->pixels + source->stride + kBytes;
  }

  static constexpr int kMostCorners = kMostAcross * kMostAcross;
  const KeyPictures& keys_;
  const NodeGrid<TweenNode>& field_;
  const int side_;
  const float factor_, when_, sharpness_;
  const ptrdiff_t stride_;
  const CellWindow window_;
  CellCorner corners_[kMostCorners];
  Excerpt excerpts_[kMostCorners][2];
  alignas(64) uint8_t partial_[kBytes * kLargestCell * kLargestCell];
};

}  // namespace

void BlendPicture(const KeyPictures& keys, const NodeGrid<TweenNode>& field,
                  const Blending& blending, RowPool& pool, uint8_t* out) {
  pool.Run(field.Height() + 1, [&](int row) {
    CellMaker maker(keys, field, blending);
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
