// Which frames a frame cache reads ahead for a requested index. Pure arithmetic.
//
// Units:    frame indices and counts, in 64 bits: no 32-bit input can overflow them.
#pragma once

#include <cstdint>
#include <optional>

// Both ends included; empty when the end lies before the start.
struct CacheSpan {
  int64_t start = 0;
  int64_t end = -1;

  bool Contains(int64_t index) const { return index >= start && index <= end; }
  friend bool operator==(const CacheSpan&, const CacheSpan&) = default;
};

struct SpanRules {
  int32_t first = 0;  // the lowest and the highest index that a span may cover
  int32_t last = 0;
  int32_t size = 0;  // about how many frames a span covers
  double hysteresis = 0.5;
};

// What to keep, and the part of it that has to be read.
struct PrefetchPlan {
  CacheSpan span;
  CacheSpan read;
};

// A span reaches twice as far below the index as above it. None when `current`, the span asked
// for last, still covers what a smaller span around the index would.
std::optional<PrefetchPlan> PlanPrefetch(int32_t index, const SpanRules& rules,
                                         const std::optional<CacheSpan>& current);
