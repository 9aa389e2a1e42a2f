#include "host/Sound.h"

#include <fmt/format.h>

#include "host/Messages.h"

namespace host {
namespace {

// Sound is copied, never changed: it fits pictures that take as long as the source's, in its order.
std::string WhyItDoesNotFit(const Clip& clip, KivRange range) {
  const Playback& playback = clip.HowItPlays();
  if (playback.reverse) return "the clip plays backwards";
  if (playback.IsShifted()) {
    return fmt::format("the speed is {}/{}", playback.speed.numerator, playback.speed.denominator);
  }
  if (range.start != 0 || range.end != clip.Result().frameCount - 1) {
    return "only a part of the frames is rendered";
  }
  return {};
}

}  // namespace

Sound SoundFor(const Options& options, const Clip& clip, KivRange range) {
  Sound sound;
  if (clip.Info().audioStreams < 1) return sound;
  sound.fit = kiv::SoundThatFits(options.plan, options.input);
  sound.leftOut = WhyItDoesNotFit(clip, range);
  if (!sound.leftOut.empty()) {
    sound.fit.fitting = 0;
  } else if (sound.fit.fitting < sound.fit.streams) {
    sound.leftOut = "the output cannot hold it as it is";
  }
  if (sound.fit.fitting > 0) sound.file = options.input;
  return sound;
}

void TellOfSound(const Options& options, const Sound& sound) {
  if (sound.leftOut.empty() || options.plan.kind != kiv::OutputKind::kEncoded) return;
  if (sound.fit.fitting == 0) {
    return PrintNote(
        fmt::format("note: the sound of '{}' is left out: {}", options.input, sound.leftOut));
  }
  PrintNote(fmt::format("note: {} of the {} sound streams of '{}' left out: {}",
                        sound.fit.streams - sound.fit.fitting, sound.fit.streams, options.input,
                        sound.leftOut));
}

}  // namespace host
