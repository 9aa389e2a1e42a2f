#include "engine/tween/Blender.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "engine/tween/BlendKernel.h"
#include "kiv/values/Saturate.h"

namespace kiv::tween {
namespace {

constexpr ptrdiff_t kBytes = 4;
constexpr float kOne = 32768;

// Rows of cells that are made in one go.
constexpr int kBandRows = 4;
// A sharper filter than this is not worth its time.
constexpr float kLeastCurve = 1.0F / 128;

// A tap of this weight, which is at most 1.
int16_t TapOf(float weight) {
  constexpr int kAway = 1 << 16;  // where cutting off rounds down
  const int rounded = static_cast<int>(weight * kOne + (kAway + 0.5F)) - kAway;
  return static_cast<int16_t>(std::min(rounded, (1 << 15) - 1));
}

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

// What one key frame gives to the cells around a node: the pixel that lies so far from each of
// theirs, and those around it.
struct NodeSource {
  int right, down;
  Taps taps;
};
struct NodeParts {
  NodeSource older, newer;
  float trust;
};

// The parts of a field's nodes, row by row; those of the last few rows are kept.
class NodeRows {
 public:
  NodeRows(const NodeGrid<TweenNode>& field, const Blending& blending)
      : field_(field), blending_(blending) {
    const int count = field.Width() + 2 * kMostAcross;
    for (Row& row : rows_) row.parts.resize(static_cast<size_t>(count));
  }

  // Node (0, j); the nodes beyond the ends are there too, as far as a window reaches.
  const NodeParts* At(int j) {
    Row& row = rows_[(j + kMostAcross) % kMostAcross];
    if (row.number != j) Fill(j, &row);
    return row.parts.data() + kMostAcross;
  }

 private:
  static constexpr int kNone = -kMostAcross;
  struct Row {
    int number = kNone;
    std::vector<NodeParts> parts;
  };

  void Fill(int j, Row* row) const {
    row->number = j;
    int i = -kMostAcross;
    for (NodeParts& parts : row->parts) SetParts(field_.Near(i++, j), &parts);
  }

  void SetParts(const TweenNode& node, NodeParts* parts) const {
    const Motion v = node.motion * static_cast<float>(blending_.factor);
    SetSource(v * -blending_.when, node.older, &parts->older);
    SetSource(v * (1 - blending_.when), 1 - node.older, &parts->newer);
    parts->trust = node.trust;
  }

  void SetSource(const Motion& beyond, float share, NodeSource* source) const {
    source->right = FloorOf(beyond.x);
    source->down = FloorOf(beyond.y);
    const float restX = beyond.x - static_cast<float>(source->right);
    const float restY = beyond.y - static_cast<float>(source->down);
    const float curveX = SetTaps(restX, 1, source->taps.across);
    const float curveY = SetTaps(restY, share, source->taps.down);
    source->taps.sharp = curveX > 0 || curveY > 0;
  }

  // Of a place so far beyond a pixel. Returns how much the outer ones count.
  float SetTaps(float beyond, float share, int16_t (&taps)[kTaps]) const {
    float curve = blending_.sharpness * beyond * (1 - beyond);
    if (curve < kLeastCurve) curve = 0;
    // What a straight line between the pixels misses, from the bends at both ends of it.
    const float first = curve * (1 - beyond), last = curve * beyond;
    const float weights[] = {-first, 1 - beyond + 2 * first - last, beyond - first + 2 * last,
                             -last};
    for (int k = 0; k < kTaps; ++k) {
      taps[k] = TapOf(weights[k] * share);
    }
    return curve;
  }

  const NodeGrid<TweenNode>& field_;
  const Blending& blending_;
  Row rows_[kMostAcross];
};

class CellMaker {
 public:
  CellMaker(const KeyPictures& keys, const NodeGrid<TweenNode>& field, const Blending& blending)
      : keys_(keys),
        nodes_(field, blending),
        cells_(field.Width()),
        side_(blending.factor * kNodeStep),
        stride_(keys.size.width * kBytes),
        window_(WindowOf(blending.window, side_)) {}

  // The cells whose upper left corners are the nodes of row j, and the one before them.
  void MakeRow(int j, uint8_t* out) {
    const int lead = window_.across / 2 - 1;
    const NodeParts* rows[kMostAcross] = {};
    for (int k = 0; k < window_.across; ++k) rows[k] = nodes_.At(j - lead + k);
    const int half = side_ / 2, y = j * side_ + half;
    for (int i = -1; i < cells_; ++i) {
      const int x = i * side_ + half;
      for (int k = 0; k < window_.across * window_.across; ++k) {
        const NodeParts& node = rows[k / window_.across][i - lead + k % window_.across];
        SetSource(keys_.older, x, y, node.older, &excerpts_[k][0], &corners_[k].sources[0]);
        SetSource(keys_.newer, x, y, node.newer, &excerpts_[k][1], &corners_[k].sources[1]);
        corners_[k].trust = node.trust;
      }
      MakeCell(x, y, out);
    }
  }

 private:
  void MakeCell(int x, int y, uint8_t* out) {
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

  void SetSource(const uint8_t* picture, int x, int y, const NodeSource& from, Excerpt* excerpt,
                 CellSource* source) const {
    source->taps = &from.taps;
    SetPixels(picture, ClampToInt32(int64_t{x} + from.right), ClampToInt32(int64_t{y} + from.down),
              excerpt, source);
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
  NodeRows nodes_;
  const int cells_, side_;
  const ptrdiff_t stride_;
  const CellWindow window_;
  CellCorner corners_[kMostCorners];
  Excerpt excerpts_[kMostCorners][2];
  alignas(64) uint8_t partial_[kBytes * kLargestCell * kLargestCell];
};

}  // namespace

void BlendPicture(const KeyPictures& keys, const NodeGrid<TweenNode>& field,
                  const Blending& blending, RowPool& pool, uint8_t* out) {
  const int rows = field.Height() + 1;
  pool.Run((rows + kBandRows - 1) / kBandRows, [&](int band) {
    CellMaker maker(keys, field, blending);
    const int first = band * kBandRows;
    for (int row = first; row < std::min(first + kBandRows, rows); ++row) {
      maker.MakeRow(row - 1, out);
    }
  });
}

void MixPictures(const KeyPictures& keys, float when, RowPool& pool, uint8_t* out) {
  const int share = SaturateToInt32(when * kShares + 0.5F);
  const ptrdiff_t stride = keys.size.width * kBytes;
  pool.Run(keys.size.height, [&](int y) {
    const ptrdiff_t at = y * stride;
    MixRow(keys.older + at, keys.newer + at, share, static_cast<size_t>(stride), out + at);
  });
}

}  // namespace kiv::tween
