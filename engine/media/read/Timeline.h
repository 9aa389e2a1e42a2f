// Times for frames whose stamps repeat, go back or are missing.
//
// A repeated stamp, or one that is a little early, is moved just after the frame before it. Where
// the stamps begin anew, as in streams that were joined, time runs on.
//
// Units:    stamps in the stream's time base, in the order of display.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kiv/values/Export.h"

namespace kiv {

struct StampUnits {
  int64_t frame = 1;            // how long a frame takes, as far as the file says
  int64_t shortest = 1;         // the least that lies between two frames
  int64_t longest = INT64_MAX;  // a larger step forwards is a jump
};

struct Timeline {
  std::vector<int64_t> stamps;  // each above the one before, short of the largest number
  std::vector<int32_t> parts;   // the first frame, and each from which the stamps begin anew
};

KIV_ENGINE_API Timeline Unroll(std::span<const int64_t> stamps, const StampUnits& units);

}  // namespace kiv
