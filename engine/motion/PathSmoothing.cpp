#include "engine/motion/PathSmoothing.h"

#include <array>
#include <cstddef>

namespace kiv {
namespace {

// Row i of the symmetric matrix: its diagonal and the two entries to the right of it.
struct BandRow {
  double diagonal = 0, next = 0, second = 0;
};

std::vector<BandRow> NormalEquations(const std::vector<double>& weights, double stiffness) {
  const size_t count = weights.size();
  std::vector<BandRow> rows(count);
  for (size_t i = 0; i < count; ++i) rows[i].diagonal = weights[i];
  constexpr std::array<double, 3> kDifference{1, -2, 1};
  for (size_t i = 0; i + 2 < count; ++i) {
    for (size_t k = 0; k < 3; ++k) {
      rows[i + k].diagonal += stiffness * kDifference[k] * kDifference[k];
    }
    rows[i].next += stiffness * kDifference[0] * kDifference[1];
    rows[i + 1].next += stiffness * kDifference[1] * kDifference[2];
    rows[i].second += stiffness * kDifference[0] * kDifference[2];
  }
  return rows;
}

}  // namespace

std::vector<double> Smoothed(const std::vector<double>& values, const std::vector<double>& weights,
                             double stiffness) {
  const size_t count = values.size();
  if (count < 3) return values;
  std::vector<BandRow> rows = NormalEquations(weights, stiffness);
  std::vector<double> result(count);
  for (size_t i = 0; i < count; ++i) result[i] = weights[i] * values[i];
  // Elimination downwards, then substitution upwards.
  for (size_t i = 0; i < count; ++i) {
    const BandRow row = rows[i];
    if (i + 1 < count) {
      const double factor = row.next / row.diagonal;
      rows[i + 1].diagonal -= factor * row.next;
      rows[i + 1].next -= factor * row.second;
      result[i + 1] -= factor * result[i];
    }
    if (i + 2 < count) {
      const double factor = row.second / row.diagonal;
      rows[i + 2].diagonal -= factor * row.second;
      result[i + 2] -= factor * result[i];
    }
  }
  for (size_t i = count; i-- > 0;) {
    double sum = result[i];
    if (i + 1 < count) sum -= rows[i].next * result[i + 1];
    if (i + 2 < count) sum -= rows[i].second * result[i + 2];
    result[i] = sum / rows[i].diagonal;
  }
  return result;
}

}  // namespace kiv
