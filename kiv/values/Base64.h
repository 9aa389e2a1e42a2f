// Bytes as text: the standard alphabet with "=" padding, without line breaks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/values/Export.h"

// Characters that `count` bytes encode to, without the terminator.
constexpr size_t Base64EncodedLength(size_t count) { return (count + 2) / 3 * 4; }
// No text of `length` characters decodes to more bytes than this.
constexpr size_t Base64DecodedCapacity(size_t length) { return length / 4 * 3; }

// `output` holds Base64EncodedLength(count) + 1 characters and is terminated. Returns the
// characters written without the terminator.
KIV_VALUES_API size_t Base64Encode(char* output, const uint8_t* bytes, size_t count);

// Decodes whole groups of four up to the terminator; the first padded group is the last. Characters
// outside the alphabet count as zero bits. Returns the bytes written.
KIV_VALUES_API size_t Base64Decode(uint8_t* output, const char* text);
