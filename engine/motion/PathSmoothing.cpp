#include "engine/motion/PathSmoothing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

namespace kiv {
namespace {

// The limits are met by alternating between the smooth path and the nearest one within reach, the
// two tied together ever more tightly.
constexpr std::array<double, 5> kTies{0.03, 0.3, 3, 30, 300};
constexpr int kRoundsEach = 25;

// Bends are measured over several distances. Over one frame alone, a path that has to give way would
// spread that over as many frames as it can reach, and the eye sees the swing of it; over a long
// distance alone it would make a jerk of it.
constexpr std::array<size_t, 3> kDistances{1, 2, 7};
// What is off from the mean of the frames around is shake too.
constexpr size_t kAround = 7;
constexpr double kAroundWeight = 3.5;  // against bends over one frame
// The weights' sum for slow swings: a bend over d frames weighs 1 / d and sees them with d^4, a
// distance from the mean with ((2 kAround + 1)^2 - 1)^2 / 24^2.
constexpr double kSlowSwings = 1 + 8 + 343 + kAroundWeight * 224 * 224 / 576.0;
constexpr size_t kBand = 14;  // the farthest that values are tied together

// Solves (pull I + stiffness B'B) s = b, B taking all that is unsteady, by a banded L D L'
// factorization.
class StiffCurve {
 public:
  StiffCurve(size_t count, double pull, double stiffness) : count_(count), rows_(count + kBand) {
    for (Row& row : rows_) row[0] = pull;
    const double unit = stiffness / kSlowSwings;
    for (const size_t distance : kDistances) {
      std::array<double, kBand + 1> bend{};
      bend[0] = bend[2 * distance] = 1;
      bend[distance] = -2;
      Add({bend.data(), 2 * distance + 1}, unit / static_cast<double>(distance));
    }
    std::array<double, 2 * kAround + 1> offMean{};
    offMean.fill(-1.0 / offMean.size());
    offMean[kAround] += 1;
    Add(offMean, unit * kAroundWeight);
    Factorize();
  }

  // `path` has room for kBand more points after its own.
  void Solve(std::vector<PathPoint>* path) const {
    PathPoint* const s = path->data();
    std::fill_n(s + count_, kBand, PathPoint{});
    for (size_t i = 0; i < count_; ++i) {
      for (size_t k = 1; k <= kBand; ++k) Take(s[i], rows_[i][k], &s[i + k]);
    }
    for (size_t i = count_; i-- > 0;) {
      for (double& value : s[i]) value /= rows_[i][0];
      for (size_t k = 1; k <= kBand; ++k) Take(s[i + k], rows_[i][k], &s[i]);
    }
  }

 private:
  // A row from its diagonal on: at first of the matrix, then of D and, after it, of L'.
  using Row = std::array<double, kBand + 1>;

  static void Take(const PathPoint& point, double share, PathPoint* from) {
    for (size_t axis = 0; axis < point.size(); ++axis) (*from)[axis] -= share * point[axis];
  }

  // The square of `measure` applied everywhere that it fits.
  void Add(std::span<const double> measure, double weight) {
    for (size_t start = 0; start + measure.size() <= count_; ++start) {
      for (size_t i = 0; i < measure.size(); ++i) {
        for (size_t k = i; k < measure.size(); ++k) {
          rows_[start + i][k - i] += weight * measure[i] * measure[k];
        }
      }
    }
  }

  void Factorize() {
    for (size_t i = 0; i < count_; ++i) {
      Row& row = rows_[i];
      const Row plain = row;
      for (size_t k = 1; k <= kBand; ++k) {
        row[k] = plain[k] / plain[0];
        for (size_t m = k; m <= kBand; ++m) rows_[i + k][m - k] -= row[k] * plain[m];
      }
    }
  }

  const size_t count_;
  // kBand rows that are tied to nothing follow, so that every row has all its neighbours.
  std::vector<Row> rows_;
};

// One frame while the limits are being met: the step aside that keeps within them, and the sum of
// what the smooth path was off by.
struct Tied {
  PathPoint within{}, apart{};
};

// Goes from `smooth` to the nearest within the room.
void Pull(const std::vector<PathPoint>& path, const PathRoom& room,
          const std::vector<PathPoint>& smooth, std::vector<Tied>* tied) {
  for (size_t i = 0; i < path.size(); ++i) {
    Tied& t = (*tied)[i];
    for (size_t a = 0; a < t.apart.size(); ++a) t.apart[a] += smooth[i][a] - path[i][a];
    t.within = NearestWithin(t.apart, room);
    for (size_t a = 0; a < t.apart.size(); ++a) t.apart[a] -= t.within[a];
  }
}

// The right side for the smooth path that is tied to the points within.
void Lean(const std::vector<PathPoint>& path, const std::vector<Tied>& tied, double tie,
          std::vector<PathPoint>* out) {
  for (size_t i = 0; i < path.size(); ++i) {
    for (size_t a = 0; a < path[i].size(); ++a) {
      (*out)[i][a] = (1 + tie) * path[i][a] + tie * (tied[i].within[a] - tied[i].apart[a]);
    }
  }
}

}  // namespace

PathPoint NearestWithin(const PathPoint& aside, const PathRoom& room) {
  const double x = std::abs(aside[0]), y = std::abs(aside[1]), turn = std::abs(aside[2]);
  const double p = room.xPerTurn, q = room.yPerTurn;
  // How far the turn gives way to x, to y, to both: as far as the strictest asks for.
  const double overX = p * (room.x - x), overY = q * (room.y - y);
  double t = std::min({turn, (turn + overX) / (1 + p * p), (turn + overY) / (1 + q * q),
                       (turn + overX + overY) / (1 + p * p + q * q), room.x / p, room.y / q});
  t = std::max(t, 0.0);
  return {std::copysign(std::clamp(x, 0.0, std::max(room.x - p * t, 0.0)), aside[0]),
          std::copysign(std::clamp(y, 0.0, std::max(room.y - q * t, 0.0)), aside[1]),
          std::copysign(t, aside[2])};
}

std::vector<PathPoint> SmoothPath(const std::vector<PathPoint>& path, double stiffness) {
  if (path.size() < 3) return path;
  std::vector<PathPoint> smooth = path;
  smooth.resize(path.size() + kBand);
  StiffCurve(path.size(), 1, stiffness).Solve(&smooth);
  smooth.resize(path.size());
  return smooth;
}

std::vector<PathPoint> SmoothPathWithin(const std::vector<PathPoint>& path, const PathRoom& room,
                                        double stiffness) {
  std::vector<PathPoint> smooth = SmoothPath(path, stiffness);
  std::vector<Tied> tied(path.size());
  Pull(path, room, smooth, &tied);
  for (Tied& t : tied) t.apart = {};
  smooth.resize(path.size() + kBand);
  double lastTie = kTies[0];
  for (const double tie : kTies) {
    const StiffCurve curve(path.size(), 1 + tie, stiffness);
    for (Tied& t : tied) {
      for (double& value : t.apart) value *= lastTie / tie;
    }
    lastTie = tie;
    for (int round = 0; round < kRoundsEach; ++round) {
      Lean(path, tied, tie, &smooth);
      curve.Solve(&smooth);
      Pull(path, room, smooth, &tied);
    }
  }
  Lean(path, tied, 0, &smooth);
  smooth.resize(path.size());
  for (size_t i = 0; i < path.size(); ++i) {
    for (size_t a = 0; a < path[i].size(); ++a) smooth[i][a] += tied[i].within[a];
  }
  return smooth;
}

}  // namespace kiv
