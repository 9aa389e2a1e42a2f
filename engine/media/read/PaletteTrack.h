// The palettes that a container stores apart from a stream's packets, each from a packet on. A demuxer
// returns each once, with a packet that it reads on its way; a decoder that starts after it needs
// the one that applies there.
//
// Units:    packets are numbered in the order of decoding.
// Owns:     the palettes, of each series of equal ones the first. Beyond 32 MiB none is kept.
// Threads:  none of its own; whoever shares it locks.
// Errors:   std::bad_alloc when memory runs out.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "engine/media/read/AvPointers.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace kiv {

class PaletteTrack {
 public:
  // Packets come in their order.
  void Note(int32_t number, const AVPacket& packet);
  void AddTo(int32_t number, AVPacket* packet) const;

 private:
  using Palette = std::array<uint8_t, AVPALETTE_SIZE>;

  std::vector<int32_t> from_;
  std::vector<Palette> palettes_;
};

}  // namespace kiv
