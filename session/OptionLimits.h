// How far the values of options go, whether they come as texts or as numbers. Not installed.
#pragma once

#include <cstdint>

namespace kiv::session {

constexpr int64_t kLargestTerm = 1'000'000;        // of a speed, rate or scale
constexpr int64_t kMostMemory = int64_t{1} << 20;  // MiB
constexpr double kMostSeconds = 1e6;
constexpr int32_t kLargestColour = 0xFFFFFF;

}  // namespace kiv::session
