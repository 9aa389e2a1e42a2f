// Resolves a span of frames against a clip or its result.
//
// Errors:   SessionError with kOutOfRange.
#pragma once

#include "kiv/values/ValueTypes.h"
#include "session/Values.h"

namespace kiv::session {

// Out of `frameCount`. `option` is what the message calls the span, `whole` what the frames are
// counted in.
KivRange ResolveRange(const FrameSpan& span, const char* option, const char* whole,
                      int32_t frameCount);
// Of the result.
KivRange ResolveFrames(const FrameSpan& span, const char* option, int32_t frameCount);

}  // namespace kiv::session
