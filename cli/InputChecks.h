// What the commands that pull frames check once the input is known.
//
// Errors:   HostError of the usage kind.
#pragma once

#include <cstdint>

#include "cli/Options.h"
#include "kiv/values/ValueTypes.h"

namespace host {

// The frames a span names out of `frameCount`. `option` is what the message calls it.
// `whole` is what the frames are counted in, for the message.
KivRange ResolveRange(const FrameSpan& span, const char* option, const char* whole,
                      int32_t frameCount);
KivRange ResolveFrames(const FrameSpan& span, const char* option, int32_t frameCount);

// No file that is read may be written, and none twice; what is written needs a folder, which is
// HostError of the failing kind.
void CheckFiles(const Options& options);

}  // namespace host
