#include "engine/media/read/TimeGrid.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kiv/values/Saturate.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace kiv {
namespace {

constexpr KivRational kCustomaryRates[] = {
    {24000, 1001}, {24, 1},       {25, 1}, {30000, 1001}, {30, 1},        {48, 1},
    {50, 1},       {60000, 1001}, {60, 1}, {100, 1},      {120000, 1001}, {120, 1},
    {240, 1},      {15, 1},       {12, 1}, {10, 1},       {15000, 1001},  {12000, 1001},
    {20, 1},       {5, 1},        {1, 1},  {48000, 1001}, {240000, 1001}, {90, 1}};
// Rates are announced with four or five digits at least; 24 and 24000/1001 are 10^-3 apart.
constexpr double kSnapDistance = 1e-4;
constexpr double kSlowest = 1e-4;
constexpr double kFastest = 1e4;
constexpr int64_t kLargestTerm = 1'001'000;

bool IsSensible(const KivRational& rate) {
  if (rate.numerator <= 0 || rate.denominator <= 0) return false;
  const double value = rate.ToDouble();
  return value >= kSlowest && value <= kFastest;
}

KivRational Approximate(double rate) {
  const AVRational fraction = av_d2q(rate, static_cast<int>(kLargestTerm));
  return {fraction.num, fraction.den};
}

}  // namespace

KivRational SnapRate(const KivRational& rate) {
  const double value = rate.ToDouble();
  for (const KivRational& customary : kCustomaryRates) {
    const double wanted = customary.ToDouble();
    if (std::abs(value - wanted) <= wanted * kSnapDistance) return customary;
  }
  return rate;
}

TimeGrid::TimeGrid(KivRational timeBase, std::vector<KivRational> hints)
    : timeBase_(timeBase), hints_(std::move(hints)) {
  std::erase_if(hints_, [](const KivRational& rate) { return !IsSensible(rate); });
  if (timeBase_.numerator <= 0 || timeBase_.denominator <= 0) timeBase_ = {1, 1000};
}

int64_t TimeGrid::Ticks(int64_t units) const {
  __extension__ using Wide = __int128;
  const Wide ticks =
      static_cast<Wide>(units) * timeBase_.numerator * kTicksPerSecond / timeBase_.denominator;
  if (ticks > INT64_MAX) return INT64_MAX;
  if (ticks < INT64_MIN) return INT64_MIN;
  return static_cast<int64_t>(ticks);
}

int64_t TimeGrid::UnitsIn(double seconds) const {
  return std::max<int64_t>(1, SaturateToInt64(seconds / timeBase_.ToDouble() + 0.5));
}

KivRational TimeGrid::Announced() const {
  return hints_.empty() ? KivRational{25, 1} : SnapRate(hints_.front());
}

KivRational TimeGrid::Average(std::span<const int64_t> stamps, int64_t lastDuration) const {
  if (stamps.size() < 2) return Announced();
  const double between = static_cast<double>(stamps.size()) - (lastDuration > 0 ? 0.0 : 1.0);
  const double units = static_cast<double>(stamps.back()) - static_cast<double>(stamps.front()) +
                       static_cast<double>(std::max<int64_t>(lastDuration, 0));
  const double rate = between / (units * timeBase_.ToDouble());
  const KivRational average =
      rate >= kSlowest && rate <= kFastest ? Approximate(rate) : Announced();
  return IsSensible(average) ? average : Announced();
}

std::vector<KivRational> TimeGrid::Candidates(double measured) const {
  std::vector<KivRational> candidates;
  for (const KivRational& hint : hints_) candidates.push_back(SnapRate(hint));
  if (measured >= kSlowest && measured <= kFastest) {
    candidates.push_back(SnapRate(Approximate(measured)));
  }
  for (const KivRational& customary : kCustomaryRates) candidates.push_back(customary);
  for (const KivRational& hint : hints_) candidates.push_back(hint);
  if (measured >= kSlowest && measured <= kFastest) candidates.push_back(Approximate(measured));
  std::erase_if(candidates, [](const KivRational& rate) { return !IsSensible(rate); });
  return candidates;
}

// Both the first stamp and this one may have been rounded, by half a unit each. With a time base as
// coarse as the frames themselves less is allowed, or every rate would fit.
bool TimeGrid::Fits(std::span<const int64_t> stamps, int64_t firstIndex, int64_t origin,
                    const KivRational& rate) const {
  const double unitsPerFrame = 1.0 / (rate.ToDouble() * timeBase_.ToDouble());
  const double tolerance = std::min(1.01, unitsPerFrame * 0.3);
  int64_t index = firstIndex;
  for (const int64_t stamp : stamps) {
    const double wanted = static_cast<double>(index++) * unitsPerFrame;
    const double offset = static_cast<double>(stamp) - static_cast<double>(origin);
    if (std::abs(offset - wanted) > tolerance) return false;
  }
  return true;
}

KivRational TimeGrid::Fit(std::span<const int64_t> stamps) const {
  if (stamps.size() < 2) return Announced();
  const double units = static_cast<double>(stamps.back()) - static_cast<double>(stamps.front());
  const double measured = static_cast<double>(stamps.size() - 1) / (units * timeBase_.ToDouble());
  for (const KivRational& rate : Candidates(measured)) {
    if (Fits(stamps, 0, stamps.front(), rate)) return rate;
  }
  return {0, 1};
}

KivRational TimeGrid::FitParts(std::span<const int64_t> stamps,
                               std::span<const int32_t> parts) const {
  KivRational rate{0, 1};
  for (size_t i = 0; i < parts.size(); ++i) {
    const auto first = static_cast<size_t>(parts[i]);
    const size_t end = i + 1 < parts.size() ? static_cast<size_t>(parts[i + 1]) : stamps.size();
    const std::span<const int64_t> part = stamps.subspan(first, end - first);
    if (i == 0) rate = Fit(part);
    if (rate.numerator <= 0 || !Fits(part, 0, part.front(), rate)) return {0, 1};
  }
  return rate;
}

}  // namespace kiv
