// Copying a whole picture.
//
// Threads:  any; no state.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/values/Export.h"

namespace kiv {

// As memcpy. What is too large to be found in the cache again is written past it, which spares the
// memory from being read before it is written.
KIV_ENGINE_API void StreamCopy(uint8_t* to, const uint8_t* from, size_t bytes);

}  // namespace kiv
