// What the fuzzers feed, and what must hold for every input.
//
// Each answers false when a promise is broken; crashes and sanitizer reports speak for themselves.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

// UTF-8 as a keyframe document: what is read can be evaluated and written, and the written text reads
// and writes as itself.
bool FeedKeyFrameJson(const uint8_t* data, size_t size);
// A type and, from the second byte on, UTF-8 as its text: what is stored reads back as itself.
bool FeedValue(const uint8_t* data, size_t size);

}  // namespace fuzz
