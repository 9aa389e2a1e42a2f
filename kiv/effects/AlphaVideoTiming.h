// Which frame of a preset a clip's frame shows: a preset fills a longer clip by pausing at one point,
// held or looping a few frames there, or else by looping as a whole.
//
// Units:    frames count at the preset's own rate; durations in seconds, within a microsecond of a whole
//           frame count they mean that count; time in 100 ns.
// Threads:  any; nothing is kept.
// Errors:   none. Rates of 0, NaN as a length and sums beyond 32 bits give some frame.
#pragma once

#include <cstdint>

#include "kiv/values/ValueTypes.h"

struct AlphaVideoTiming {
  KivRational sourceRate{25, 1};
  KivRational renderRate{};
  KivRange renderRange{};  // the clip's frames, at the render rate
  double duration = 5.0;
  double pauseTime = 0;   // the pause point inside the preset; before its second frame: none
  int32_t loopCount = 0;  // frames looped while pausing; 0 holds one
};

// The preset's frame; the first one for places before it.
int32_t MapToMaskFrame(const AlphaVideoTiming& timing, int32_t frame);

// When a frame starts.
int64_t AlphaFrameTime(const AlphaVideoTiming& timing, int32_t frame);
