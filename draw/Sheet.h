// Contact sheets: a clip's frames as labelled thumbnails on one picture.
#pragma once

#include <cstdint>

#include "draw/Picture.h"
#include "session/Clip.h"

namespace kiv::draw {

struct Sheet {
  Picture picture;
  int32_t step = 1;    // it shows one frame in so many
  int32_t frames = 0;  // of as many
};

// `framesOption` is what messages call the span.
// Errors:   SessionError.
Sheet DrawSheet(session::Clip& clip, const session::FrameSpan& span, const char* framesOption,
                const session::ProgressFunction& progress);

}  // namespace kiv::draw
