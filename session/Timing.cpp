#include "session/Timing.h"

#include <algorithm>
#include <limits>

#include "engine/registry/AlgorithmModules.h"
#include "kiv/base/FrameTime.h"
#include "session/Notes.h"

namespace kiv::session {
namespace {

__extension__ using Wide = __int128;

Wide FloorOf(Wide numerator, Wide denominator) {
  const Wide quotient = numerator / denominator;
  return numerator % denominator < 0 ? quotient - 1 : quotient;
}

// The speed node generates frames when there is room for one between two of the source's.
bool NeedsInBetweens(const KivRational& speed) {
  return kiv::InBetweenCountOf(speed.ToDouble()) >= 1;
}

}  // namespace

PreRoll PreRollTo(int32_t frame, const Playback& playback, const KivStreamInfo& info) {
  if (!playback.rated && !playback.IsShifted()) return {frame};
  // A seek of the rate node goes by numbers and a step by times: where those have no fixed relation,
  // only the start is common to both.
  if (playback.rated && !playback.reverse && info.constantRate == 0) return {0, frame};
  const KivRational& speed = playback.speed;
  // The pair of source frames around the wanted one comes by steps, the one before it may be sought;
  // one more for what the node's arithmetic rounds off.
  constexpr int kSourceFrames = 3;
  const Wide last = FloorOf(Wide{frame} * speed.numerator, speed.denominator);
  const Wide start = FloorOf((last - kSourceFrames) * speed.denominator, speed.numerator);
  const auto from = static_cast<int32_t>(std::clamp<Wide>(start, 0, std::max(frame - 1, 0)));
  if (from > 0 || !playback.rated || !playback.reverse) return {from, frame - from};
  // Mirrored, the first frame is none that numbers and times have in common either. Once the rate node
  // has stepped, it stands right, whichever way it steps then.
  const Wide steps = FloorOf(Wide{kSourceFrames} * speed.denominator, speed.numerator) + 1;
  const int32_t there = std::max(frame, kiv::ClampToInt32(static_cast<int64_t>(steps)));
  return {0, there, frame - there};
}

InBetweenPlace PlaceInBetween(int32_t number, const KivRational& speed) {
  const double scale = speed.ToDouble();
  const int32_t count = kiv::InBetweenCountOf(scale);
  // The node steps on until what it was given last stands for the wanted frame or a later one; it
  // begins with two frames.
  constexpr int32_t kNoLimit = std::numeric_limits<int32_t>::max();
  const int32_t newer = std::max(kiv::FirstGivenFor(number, scale, kNoLimit), 1);
  const int32_t index = std::max(number - kiv::ShownFor(newer, scale) + count, 0);
  return {newer - 1, index / (count + 1.0)};
}

int32_t LastBeforeHeld(int32_t given, const Playback& playback) {
  const double speed = playback.speed.ToDouble();
  if (!playback.reverse || speed >= 1.0) return std::numeric_limits<int32_t>::max();
  return kiv::ShownFor(given - 1, speed);
}

InBetween SetUpInterpolation(const ClipOptions& options, const KivRational& speed) {
  if (!NeedsInBetweens(speed)) return InBetween::kNotNeeded;
  if (options.interpolation == Interpolation::kOff) return InBetween::kOff;
  std::string why;
  if (kiv::AlgorithmModules::Shared().Find(kTweenModuleName, &why)) return InBetween::kGenerated;
  Tell(options.onNote, "source frames repeat, there is no interpolation: {}", why);
  return InBetween::kNoModule;
}

const char* NameOf(InBetween state) {
  switch (state) {
    case InBetween::kNotNeeded:
      return "not needed";
    case InBetween::kGenerated:
      return "flow";
    case InBetween::kOff:
      return "off";
    case InBetween::kNoModule:
      return "no module";
  }
  return "";
}

}  // namespace kiv::session
