#include "kiv/effects/AlphaVideoTiming.h"

#include <algorithm>
#include <cmath>

#include "kiv/base/FrameTime.h"
#include "kiv/values/Saturate.h"

namespace {

using kiv::ClampToInt32;

// Truncates, but takes what rounding errors alone keep below a whole number for that number: 25 x 1.16
// is frame 29, and no frame repeats in the middle of a motion.
int32_t WholeFrames(double frames) {
  constexpr double kRoundingErrors = 1e-6;
  const double nearest = std::nearbyint(frames);
  const bool isWhole = std::abs(frames - nearest) < kRoundingErrors;
  return kiv::SaturateToInt32(isWhole ? nearest : frames);
}

// Settings keep times with six decimals, so what is that near to a frame count is the count: a preset
// of 31/30 s does not loop for ending 0.3 microseconds before its clip.
double OnWholeFrames(double time, double rate) {
  constexpr double kRoundingOfSettings = 1e-6;
  const double whole = std::nearbyint(time * rate) / rate;
  return std::abs(time - whole) < kRoundingOfSettings ? whole : time;
}

int64_t FrameCountOf(const KivRange& range) {
  return range.end < range.start ? 0 : int64_t{range.end} - range.start + 1;
}

// In 64 bits: the least 32-bit value has no remainder by -1.
int64_t Remainder(int64_t dividend, int64_t divisor) { return dividend % divisor; }

// Where the preset is while it pauses at `frame`.
int32_t PausedFrame(int32_t frame, int32_t loopCount, double presetFrames, double pause) {
  if (loopCount == 0) return frame;
  const int32_t into = WholeFrames(presetFrames - pause);
  return ClampToInt32(frame + Remainder(into, loopCount));
}

int32_t LoopedFrame(double presetFrames, double durationFrames) {
  const int32_t length = WholeFrames(durationFrames - 1.0);
  if (length <= 0) return 0;
  const int64_t frame = Remainder(WholeFrames(presetFrames - 1.0), length);
  return std::max(ClampToInt32(frame), 0);
}

}  // namespace

int32_t MapToMaskFrame(const AlphaVideoTiming& timing, int32_t frame) {
  const double rate = timing.sourceRate.ToDouble();
  const double duration = OnWholeFrames(timing.duration, rate);
  const double pause = OnWholeFrames(timing.pauseTime, rate);
  const double time = frame / rate;
  const int32_t pauseFrame = ClampToInt32(int64_t{WholeFrames(rate * pause)} - 1);
  const double clip =
      static_cast<double>(FrameCountOf(timing.renderRange)) / timing.renderRate.ToDouble();
  // A clip whose length is NaN is not longer than the preset: its frames stay as they are.
  if (!(clip > duration)) return frame;
  if (pauseFrame > 0) {
    const double extra = clip - duration;
    if (time < pause) return frame;
    if (time <= pause + extra) {
      return PausedFrame(pauseFrame, timing.loopCount, rate * time, pause);
    }
    return WholeFrames(rate * (time - extra) - 1.0);
  }
  return duration > 0 ? LoopedFrame(rate * time, rate * duration) : frame;
}

int64_t AlphaFrameTime(const AlphaVideoTiming& timing, int32_t frame) {
  return kiv::FrameStart(frame, timing.sourceRate);
}
