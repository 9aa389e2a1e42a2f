#include "engine/picture/ScaleAxis.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

class AxisBuilder {
 public:
  void Begin(int32_t first) { axis_.taps.push_back({first, 0, axis_.weights.size()}); }
  void Add(double weight) {
    ++axis_.taps.back().count;
    axis_.weights.push_back(static_cast<float>(weight));
  }

  ScaleAxis Finish() {
    const auto isShort = [](const ScaleTaps& taps) { return taps.count <= kScaleTaps; };
    if (std::all_of(axis_.taps.begin(), axis_.taps.end(), isShort)) FillUp();
    return std::move(axis_);
  }

 private:
  void FillUp() {
    std::vector<float> weights(axis_.taps.size() * kScaleTaps);
    size_t at = 0;
    for (ScaleTaps& taps : axis_.taps) {
      std::copy_n(axis_.weights.begin() + static_cast<ptrdiff_t>(taps.weights), taps.count,
                  weights.begin() + static_cast<ptrdiff_t>(at));
      taps = {taps.first, kScaleTaps, at};
      at += kScaleTaps;
    }
    axis_.weights = std::move(weights);
    axis_.fourEach = true;
  }

  ScaleAxis axis_;
};

void AddArea(AxisBuilder& axis, int32_t size, double begin, double end) {
  const int32_t first = std::clamp(SaturateToInt32(begin), 0, size - 1);
  axis.Begin(first);
  for (int32_t i = first; i < size; ++i) {
    const double covered = std::min<double>(i + 1, end) - std::max<double>(i, begin);
    if (i > first && covered <= 0) break;
    axis.Add(covered / (end - begin));
  }
}

void AddLinear(AxisBuilder& axis, int32_t size, double centre) {
  const double place = std::clamp<double>(centre - 0.5, 0, size - 1);
  const int32_t first = SaturateToInt32(place);
  const double fraction = place - first;
  axis.Begin(first);
  axis.Add(1 - fraction);
  if (fraction > 0) axis.Add(fraction);
}

// A cubic over four points, of the family that keeps ramps straight (B + 2C = 1): `blur` 0 goes through
// the points with the slopes of their neighbours, 1 is the smoothest.
double CubicWeight(double distance, double blur) {
  const double x = std::fabs(distance);
  const double slope = (1 - blur) / 2;
  if (x < 1) {
    const double cube = 12 - 9 * blur - 6 * slope;
    const double square = -18 + 12 * blur + 6 * slope;
    return ((cube * x + square) * x * x + 6 - 2 * blur) / 6;
  }
  if (x >= 2) return 0;
  const double cube = -blur - 6 * slope;
  const double square = 6 * blur + 30 * slope;
  const double line = -12 * blur - 48 * slope;
  return (((cube * x + square) * x + line) * x + 8 * blur + 24 * slope) / 6;
}

constexpr double kThroughThePoints = 0;
// Where a hard black and white edge crosses the middle grey, this stays within 0.09 pixel of the true
// place while the edge moves over the pixels; the curve through the points only within 0.13.
constexpr double kEvenlySoft = 0.5;

struct Curve {
  double blur = kThroughThePoints;
  double stretch = 1;  // source pixels that it is drawn over for each of its own
};

// What falls beyond the edges counts as the edge pixel.
void AddCurve(AxisBuilder& axis, int32_t size, double centre, const Curve& curve) {
  const double place = centre - 0.5;
  const int32_t from = SaturateToInt32(std::floor(place - 2 * curve.stretch)) + 1;
  const int32_t to = SaturateToInt32(std::ceil(place + 2 * curve.stretch)) - 1;
  const int32_t first = std::clamp(from, 0, size - 1);
  const int32_t last = std::clamp(to, 0, size - 1);
  std::vector<double> weights(static_cast<size_t>(last - first) + 1);
  double sum = 0;
  for (int32_t i = from; i <= to; ++i) {
    const double weight = CubicWeight((i - place) / curve.stretch, curve.blur);
    weights[static_cast<size_t>(std::clamp(i, first, last) - first)] += weight;
    sum += weight;
  }
  axis.Begin(first);
  for (const double weight : weights) axis.Add(weight / sum);
}

}  // namespace

ScaleAxis MakeScaleAxis(const ScaleStretch& from, int32_t to, ScaleFilter filter) {
  AxisBuilder axis;
  const double scale = from.length / to;
  for (int32_t i = 0; i < to; ++i) {
    const double centre = from.begin + (i + 0.5) * scale;
    if (filter == ScaleFilter::kNearest) {
      axis.Begin(std::clamp(SaturateToInt32(centre), 0, from.size - 1));
      axis.Add(1);
    } else if (filter == ScaleFilter::kCubic) {
      AddCurve(axis, from.size, centre, {kThroughThePoints, std::max(scale, 1.0)});
    } else if (filter == ScaleFilter::kSmooth) {
      AddCurve(axis, from.size, centre, {kEvenlySoft, std::max(scale, 1.0)});
    } else if (filter == ScaleFilter::kArea && scale > 1) {
      AddArea(axis, from.size, from.begin + i * scale, from.begin + (i + 1) * scale);
    } else {
      AddLinear(axis, from.size, centre);
    }
  }
  return axis.Finish();
}

}  // namespace kiv
