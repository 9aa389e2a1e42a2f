#include "engine/motion/PathSmoothing.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kiv {
namespace {

// The limits are met by alternating between the smooth curve and the nearest one within reach, the
// two tied together ever more tightly.
constexpr std::array<double, 5> kTies{0.03, 0.3, 3, 30, 300};
constexpr int kRoundsEach = 40;

// Bends are measured over several distances. Over one frame alone, a path that has to give way would
// spread that over as many frames as it can reach, and the eye sees the swing of it.
constexpr std::array<size_t, 4> kDistances{1, 2, 4, 7};
constexpr double kDistanceFourths = 1 + 16 + 256 + 2401;  // the sum of their fourth powers
constexpr size_t kBand = 14;  // a bend over the longest distance ties values so far apart

// Solves (pull I + stiffness B'B) s = b, B taking all bends, by a banded L D L' factorization.
class StiffCurve {
 public:
  StiffCurve(size_t count, double pull, double stiffness) : rows_(count) {
    for (Row& row : rows_) row[0] = pull;
    for (const size_t distance : kDistances) AddBends(distance, stiffness / kDistanceFourths);
    Factorize();
  }

  void Solve(std::vector<double>* b) const {
    std::vector<double>& s = *b;
    for (size_t i = 0; i < rows_.size(); ++i) {
      for (size_t k = 1; k <= Reach(i); ++k) s[i + k] -= rows_[i][k] * s[i];
    }
    for (size_t i = rows_.size(); i-- > 0;) {
      s[i] /= rows_[i][0];
      for (size_t k = 1; k <= Reach(i); ++k) s[i] -= rows_[i][k] * s[i + k];
    }
  }

 private:
  // A row from its diagonal on: at first of the matrix, then of D and, behind it, of L'.
  using Row = std::array<double, kBand + 1>;

  size_t Reach(size_t i) const { return std::min(kBand, rows_.size() - 1 - i); }

  void AddBends(size_t distance, double weight) {
    for (size_t i = 0; i + 2 * distance < rows_.size(); ++i) {
      Row& left = rows_[i];
      left[0] += weight;
      left[distance] -= 2 * weight;
      left[2 * distance] += weight;
      Row& middle = rows_[i + distance];
      middle[0] += 4 * weight;
      middle[distance] -= 2 * weight;
      rows_[i + 2 * distance][0] += weight;
    }
  }

  void Factorize() {
    for (size_t i = 0; i < rows_.size(); ++i) {
      Row& row = rows_[i];
      const Row plain = row;
      for (size_t k = 1; k <= Reach(i); ++k) {
        row[k] = plain[k] / plain[0];
        for (size_t m = k; m <= Reach(i); ++m) rows_[i + k][m - k] -= row[k] * plain[m];
      }
    }
  }

  std::vector<Row> rows_;
};

// One value of each series for one frame.
struct Tied {
  double within = 0, apart = 0;  // the curve within reach, and the sum of what it was off by
};

}  // namespace

std::vector<double> Smoothed(const std::vector<double>& values, const std::vector<double>& reach,
                             double stiffness) {
  const size_t count = values.size();
  if (count < 3) return values;
  std::vector<double> smooth = values;
  StiffCurve(count, 1, stiffness).Solve(&smooth);
  const auto nearest = [&](size_t i, double s) {
    return std::clamp(s, values[i] - reach[i], values[i] + reach[i]);
  };
  bool fits = true;
  for (size_t i = 0; i < reach.size() && fits; ++i) fits = nearest(i, smooth[i]) == smooth[i];
  if (fits) return smooth;
  std::vector<Tied> tied(count);
  for (size_t i = 0; i < count; ++i) tied[i].within = nearest(i, smooth[i]);
  double lastTie = kTies[0];
  for (const double tie : kTies) {
    const StiffCurve curve(count, 1 + tie, stiffness);
    for (Tied& t : tied) t.apart *= lastTie / tie;
    lastTie = tie;
    for (int round = 0; round < kRoundsEach; ++round) {
      for (size_t i = 0; i < count; ++i) {
        smooth[i] = values[i] + tie * (tied[i].within - tied[i].apart);
      }
      curve.Solve(&smooth);
      for (size_t i = 0; i < count; ++i) {
        tied[i].within = nearest(i, smooth[i] + tied[i].apart);
        tied[i].apart += smooth[i] - tied[i].within;
      }
    }
  }
  for (size_t i = 0; i < count; ++i) smooth[i] = nearest(i, smooth[i]);
  return smooth;
}

double Unsteadiness(const std::vector<double>& values) {
  double sum = 0;
  for (const size_t distance : kDistances) {
    for (size_t i = 0; i + 2 * distance < values.size(); ++i) {
      const double bend = values[i] - 2 * values[i + distance] + values[i + 2 * distance];
      sum += bend * bend;
    }
  }
  return sum / kDistanceFourths;
}

}  // namespace kiv
