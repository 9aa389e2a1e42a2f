#include "engine/motion/FeatureTracker.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "engine/motion/PatchKernel.h"

namespace kiv {
namespace {

constexpr int kHalfPatch = kPatchSide / 2;
constexpr int kCellsAcross = 24;
constexpr int kSmallestCell = 6;           // pixels of the level on which corners are looked for
constexpr float kWeakestCorner = 4e-5F;    // what grain alone makes stays below
constexpr float kWeakestOfBest = 0.0005F;  // of the frame's strongest corner
constexpr int kBlock = 5;

constexpr int kCoarseSteps = 6;
constexpr int kFineSteps = 12;
constexpr float kCoarseEnough = 0.05F;
constexpr float kFineEnough = 0.002F;
constexpr float kFarthestPerLevel = 7.0F;
constexpr float kReturnError = 0.25F;
constexpr float kMostUnlike = 0.35F;  // of the window's own contrast
constexpr float kGrain = 4.0F;        // variance that is forgiven besides

struct Vector2 {
  float x = 0, y = 0;
};

// Where the window of `wanted`, whose corner was at `corner` in its own plane, lies in `plane`.
// Starts from and refines `shift`; false when it cannot be told.
bool Refine(const PatchTemplate& wanted, const Feature& corner, const LumaPlane& plane, int steps,
            float enough, Vector2* shift, PatchSums* last) {
  const float determinant = wanted.xx * wanted.yy - wanted.xy * wanted.xy;
  if (determinant < 1.0F) return false;
  const Vector2 start = *shift;
  const float mostX = static_cast<float>(plane.Size().width + LumaPlane::kMargin - kPatchSide - 2);
  const float mostY = static_cast<float>(plane.Size().height + LumaPlane::kMargin - kPatchSide - 2);
  constexpr float kLeast = 1.0F - LumaPlane::kMargin;
  for (int step = 0; step < steps; ++step) {
    const float x = static_cast<float>(corner.x) + shift->x;
    const float y = static_cast<float>(corner.y) + shift->y;
    if (!(x >= kLeast && x <= mostX && y >= kLeast && y <= mostY)) return false;
    const float wholeX = std::floor(x), wholeY = std::floor(y);
    const auto column = static_cast<ptrdiff_t>(wholeX);
    *last = ComparePatch(wanted, plane.Row(static_cast<int>(wholeY)) + column, plane.Stride(),
                         x - wholeX, y - wholeY);
    const float byX = (wanted.yy * last->errorX - wanted.xy * last->errorY) / determinant;
    const float byY = (wanted.xx * last->errorY - wanted.xy * last->errorX) / determinant;
    shift->x -= byX;
    shift->y -= byY;
    if (std::abs(shift->x - start.x) > kFarthestPerLevel) return false;
    if (std::abs(shift->y - start.y) > kFarthestPerLevel) return false;
    if (std::abs(byX) < enough && std::abs(byY) < enough) break;
  }
  return true;
}

bool IsInside(const LumaPlane& plane, float x, float y) {
  return x >= 1 && y >= 1 && x <= static_cast<float>(plane.Size().width - kPatchSide - 1) &&
         y <= static_cast<float>(plane.Size().height - kPatchSide - 1);
}

bool IsAlike(const PatchTemplate& wanted, const PatchSums& sums) {
  const float variance = sums.squared - sums.error * sums.error / kPatchPixels;
  return variance < kMostUnlike * wanted.energy + kGrain * kPatchPixels;
}

// From the coarsest level down; each level's window is centred on the same feature.
std::optional<Vector2> TrackForward(const LumaPyramid& from, const LumaPyramid& to,
                                    const Feature& feature, PatchTemplate* finest) {
  Vector2 shift;
  for (int level = from.LevelCount() - 1; level >= 0; --level) {
    const Feature corner{(feature.x >> level) - kHalfPatch, (feature.y >> level) - kHalfPatch};
    const LumaPlane& plane = from.Level(level);
    MakeTemplate(plane.Row(corner.y) + corner.x, plane.Stride(), finest);
    PatchSums sums;
    const Vector2 guess = shift;
    const bool found =
        level == 0
            ? Refine(*finest, corner, to.Level(0), kFineSteps, kFineEnough, &shift, &sums)
            : Refine(*finest, corner, to.Level(level), kCoarseSteps, kCoarseEnough, &shift, &sums);
    if (level == 0) {
      if (!found || !IsAlike(*finest, sums)) return std::nullopt;
    } else {
      // A level without enough texture leaves the question to the next.
      if (!found) shift = guess;
      shift = {shift.x * 2, shift.y * 2};
    }
  }
  return shift;
}

// The shift back, from the window nearest to where the feature went.
std::optional<Vector2> TrackBack(const LumaPyramid& from, const LumaPyramid& to,
                                 const Feature& feature, const Vector2& forward) {
  const Feature corner{
      static_cast<int>(std::lround(static_cast<float>(feature.x) + forward.x)) - kHalfPatch,
      static_cast<int>(std::lround(static_cast<float>(feature.y) + forward.y)) - kHalfPatch};
  const LumaPlane& plane = to.Level(0);
  if (!IsInside(plane, static_cast<float>(corner.x), static_cast<float>(corner.y))) {
    return std::nullopt;
  }
  PatchTemplate window;
  MakeTemplate(plane.Row(corner.y) + corner.x, plane.Stride(), &window);
  Vector2 shift{-forward.x, -forward.y};
  PatchSums sums;
  if (!Refine(window, corner, from.Level(0), kFineSteps, kFineEnough, &shift, &sums)) {
    return std::nullopt;
  }
  if (std::hypot(shift.x + forward.x, shift.y + forward.y) > kReturnError) return std::nullopt;
  return shift;
}

// Both windows' centres lie half a pixel up and left of the feature.
FeatureMotion InFramePixels(const LumaPyramid& frame, const Feature& feature,
                            const Vector2& shift) {
  const double factor = frame.Factor();
  const auto centred = [&](int position, int side) {
    return (position - 0.5) * factor + (factor - 1) / 2 - (side - 1) / 2.0;
  };
  return {
      {centred(feature.x, frame.FrameSize().width), centred(feature.y, frame.FrameSize().height)},
      {shift.x * factor, shift.y * factor}};
}

}  // namespace

const std::vector<Feature>& FeatureTracker::Pick(const LumaPyramid& frame) {
  features_.clear();
  const int level = std::min(1, frame.LevelCount() - 1);
  const LumaPlane& plane = frame.Level(level);
  const cv::Mat picture(plane.Size().height, plane.Size().width, CV_8U,
                        const_cast<uint8_t*>(plane.Row(0)), static_cast<size_t>(plane.Stride()));
  cv::Mat strength;
  cv::cornerMinEigenVal(picture, strength, kBlock, 3);
  double strongest = 0;
  cv::minMaxLoc(strength, nullptr, &strongest);
  const float least = std::max(kWeakestCorner, static_cast<float>(strongest) * kWeakestOfBest);
  const int margin = (kHalfPatch + 2) >> level;
  const int cell = std::max(picture.cols / kCellsAcross, kSmallestCell);
  const cv::Rect inner(margin, margin, picture.cols - 2 * margin, picture.rows - 2 * margin);
  for (int y = inner.y; y < inner.br().y; y += cell) {
    for (int x = inner.x; x < inner.br().x; x += cell) {
      double best = 0;
      cv::Point at;
      cv::minMaxLoc(strength(cv::Rect(x, y, cell, cell) & inner), nullptr, &best, nullptr, &at);
      if (best < least) continue;
      features_.push_back({(x + at.x) << level, (y + at.y) << level});
    }
  }
  return features_;
}

const std::vector<FeatureMotion>& FeatureTracker::Track(const LumaPyramid& from,
                                                        const LumaPyramid& to,
                                                        const std::vector<Feature>& features) {
  motions_.clear();
  PatchTemplate window;
  for (const Feature& feature : features) {
    const std::optional<Vector2> forward = TrackForward(from, to, feature, &window);
    if (!forward) continue;
    const std::optional<Vector2> back = TrackBack(from, to, feature, *forward);
    if (!back) continue;
    const Vector2 mean{(forward->x - back->x) / 2, (forward->y - back->y) / 2};
    motions_.push_back(InFramePixels(from, feature, mean));
  }
  return motions_;
}

}  // namespace kiv
