#include "session/Sound.h"

#include <fmt/format.h>

#include "session/Notes.h"

namespace kiv::session {
namespace {

// Sound is copied, never changed: it fits pictures that take as long as the source's, in its order.
// Over footage it is the footage's, however the shape plays.
std::string WhyItDoesNotFit(const ChainClip& shown, KivRange range) {
  const Playback& playback = shown.HowItPlays();
  if (playback.reverse) return "the clip plays backwards";
  if (playback.IsShifted()) {
    return fmt::format("the speed is {}/{}", playback.speed.numerator, playback.speed.denominator);
  }
  if (shown.IsStretched()) return "the preset is longer than its file";
  if (range.start != 0 || range.end != shown.Result().frameCount - 1) {
    return "only a part of the frames is rendered";
  }
  return {};
}

}  // namespace

Sound SoundFor(const kiv::OutputPlan& plan, const Composite& clip, KivRange range) {
  Sound sound;
  sound.source = clip.Shown().Path();
  if (clip.Shown().Info().audioStreams < 1) return sound;
  sound.fit = kiv::SoundThatFits(plan, sound.source);
  sound.leftOut = WhyItDoesNotFit(clip.Shown(), range);
  if (!sound.leftOut.empty()) {
    sound.fit.fitting = 0;
  } else if (sound.fit.fitting < sound.fit.streams) {
    sound.leftOut = "the output cannot hold it as it is";
  }
  if (sound.fit.fitting > 0) sound.file = sound.source;
  return sound;
}

void TellOfSound(const kiv::OutputPlan& plan, const Sound& sound, const NoteFunction& onNote) {
  if (sound.leftOut.empty() || plan.kind != kiv::OutputKind::kEncoded) return;
  if (sound.fit.fitting == 0) {
    return Tell(onNote, "note: the sound of '{}' is left out: {}", sound.source, sound.leftOut);
  }
  Tell(onNote, "note: {} of the {} sound streams of '{}' left out: {}",
       sound.fit.streams - sound.fit.fitting, sound.fit.streams, sound.source, sound.leftOut);
}

}  // namespace kiv::session
