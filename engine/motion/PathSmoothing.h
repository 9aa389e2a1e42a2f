// A smooth curve beside a series of values.
//
// Threads:  any; nothing is kept.
// Errors:   throws std::bad_alloc.
#pragma once

#include <vector>

#include "kiv/values/Export.h"

namespace kiv {

// The series s that makes sum(weight (s - value)^2) + stiffness x sum(second difference of s)^2
// smallest. Straight stretches stay as they are, up to both ends: nothing lags and nothing drifts.
// One weight, above 0, for each value.
KIV_ENGINE_API std::vector<double> Smoothed(const std::vector<double>& values,
                                            const std::vector<double>& weights, double stiffness);

}  // namespace kiv
