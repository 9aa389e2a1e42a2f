// Whether an output gets the source's sound: remuxed, or not at all.
#pragma once

#include <string>

#include "engine/write/Writer.h"
#include "session/ClipOptions.h"
#include "session/Composite.h"

namespace kiv::session {

struct Sound {
  kiv::SoundFit fit;
  std::string source;   // the file that has it
  std::string file;     // whose sound streams go into the output; empty: none do
  std::string leftOut;  // why some or all do not; empty when nothing is lost
};

// `range` is what is rendered of the result.
Sound SoundFor(const kiv::OutputPlan& plan, const Composite& clip, KivRange range);

// The one line about it, where there is something to say: pictures alone hold no sound anyway.
void TellOfSound(const kiv::OutputPlan& plan, const Sound& sound, const NoteFunction& onNote);

}  // namespace kiv::session
