// A decoded picture packed without loss: what is kept of a group of pictures that is too large to be
// kept as it is. Camera footage packs to about half, drawn pictures to far less.
//
// Units:    bytes.
// Owns:     its memory, chunks of one size from the slab pool, so that any picture's serve any other's.
// Threads:  immutable once made: any.
// Errors:   null for a picture whose form cannot be packed; std::bad_alloc when memory runs out.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/media/read/AvPointers.h"
#include "engine/memory/SlabPool.h"
#include "kiv/values/Export.h"

namespace kiv {

// The memory that packing works in, kept from picture to picture.
struct PackScratch {
  std::vector<uint8_t> piece;
};

class KIV_ENGINE_API PackedPicture {
 public:
  static std::shared_ptr<const PackedPicture> Pack(const AVFrame& picture, PackScratch* scratch);

  // `picture` gets everything the packed one had; planes it owns alone are written again. Negative
  // is FFmpeg's error.
  int Unpack(AVFrame* picture) const;
  int64_t Bytes() const;

 private:
  PackedPicture() = default;

  AvPtr<AVFrame> properties_;  // without planes
  std::vector<SlabBuffer> chunks_;
};

}  // namespace kiv
