#include "engine/motion/CameraPath.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

#include "engine/motion/PathSmoothing.h"

namespace kiv {
namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180;
constexpr int kRounds = 60;           // of drawing the smooth path towards the real one
constexpr double kMostWeight = 1e9;   // above, the smoothing's equations lose their precision
constexpr double kZoomMargin = 1e-6;  // rounding
constexpr double kWorst = 1e6;        // a zoom that stands for none
constexpr double kMostShift = 1 << 16;

KivPointF Rotated(double x, double y, double degrees) {
  const double a = degrees * kRadiansPerDegree;
  return {std::cos(a) * x - std::sin(a) * y, std::sin(a) * x + std::cos(a) * y};
}

bool IsUsable(const StabMotion& m) {
  return std::abs(m.dx) <= kMostShift && std::abs(m.dy) <= kMostShift && std::abs(m.da) <= 180;
}

// One shot's corrections, while they are looked for.
class Shot {
 public:
  Shot(std::span<const StabMotion> motions, const KivSize& frame, int32_t level)
      : frame_(frame), mostZoom_(MostZoom(level)), weights_(motions.size(), 1.0) {
    const double frames = level;
    stiffness_ = frames * frames * frames * frames;
    for (const StabMotion& m : motions) motions_.push_back(IsUsable(m) ? m : StabMotion{});
    motions_[0] = {};
    corrections_.resize(motions_.size());
  }

  std::vector<Correction> Solve() {
    for (int round = 0; round < kRounds; ++round) {
      SmoothAngles();
      SmoothShifts();
      if (!DrawNearer()) break;
    }
    KeepWithinLimit();
    return std::move(corrections_);
  }

 private:
  void SmoothAngles() {
    std::vector<double> angles(motions_.size());
    for (size_t i = 1; i < angles.size(); ++i) angles[i] = angles[i - 1] + motions_[i].da;
    const std::vector<double> smooth = Smoothed(angles, weights_, stiffness_);
    for (size_t i = 0; i < angles.size(); ++i) corrections_[i].degrees = smooth[i] - angles[i];
  }

  // Shifts are summed up as they appear once the angles are corrected; summed as measured, a pan
  // would turn the camera's rolling into shifts.
  void SmoothShifts() {
    std::vector<double> x(motions_.size()), y(motions_.size());
    for (size_t i = 1; i < x.size(); ++i) {
      const KivPointF step = Rotated(motions_[i].dx, motions_[i].dy, corrections_[i].degrees);
      x[i] = x[i - 1] + step.x;
      y[i] = y[i - 1] + step.y;
    }
    const std::vector<double> smoothX = Smoothed(x, weights_, stiffness_);
    const std::vector<double> smoothY = Smoothed(y, weights_, stiffness_);
    for (size_t i = 0; i < x.size(); ++i) {
      corrections_[i].dx = smoothX[i] - x[i];
      corrections_[i].dy = smoothY[i] - y[i];
    }
  }

  // Frames whose correction would show a border pull harder. False when there are none.
  bool DrawNearer() {
    bool any = false;
    for (size_t i = 0; i < corrections_.size(); ++i) {
      const double needed = NeededZoom(corrections_[i], frame_);
      if (needed <= mostZoom_) continue;
      any = true;
      const double ratio = std::min((needed - 1) / (mostZoom_ - 1), 3.0);
      weights_[i] = std::min(weights_[i] * ratio * ratio, kMostWeight);
    }
    return any;
  }

  // What the rounds left over is cut short, and all frames get the zoom that the worst one needs.
  void KeepWithinLimit() {
    double zoom = 1;
    for (Correction& c : corrections_) {
      double needed = NeededZoom(c, frame_);
      for (; needed > mostZoom_; needed = NeededZoom(c, frame_)) {
        c.dx *= 0.9;
        c.dy *= 0.9;
        c.degrees *= 0.9;
      }
      zoom = std::max(zoom, needed);
    }
    for (Correction& c : corrections_) c.zoom = zoom;
  }

  const KivSize frame_;
  const double mostZoom_;
  double stiffness_ = 0;
  std::vector<StabMotion> motions_;
  std::vector<double> weights_;
  std::vector<Correction> corrections_;
};

}  // namespace

double NeededZoom(const Correction& correction, const KivSize& frame) {
  // Between the centres of the outermost pixels.
  const double halfWidth = std::max((frame.width - 1) / 2.0, 0.5);
  const double halfHeight = std::max((frame.height - 1) / 2.0, 0.5);
  const double a = std::abs(correction.degrees) * kRadiansPerDegree;
  if (!(a < 1)) return kWorst;
  const double c = std::cos(a), s = std::sin(a);
  const KivPointF shift = Rotated(correction.dx, correction.dy, -correction.degrees);
  const double roomX = halfWidth - std::abs(shift.x), roomY = halfHeight - std::abs(shift.y);
  if (!(roomX > 0 && roomY > 0)) return kWorst;
  if (a == 0 && shift == KivPointF{}) return 1;
  const double zoom =
      std::max((halfWidth * c + halfHeight * s) / roomX, (halfHeight * c + halfWidth * s) / roomY);
  return std::max(zoom, 1.0) + kZoomMargin;
}

std::vector<Correction> CorrectionsFor(const std::vector<StabMotion>& motions, const KivSize& frame,
                                       int32_t level) {
  level = std::min(level, kStabLevelMax);
  if (level <= 0) return std::vector<Correction>(motions.size());
  std::vector<Correction> all;
  all.reserve(motions.size());
  const std::span<const StabMotion> whole(motions);
  for (size_t start = 0, end = 0; start < whole.size(); start = end) {
    for (end = start + 1; end < whole.size() && !IsStabCut(whole[end]); ++end) continue;
    const std::vector<Correction> shot =
        Shot(whole.subspan(start, end - start), frame, level).Solve();
    all.insert(all.end(), shot.begin(), shot.end());
  }
  return all;
}

}  // namespace kiv
