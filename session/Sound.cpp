#include "session/Sound.h"

#include <fmt/format.h>

#include "cli/Messages.h"

namespace host {
namespace {

// Sound is copied, never changed: it fits pictures that take as long as the source's, in its order.
// Over footage it is the footage's, however the shape plays.
std::string WhyItDoesNotFit(const Clip& clip, KivRange range) {
  const Clip& shown = clip.Footage() != nullptr ? *clip.Footage() : clip;
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

Sound SoundFor(const Options& options, const Clip& clip, KivRange range) {
  Sound sound;
  const bool isOver = clip.Footage() != nullptr;
  sound.source = isOver ? options.chain.alpha.over : options.input;
  if ((isOver ? *clip.Footage() : clip).Info().audioStreams < 1) return sound;
  sound.fit = kiv::SoundThatFits(options.plan, sound.source);
  sound.leftOut = WhyItDoesNotFit(clip, range);
  if (!sound.leftOut.empty()) {
    sound.fit.fitting = 0;
  } else if (sound.fit.fitting < sound.fit.streams) {
    sound.leftOut = "the output cannot hold it as it is";
  }
  if (sound.fit.fitting > 0) sound.file = sound.source;
  return sound;
}

void TellOfSound(const Options& options, const Sound& sound) {
  if (sound.leftOut.empty() || options.plan.kind != kiv::OutputKind::kEncoded) return;
  if (sound.fit.fitting == 0) {
    return PrintNote(
        fmt::format("note: the sound of '{}' is left out: {}", sound.source, sound.leftOut));
  }
  PrintNote(fmt::format("note: {} of the {} sound streams of '{}' left out: {}",
                        sound.fit.streams - sound.fit.fitting, sound.fit.streams, sound.source,
                        sound.leftOut));
}

}  // namespace host
