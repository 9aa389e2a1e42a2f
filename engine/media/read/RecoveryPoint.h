// Reads from an H.264 packet whether pictures are complete only some frames after it.
//
// Threads:  none of its own.
// Errors:   none: what cannot be read says nothing.
#pragma once

#include <cstdint>
#include <span>

#include "kiv/values/Export.h"

namespace kiv {

// Bytes of the lengths that stand before a stream's units; 0 when start codes part them.
KIV_ENGINE_API int UnitLengthBytes(std::span<const uint8_t> streamHeader);

// True when the packet's recovery point message counts pictures until a decoder that starts with it
// shows right ones: the picture is renewed part by part, without a key frame.
KIV_ENGINE_API bool RecoversGradually(std::span<const uint8_t> packet, int unitLengthBytes);

}  // namespace kiv
