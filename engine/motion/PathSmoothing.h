// A smooth curve beside a series of values.
//
// Threads:  any; nothing is kept.
// Errors:   throws std::bad_alloc.
#pragma once

#include <vector>

#include "kiv/values/Export.h"

namespace kiv {

// The series s that makes sum((s - value)^2) + stiffness x Unsteadiness(s) smallest while no s is farther from its value than its `reach` (one for each value, 0 or more; empty: any
// distance). Straight stretches stay as they are, up to both ends: nothing lags and nothing drifts.
KIV_ENGINE_API std::vector<double> Smoothed(const std::vector<double>& values,
                                            const std::vector<double>& reach, double stiffness);

// The sum of the squared bends that smoothing makes small.
KIV_ENGINE_API double Unsteadiness(const std::vector<double>& values);

}  // namespace kiv
