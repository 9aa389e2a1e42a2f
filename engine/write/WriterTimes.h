// When the pictures of an encoded output are shown.
//
// Units:    pictures are numbered from 0; their own times are 100 ns.
// Threads:  any; never changes.
#pragma once

#include "engine/media/read/AvPointers.h"
#include "engine/write/Writer.h"

namespace kiv {

class WriterTimes {
 public:
  explicit WriterTimes(const PictureSeries& series) : series_(series) {}

  AVRational TimeBase() const;
  // A packet as the encoder leaves it, its times being picture numbers, gets times in `units`.
  void Stamp(AVPacket* packet, AVRational units) const;

 private:
  // Also of numbers before the first picture and after the last.
  int64_t TicksAt(int64_t number) const;

  const PictureSeries& series_;
};

}  // namespace kiv
