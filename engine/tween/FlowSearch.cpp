#include "engine/tween/FlowSearch.h"

#include <cmath>
#include <limits>

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/tween/FlowSearch.cpp"
#include <hwy/foreach_target.h>  // NOLINT

#include "engine/tween/PatchKernel-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kiv::tween::HWY_NAMESPACE {

// What a pixel of disagreement with the expected motion costs, as much as this difference on all
// pixels of a window.
constexpr float kCodesPerPixel = 1.0F;
constexpr float kRoughness = kPatchPixels * 16 * 16 * kCodesPerPixel * kCodesPerPixel;
// Keeps windows without slopes in place.
constexpr float kLeastSlope = kPatchPixels * 8.0F;
constexpr int kSteps = 5;
constexpr float kLongestStep = 4;
constexpr float kFarApart = 4;  // square of pixels; beyond it disagreement costs no more
// Motions nearer than that, squared, are the same.
constexpr float kSame = 1.0F / 4;
constexpr float kSmallestStep = 1.0F / 48;
constexpr float kNothing = std::numeric_limits<float>::max();

HWY_INLINE bool Same(const Motion& a, const Motion& b) { return SquareOf(a - b) < kSame; }

HWY_INLINE float WithoutBrightness(const PatchSums& sums) {
  const auto d = static_cast<float>(sums.d);
  return static_cast<float>(sums.dd) - d * d / kPatchPixels;
}

// One node's search.
class NodeSearch {
 public:
  NodeSearch(const LumaPlane& from, const LumaPlane& to, int i, int j, const Motion& expected)
      : to_(to),
        x_(static_cast<float>(CornerOf(i))),
        y_(static_cast<float>(CornerOf(j))),
        expected_(expected) {
    const PatchPlace place = PatchAt(from, x_, y_);
    MakeSearchPatch(place.corner, place.stride, &patch_);
    SetUpSlopes();
  }

  // Begins with what was found before.
  void Begin(const FlowNode& found) {
    best_ = found;
    best_.cost = found.match + kRoughness * Penalty(found.motion);
  }
  void Begin(const Motion& motion) {
    best_.cost = kNothing;
    Try(motion);
  }

  // True when it is the best so far.
  bool Try(const Motion& motion) {
    const PatchSums sums = Compare(patch_, PatchAt(to_, x_ + motion.x, y_ + motion.y));
    const float match = WithoutBrightness(sums);
    const float cost = match + kRoughness * Penalty(motion);
    if (cost >= best_.cost) return false;
    best_ = {motion, match, cost, static_cast<float>(sums.dd)};
    sums_ = sums;
    return true;
  }

  void Follow() {
    const Motion start = best_.motion;
    for (int step = 0; step < kSteps; ++step) {
      const Motion move = Step();
      if (SquareOf(move) < kSmallestStep * kSmallestStep) return;
      const Motion next = best_.motion + move;
      if (SquareOf(next - start) > kLongestStep * kLongestStep || !Try(next)) return;
    }
  }

  const FlowNode& Best() const { return best_; }

 private:
  float Penalty(const Motion& motion) const {
    return std::min(SquareOf(motion - expected_), kFarApart);
  }

  // Of the window's brightness per pixel, less its mean, in sixteenths of a code.
  void SetUpSlopes() {
    const auto x = static_cast<float>(patch_.sumX), y = static_cast<float>(patch_.sumY);
    xx_ = static_cast<float>(patch_.xx) - x * x / kPatchPixels + kLeastSlope;
    xy_ = static_cast<float>(patch_.xy) - x * y / kPatchPixels;
    yy_ = static_cast<float>(patch_.yy) - y * y / kPatchPixels + kLeastSlope;
    // A slope of 1 here is one of 8 in sixteenths of a code per pixel.
    scale_ = 1.0F / (8 * (xx_ * yy_ - xy_ * xy_));
  }

  Motion Step() const {
    const float mean = static_cast<float>(sums_.d) / kPatchPixels;
    const float dx = static_cast<float>(sums_.dx) - mean * static_cast<float>(patch_.sumX);
    const float dy = static_cast<float>(sums_.dy) - mean * static_cast<float>(patch_.sumY);
    return {-(yy_ * dx - xy_ * dy) * scale_, -(xx_ * dy - xy_ * dx) * scale_};
  }

  const LumaPlane& to_;
  const float x_, y_;
  const Motion expected_;
  SearchPatch patch_;
  float xx_ = 0, xy_ = 0, yy_ = 0, scale_ = 0;
  FlowNode best_;
  PatchSums sums_{};
};

void SweepImpl(const LumaPlane& from, const LumaPlane& to, int direction, FlowGrid& grid) {
  const int width = grid.Width(), height = grid.Height();
  for (int row = 0; row < height; ++row) {
    const int j = direction > 0 ? row : height - 1 - row;
    for (int column = 0; column < width; ++column) {
      const int i = direction > 0 ? column : width - 1 - column;
      const Motion across = grid.Near(i - direction, j).motion;
      const Motion down = grid.Near(i, j - direction).motion;
      const Motion own = grid.At(i, j).motion;
      const bool known = direction < 0;
      // On the way back only what neighbours have to say is new.
      if (known && Same(across, own) && Same(down, own)) continue;
      NodeSearch search(from, to, i, j, (across + down) * 0.5F);
      if (known) {
        search.Begin(grid.At(i, j));
      } else {
        search.Begin(own);
      }
      bool moved = !known;
      if (!Same(across, search.Best().motion)) moved |= search.Try(across);
      if (!Same(down, search.Best().motion) && !Same(down, across)) moved |= search.Try(down);
      if (!known && !Same({}, search.Best().motion)) search.Try({});
      if (moved) search.Follow();
      grid.At(i, j) = search.Best();
    }
  }
}

}  // namespace kiv::tween::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv::tween {

HWY_EXPORT(SweepImpl);

void FlowSearch::Run(const LumaPyramid& from, const LumaPyramid& to) {
  levels_.resize(static_cast<size_t>(from.LevelCount()));
  const FlowGrid* coarser = nullptr;
  for (int i = from.LevelCount() - 1; i >= 0; --i) {
    FlowGrid& grid = levels_[static_cast<size_t>(i)];
    Start(from.Level(i).Size(), coarser, &grid);
    const auto sweep = [&](int direction) {
      HWY_DYNAMIC_DISPATCH(SweepImpl)(from.Level(i), to.Level(i), direction, grid);
    };
    if (i == 0) {
      sweep(1);  // all has spread by then
    } else {
      for (const int direction : {1, -1, 1, -1}) sweep(direction);
    }
    coarser = &grid;
  }
}

void FlowSearch::Start(const KivSize& plane, const FlowGrid* coarser, FlowGrid* grid) {
  grid->Resize(plane);
  if (!coarser) return grid->Fill({});
  for (int j = 0; j < grid->Height(); ++j) {
    for (int i = 0; i < grid->Width(); ++i) {
      grid->At(i, j) = {coarser->Near(i / 2, j / 2).motion * 2};
    }
  }
}

}  // namespace kiv::tween
#endif  // HWY_ONCE
