// Lets a decoder put its pictures into the slab pool, so that what is kept of them costs no copy and
// goes back to the system when it is given up.
//
// Owns:     nothing.
// Threads:  any; FFmpeg calls it from the decoder's threads.
#pragma once

struct AVCodecContext;

namespace kiv {

// To be called before the decoder is opened.
void UseSlabsForPictures(AVCodecContext* decoder);

}  // namespace kiv
