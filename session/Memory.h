// The process's memory budget for decoded pictures, and what follows from it.
//
// Units:    bytes.
// Errors:   SessionError.
#pragma once

#include <cstdint>

#include "kiv/platform/Media.h"

namespace kiv::session {

void SetPictureMemory(int64_t bytes);
KivPictureMemory PictureMemory();
// How many frames of `size` the chain's frame cache is to read at once: few enough to take no more
// than a small part of the budget on top of it.
int32_t CacheSpanFor(KivSize size);

}  // namespace kiv::session
