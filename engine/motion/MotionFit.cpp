#include "engine/motion/MotionFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

constexpr int kHypotheses = 300;
constexpr int kPartsAcross = 8;
constexpr int kPartsDown = 6;
constexpr size_t kFewest = 8;
constexpr double kFewestShare = 0.3;   // of the features that were tracked
constexpr double kAgreement = 0.8;     // tracked pixels
constexpr double kLeastSpread = 0.03;  // tracked pixels: what tracking itself is off by
constexpr double kTukey = 4.685;
constexpr int kRefinements = 8;
constexpr double kMostScaling = 0.2;
constexpr double kDegreesPerRadian = 180 / std::numbers::pi;

// shift(p) = t + (a, -b; b, a) p: a similarity without the identity.
struct Similarity {
  double tx = 0, ty = 0, a = 0, b = 0;

  double ErrorAt(const FeatureMotion& m) const {
    const double x = tx + a * m.from.x - b * m.from.y - m.shift.x;
    const double y = ty + b * m.from.x + a * m.from.y - m.shift.y;
    return x * x + y * y;
  }
};

// The same sequence every time: results have to repeat.
class Dice {
 public:
  size_t Below(size_t count) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<size_t>((state_ >> 33) % count);
  }

 private:
  uint64_t state_ = 42;
};

std::optional<Similarity> Through(const FeatureMotion& p, const FeatureMotion& q) {
  const double x = q.from.x - p.from.x, y = q.from.y - p.from.y;
  const double square = x * x + y * y;
  if (square < 100) return std::nullopt;
  const double dx = q.shift.x - p.shift.x, dy = q.shift.y - p.shift.y;
  Similarity s;
  s.a = (x * dx + y * dy) / square;
  s.b = (x * dy - y * dx) / square;
  s.tx = p.shift.x - s.a * p.from.x + s.b * p.from.y;
  s.ty = p.shift.y - s.b * p.from.x - s.a * p.from.y;
  return s;
}

// A feature's vote: each part of the picture has one in all, however much texture lies in it, or a
// rich object in front of a plain wall would be taken for the world.
std::vector<double> VotesByArea(const std::vector<FeatureMotion>& motions, const KivSize& frame) {
  const auto part = [](double at, int side, int parts) {
    const int found = SaturateToInt32((at / side + 0.5) * parts);
    return static_cast<size_t>(std::clamp(found, 0, parts - 1));
  };
  std::array<int, size_t{kPartsAcross} * kPartsDown> counts{};
  std::vector<size_t> parts;
  parts.reserve(motions.size());
  for (const FeatureMotion& m : motions) {
    const size_t row = part(m.from.y, frame.height, kPartsDown);
    parts.push_back(row * kPartsAcross + part(m.from.x, frame.width, kPartsAcross));
    ++counts[parts.back()];
  }
  std::vector<double> votes;
  votes.reserve(parts.size());
  for (const size_t at : parts) votes.push_back(1.0 / counts[at]);
  return votes;
}

Similarity MostAgreed(const std::vector<FeatureMotion>& motions, const std::vector<double>& votes,
                      double limit) {
  Dice dice;
  Similarity best;
  double leastCost = INFINITY;
  for (int i = 0; i < kHypotheses; ++i) {
    const auto guess =
        Through(motions[dice.Below(motions.size())], motions[dice.Below(motions.size())]);
    if (!guess) continue;
    double cost = 0;
    for (size_t f = 0; f < motions.size(); ++f) {
      cost += votes[f] * std::min(guess->ErrorAt(motions[f]), limit);
    }
    if (cost >= leastCost) continue;
    leastCost = cost;
    best = *guess;
  }
  return best;
}

double TukeyWeight(double squared, double reach) {
  const double u = squared / (reach * reach);
  return u >= 1 ? 0 : (1 - u) * (1 - u);
}

// Weighted least squares: weights fall with the distance from `near`.
Similarity Refined(const std::vector<FeatureMotion>& motions, const Similarity& near,
                   double reach) {
  double w = 0, x = 0, y = 0, u = 0, v = 0;
  for (const FeatureMotion& m : motions) {
    const double weight = TukeyWeight(near.ErrorAt(m), reach);
    w += weight;
    x += weight * m.from.x;
    y += weight * m.from.y;
    u += weight * m.shift.x;
    v += weight * m.shift.y;
  }
  if (w <= 0) return near;
  x /= w, y /= w, u /= w, v /= w;
  double square = 0, along = 0, across = 0;
  for (const FeatureMotion& m : motions) {
    const double weight = TukeyWeight(near.ErrorAt(m), reach);
    const double px = m.from.x - x, py = m.from.y - y;
    const double sx = m.shift.x - u, sy = m.shift.y - v;
    square += weight * (px * px + py * py);
    along += weight * (px * sx + py * sy);
    across += weight * (px * sy - py * sx);
  }
  if (square <= 0) return near;
  Similarity s;
  s.a = along / square;
  s.b = across / square;
  s.tx = u - s.a * x + s.b * y;
  s.ty = v - s.b * x - s.a * y;
  return s;
}

// How far off the agreeing features are: 1.4826 of the median, for each of the two directions.
double Spread(const std::vector<FeatureMotion>& motions, const Similarity& s, double limit) {
  std::vector<double> errors;
  for (const FeatureMotion& m : motions) {
    if (const double error = s.ErrorAt(m); error < limit) errors.push_back(error);
  }
  if (errors.empty()) return 0;
  const auto middle = errors.begin() + static_cast<ptrdiff_t>(errors.size() / 2);
  std::nth_element(errors.begin(), middle, errors.end());
  return std::sqrt(*middle / 1.386);
}

}  // namespace

std::optional<FittedMotion> FitMotion(const std::vector<FeatureMotion>& motions,
                                      const KivSize& frame, double pixel) {
  if (motions.size() < kFewest) return std::nullopt;
  const double limit = kAgreement * kAgreement * pixel * pixel;
  Similarity fit = MostAgreed(motions, VotesByArea(motions, frame), limit);
  for (int i = 0; i < kRefinements; ++i) {
    const double spread = std::max(Spread(motions, fit, limit), kLeastSpread * pixel);
    fit = Refined(motions, fit, std::min(kTukey * spread, 2 * kAgreement * pixel));
  }
  const auto agreeing = static_cast<size_t>(
      std::count_if(motions.begin(), motions.end(),
                    [&](const FeatureMotion& m) { return fit.ErrorAt(m) < limit; }));
  if (agreeing < kFewest) return std::nullopt;
  if (static_cast<double>(agreeing) < kFewestShare * static_cast<double>(motions.size())) {
    return std::nullopt;
  }
  if (std::hypot(1 + fit.a, fit.b) < 1 - kMostScaling) return std::nullopt;
  if (std::hypot(1 + fit.a, fit.b) > 1 + kMostScaling) return std::nullopt;
  return FittedMotion{{fit.tx, fit.ty, std::atan2(fit.b, 1 + fit.a) * kDegreesPerRadian}, agreeing};
}

}  // namespace kiv
