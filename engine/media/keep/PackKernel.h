// The row steps of packing pictures without loss: what a row differs from the one above it, and the
// bits that takes.
//
// Every sample is predicted from the three above it, so that all samples of a row can be worked out
// at once, in packing as in unpacking. Differences are folded to small positive numbers and written
// in blocks of 128, each with as many bits a sample as its largest one needs.
//
// Units:    sizes in samples; 1 or 2 bytes a sample.
// Owns:     nothing.
// Threads:  any; no state.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv {

constexpr size_t kPackBlock = 128;
// Samples that must be readable before and after the row above.
constexpr size_t kPackMargin = 64;

// `above` has the margins filled; `step` is the distance of neighbours of one component.
// The folded differences go to `low`, and their high bytes, of wide samples, to `high`.
void FoldRow8(const uint8_t* row, const uint8_t* above, size_t count, size_t step, uint8_t* low);
void FoldRow16(const uint16_t* row, const uint16_t* above, size_t count, size_t step, uint8_t* low,
               uint8_t* high);
// The same way back; room for whole vectors is needed after `row`.
void UnfoldRow8(const uint8_t* low, const uint8_t* above, size_t count, size_t step, uint8_t* row);
void UnfoldRow16(const uint8_t* low, const uint8_t* high, const uint16_t* above, size_t count,
                 size_t step, uint16_t* row);

// `blocks` blocks of folded differences into bits. Returns how far `out` was written; it needs room
// for all of them unpacked. One width a block goes to `widths`.
size_t PackBlocks(const uint8_t* folded, size_t blocks, uint8_t* widths, uint8_t* out);
// Returns how far `packed` was read.
size_t UnpackBlocks(const uint8_t* packed, const uint8_t* widths, size_t blocks, uint8_t* folded);

}  // namespace kiv
