#include "kiv/cache/CacheSpan.h"

#include <algorithm>

#include "kiv/values/Saturate.h"

namespace {

CacheSpan SpanAround(int32_t index, const SpanRules& rules) {
  const int64_t ahead = rules.size / 3;
  const int64_t behind = int64_t{2} * rules.size / 3;
  return {std::max<int64_t>(index - behind, rules.first),
          std::min<int64_t>(int64_t{index} - 1 + ahead, rules.last)};
}

// What `current` has to cover for nothing to be due.
CacheSpan ProbesAround(int32_t index, const SpanRules& rules) {
  const double reach = rules.size * rules.hysteresis;
  return {std::max<int64_t>(kiv::SaturateToInt64(index - reach * 2 / 3), rules.first),
          std::min<int64_t>(kiv::SaturateToInt64(reach / 3 + index - 1), rules.last)};
}

}  // namespace

std::optional<PrefetchPlan> PlanPrefetch(int32_t index, const SpanRules& rules,
                                         const std::optional<CacheSpan>& current) {
  const CacheSpan span = SpanAround(index, rules);
  if (!current) return PrefetchPlan{span, span};
  const CacheSpan probes = ProbesAround(index, rules);
  if (probes.start < current->start) {
    return PrefetchPlan{span, {span.start, std::min(span.end, current->start - 1)}};
  }
  if (probes.end > current->end) {
    return PrefetchPlan{span, {std::max(current->end + 1, span.start), span.end}};
  }
  return std::nullopt;
}
