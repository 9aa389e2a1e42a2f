#include "engine/motion/CameraPath.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>

#include "engine/motion/PathSmoothing.h"

namespace kiv {
namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180;
constexpr double kZoomMargin = 1e-6;  // rounding
constexpr double kWorst = 1e6;        // a zoom that stands for none
constexpr double kMostShift = 1 << 16;
constexpr double kFramesPerLevel = 1.5;
// A shot is granted its frames' average need times this, for each level: nearly the average at the
// default, and what all frames need at about thirty.
constexpr double kZoomPerNeed = 0.09;
// Shares of the corners' room that turning may take from shifting.
constexpr std::array<double, 6> kAngleShares{0, 0.1, 0.2, 0.3, 0.4, 0.5};

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
      : frame_(frame), level_(level), mostZoom_(MostZoom(level)) {
    const double frames = kFramesPerLevel * level;
    stiffness_ = frames * frames * frames * frames;
    for (const StabMotion& m : motions) motions_.push_back(IsUsable(m) ? m : StabMotion{});
    motions_[0] = {};
    corrections_.resize(motions_.size());
  }

  std::vector<Correction> Solve() {
    SmoothAngles({});
    SmoothShifts({}, {});
    if (!FitsInto(ChooseLimit())) ShareRoom();
    Finish();
    return std::move(corrections_);
  }

 private:
  // Both return how unsteady the corrected path still is, in pixels.
  double SmoothAngles(const std::vector<double>& reach) {
    std::vector<double> angles(motions_.size());
    for (size_t i = 1; i < angles.size(); ++i) angles[i] = angles[i - 1] + motions_[i].da;
    const std::vector<double> smooth = Smoothed(angles, reach, stiffness_);
    for (size_t i = 0; i < angles.size(); ++i) corrections_[i].degrees = smooth[i] - angles[i];
    const double pixels = kRadiansPerDegree * (frame_.width + frame_.height) / 4;
    return pixels * pixels * Unsteadiness(smooth);
  }

  // Shifts are summed up as they appear once the angles are corrected; summed as measured, a pan
  // would turn the camera's rolling into shifts.
  double SmoothShifts(const std::vector<double>& reachX, const std::vector<double>& reachY) {
    std::vector<double> x(motions_.size()), y(motions_.size());
    for (size_t i = 1; i < x.size(); ++i) {
      const KivPointF step = Rotated(motions_[i].dx, motions_[i].dy, corrections_[i].degrees);
      x[i] = x[i - 1] + step.x;
      y[i] = y[i - 1] + step.y;
    }
    const std::vector<double> smoothX = Smoothed(x, reachX, stiffness_);
    const std::vector<double> smoothY = Smoothed(y, reachY, stiffness_);
    for (size_t i = 0; i < x.size(); ++i) {
      corrections_[i].dx = smoothX[i] - x[i];
      corrections_[i].dy = smoothY[i] - y[i];
    }
    return Unsteadiness(smoothX) + Unsteadiness(smoothY);
  }

  // Turning takes room from shifting at the corners. The share that leaves the steadiest path wins.
  void ShareRoom() {
    std::vector<Correction> best;
    double least = INFINITY;
    for (const double share : kAngleShares) {
      double left = SmoothAngles(AngleReach(share));
      left += SmoothShifts(ShiftReach(frame_.width, frame_.height),
                           ShiftReach(frame_.height, frame_.width));
      if (left >= least) continue;
      least = left;
      best = corrections_;
    }
    corrections_ = std::move(best);
  }

  // A single swing must not enlarge the whole shot.
  double ChooseLimit() {
    double sum = 0;
    for (const Correction& c : corrections_) {
      sum += std::min(NeededZoom(c, frame_), 2 * mostZoom_) - 1;
    }
    const double need = sum / static_cast<double>(corrections_.size());
    limit_ = std::min(mostZoom_, 1 + kZoomPerNeed * level_ * need);
    return limit_;
  }

  bool FitsInto(double zoom) const {
    return std::all_of(corrections_.begin(), corrections_.end(),
                       [&](const Correction& c) { return NeededZoom(c, frame_) <= zoom; });
  }

  std::vector<double> AngleReach(double share) const {
    const double longer = std::max(frame_.width, frame_.height);
    const double shorter = std::min(frame_.width, frame_.height);
    const double radians = share * (limit_ - 1) * shorter / longer;
    return std::vector<double>(corrections_.size(), radians / kRadiansPerDegree);
  }

  // What the frame's turned picture leaves free on each side along `side`.
  std::vector<double> ShiftReach(int side, int other) const {
    const double half = (side - 1) / 2.0, otherHalf = (other - 1) / 2.0;
    std::vector<double> reach;
    for (const Correction& correction : corrections_) {
      const double a = std::abs(correction.degrees) * kRadiansPerDegree;
      const double taken = (half * std::cos(a) + otherHalf * std::sin(a)) / limit_;
      reach.push_back(std::max(half - taken, 0.0));
    }
    return reach;
  }

  // What turning made of the shifts may be a trace too much. All frames get the zoom that the worst
  // one needs.
  void Finish() {
    double zoom = 1;
    for (Correction& c : corrections_) {
      double needed = NeededZoom(c, frame_);
      for (; needed > limit_ + 2 * kZoomMargin; needed = NeededZoom(c, frame_)) {
        c.dx *= 0.99;
        c.dy *= 0.99;
        c.degrees *= 0.99;
      }
      zoom = std::max(zoom, needed);
    }
    for (Correction& c : corrections_) c.zoom = std::min(zoom, mostZoom_);
  }

  const KivSize frame_;
  const int32_t level_;
  const double mostZoom_;
  double limit_ = 1;
  double stiffness_ = 0;
  std::vector<StabMotion> motions_;
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
