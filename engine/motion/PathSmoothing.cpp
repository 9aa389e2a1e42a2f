#include "engine/motion/PathSmoothing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace kiv {
namespace {

// The limits are met by alternating between the smooth curve and the nearest one within reach, the
// two tied together ever more tightly.
constexpr std::array<double, 5> kTies{0.03, 0.3, 3, 30, 300};
constexpr int kRoundsEach = 25;

// Bends are measured over several distances. Over one frame alone, a path that has to give way would
// spread that over as many frames as it can reach, and the eye sees the swing of it.
constexpr std::array<size_t, 4> kDistances{1, 2, 4, 7};
constexpr double kDistanceFourths = 1 + 16 + 256 + 2401;  // the sum of their fourth powers
constexpr size_t kBand = 14;  // a bend over the longest distance ties values so far apart

// Solves (pull I + stiffness B'B) s = b, B taking all bends, by a banded L D L' factorization.
class StiffCurve {
 public:
  StiffCurve(size_t count, double pull, double stiffness) : count_(count), rows_(count + kBand) {
    for (Row& row : rows_) row[0] = pull;
    for (const size_t distance : kDistances) AddBends(distance, stiffness / kDistanceFourths);
    Factorize();
  }

  // `series` has room for kBand values more behind its own.
  void Solve(std::vector<double>* series) const {
    double* const s = series->data();
    std::fill_n(s + count_, kBand, 0.0);
    for (size_t i = 0; i < count_; ++i) {
      for (size_t k = 1; k <= kBand; ++k) s[i + k] -= rows_[i][k] * s[i];
    }
    for (size_t i = count_; i-- > 0;) {
      double sum = s[i] / rows_[i][0];
      for (size_t k = 1; k <= kBand; ++k) sum -= rows_[i][k] * s[i + k];
      s[i] = sum;
    }
  }

 private:
  // A row from its diagonal on: at first of the matrix, then of D and, behind it, of L'.
  using Row = std::array<double, kBand + 1>;

  void AddBends(size_t distance, double weight) {
    for (size_t i = 0; i + 2 * distance < count_; ++i) {
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

// One value of each series for one frame.
struct Tied {
  double within = 0, apart = 0;  // the curve within reach, and the sum of what it was off by
};

// Brings `smooth`, the free curve, within reach.
void Hold(const std::vector<double>& values, const std::vector<double>& reach, double stiffness,
          std::vector<double>* smooth) {
  const size_t count = values.size();
  std::vector<double>& s = *smooth;
  const auto nearest = [&](size_t i, double value) {
    return std::clamp(value, values[i] - reach[i], values[i] + reach[i]);
  };
  std::vector<Tied> tied(count);
  for (size_t i = 0; i < count; ++i) tied[i].within = nearest(i, s[i]);
  double lastTie = kTies[0];
  for (const double tie : kTies) {
    const StiffCurve curve(count, 1 + tie, stiffness);
    for (Tied& t : tied) t.apart *= lastTie / tie;
    lastTie = tie;
    for (int round = 0; round < kRoundsEach; ++round) {
      for (size_t i = 0; i < count; ++i) s[i] = values[i] + tie * (tied[i].within - tied[i].apart);
      curve.Solve(smooth);
      for (size_t i = 0; i < count; ++i) {
        tied[i].within = nearest(i, s[i] + tied[i].apart);
        tied[i].apart += s[i] - tied[i].within;
      }
    }
  }
  for (size_t i = 0; i < count; ++i) s[i] = nearest(i, s[i]);
}

}  // namespace

std::vector<double> Smoothed(const std::vector<double>& values, const std::vector<double>& reach,
                             double stiffness) {
  const size_t count = values.size();
  if (count < 3) return values;
  std::vector<double> smooth = values;
  smooth.resize(count + kBand);
  StiffCurve(count, 1, stiffness).Solve(&smooth);
  bool fits = true;
  for (size_t i = 0; i < reach.size() && fits; ++i)
    fits = std::abs(smooth[i] - values[i]) <= reach[i];
  if (!fits) Hold(values, reach, stiffness, &smooth);
  smooth.resize(count);
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
