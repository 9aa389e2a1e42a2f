// What a chain with rate and speed needs beyond its settings: where it has to start from to show a
// frame, and something that generates the frames of slow motion.
//
// Units:    frame numbers count the result from 0.
#pragma once

#include "session/Playback.h"

namespace kiv::session {

// What a seek shows is not always what playing from the start shows there: generated pictures come
// with steps only, and steps go by time. Seeking `from` and moving by `there` and then by `back` ends on
// the very picture.
struct PreRoll {
  int32_t from = 0, there = 0, back = 0;
};
PreRoll PreRollTo(int32_t frame, const Playback& playback, const KivStreamInfo& info);

// Where a generated frame lies: behind `older`, of the frames that the speed node is given, by a part
// of the way to the next of them.
struct InBetweenPlace {
  int32_t older = 0;
  double part = 0;
};
// Of frame `number` of the result, for speeds that generate frames.
InBetweenPlace PlaceInBetween(int32_t number, const KivRational& speed);

// The last frame of the result that shows nothing beyond the last of the `given` frames of a stretch
// played backwards. In slow motion more may follow: they lie between that one, which is held for
// them, and the clip's frame before the stretch.
int32_t LastBeforeHeld(int32_t given, const Playback& playback);

enum class InBetween { kNotNeeded, kGenerated, kOff, kNoModule };

// Tells the host when the frames that slow motion needs cannot be generated.
InBetween SetUpInterpolation(const ClipOptions& options, const KivRational& speed);
const char* NameOf(InBetween state);

}  // namespace kiv::session
