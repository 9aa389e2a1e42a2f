#include "engine/motion/CameraPath.h"

#include <algorithm>
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
constexpr double kZoomPerNeed = 1.0 / 11;
constexpr int kRounds = 2;
constexpr int kHalvings = 16;  // until a shortened correction is found

// From the middle to the centre of the outermost pixel.
double HalfSide(int side) { return std::max((side - 1) / 2.0, 0.5); }

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
      : frame_(frame),
        level_(level),
        mostZoom_(MostZoom(level)),
        pixelsPerDegree_(kRadiansPerDegree * (double{1} * frame.width + frame.height) / 4) {
    const double frames = kFramesPerLevel * level;
    stiffness_ = frames * frames * frames * frames;
    for (const StabMotion& m : motions) motions_.push_back(IsUsable(m) ? m : StabMotion{});
    motions_[0] = {};
    corrections_.resize(motions_.size());
  }

  std::vector<Correction> Solve() {
    for (int round = 0; round < kRounds; ++round) {
      const std::vector<PathPoint> path = Path();
      Take(path, SmoothPath(path, stiffness_));
    }
    ChooseLimit();
    if (!Fits()) {
      for (int round = 0; round < kRounds; ++round) {
        const std::vector<PathPoint> path = Path();
        Take(path, SmoothPathWithin(path, Room(), stiffness_));
      }
    }
    Finish();
    return std::move(corrections_);
  }

 private:
  // Shifts are summed up as they appear once the angles are corrected; summed as measured, a pan
  // would turn the camera's rolling into shifts. So it takes rounds.
  std::vector<PathPoint> Path() const {
    std::vector<PathPoint> path(motions_.size());
    for (size_t i = 1; i < path.size(); ++i) {
      const StabMotion& m = motions_[i];
      const KivPointF step = Rotated(m.dx, m.dy, corrections_[i].degrees);
      const PathPoint& last = path[i - 1];
      path[i] = {last[0] + step.x, last[1] + step.y, last[2] + m.da * pixelsPerDegree_};
    }
    return path;
  }

  void Take(const std::vector<PathPoint>& path, const std::vector<PathPoint>& smooth) {
    for (size_t i = 0; i < path.size(); ++i) {
      corrections_[i].dx = smooth[i][0] - path[i][0];
      corrections_[i].dy = smooth[i][1] - path[i][1];
      corrections_[i].degrees = (smooth[i][2] - path[i][2]) / pixelsPerDegree_;
    }
  }

  // A single swing must not enlarge the whole shot.
  void ChooseLimit() {
    double sum = 0;
    for (const Correction& c : corrections_) {
      sum += std::min(NeededZoom(c, frame_), 2 * mostZoom_) - 1;
    }
    const double need = sum / static_cast<double>(corrections_.size());
    limit_ = std::min(mostZoom_, 1 + kZoomPerNeed * level_ * need);
  }

  bool Fits() const {
    return std::all_of(corrections_.begin(), corrections_.end(),
                       [&](const Correction& c) { return NeededZoom(c, frame_) <= limit_; });
  }

  // Turning takes room from shifting at the corners.
  PathRoom Room() const {
    const double radiansPerPixel = kRadiansPerDegree / pixelsPerDegree_;
    PathRoom room;
    room.x = HalfSide(frame_.width) * (1 - 1 / limit_);
    room.y = HalfSide(frame_.height) * (1 - 1 / limit_);
    room.xPerTurn = HalfSide(frame_.height) * radiansPerPixel / limit_;
    room.yPerTurn = HalfSide(frame_.width) * radiansPerPixel / limit_;
    return room;
  }

  // What bends and rounds do not tell exactly may be a trace too much. All frames get the zoom that
  // the worst one needs.
  void Finish() {
    double zoom = 1;
    for (Correction& c : corrections_) {
      if (NeededZoom(c, frame_) > limit_ + 2 * kZoomMargin) c = Shortened(c);
      zoom = std::max(zoom, NeededZoom(c, frame_));
    }
    for (Correction& c : corrections_) c.zoom = std::min(zoom, mostZoom_);
  }

  // As much of it as the limit allows.
  Correction Shortened(const Correction& whole) const {
    Correction best;
    double share = 0, step = 1;
    for (int i = 0; i < kHalvings; ++i) {
      step /= 2;
      const double tried = share + step;
      const Correction c{whole.dx * tried, whole.dy * tried, whole.degrees * tried};
      if (NeededZoom(c, frame_) > limit_ + kZoomMargin) continue;
      share = tried;
      best = c;
    }
    return best;
  }

  const KivSize frame_;
  const int32_t level_;
  const double mostZoom_;
  const double pixelsPerDegree_;  // half way from the middle to the corners
  double limit_ = 1;
  double stiffness_ = 0;
  std::vector<StabMotion> motions_;
  std::vector<Correction> corrections_;
};

}  // namespace

double NeededZoom(const Correction& correction, const KivSize& frame) {
  const double halfWidth = HalfSide(frame.width), halfHeight = HalfSide(frame.height);
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
