// A file's sound streams, copied packet by packet into a container beside written pictures.
//
// A stream that the container cannot hold is left out. Time 0 of the output is the start of the
// file's first video stream. What a file says of its times is not trusted: packets that go
// back in time or lie years away are dropped.
//
// Owns:     the file, opened a second time.
// Threads:  one caller at a time.
// Errors:   a file whose sound cannot be read any further ends its sound, without an error;
//           std::bad_alloc when memory runs out.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/media/read/AvPointers.h"
#include "engine/media/read/MediaInput.h"
#include "engine/write/Writer.h"

namespace kiv {

class SoundCopy {
 public:
  // Null when the file cannot be opened or has no stream that fits.
  static std::unique_ptr<SoundCopy> Open(const std::string& path, const AVOutputFormat& format);

  int32_t StreamCount() const { return static_cast<int32_t>(routes_.size()); }
  // Gives `container`, whose header is not yet written, a stream for each of ours.
  WriteError AddStreams(AVFormatContext* container);

  // Handles one packet, which is ready for av_interleaved_write_frame.
  using Sink = std::function<WriteError(AVPacket&)>;
  // Hands out the packets, in the file's order, until one starts later than `seconds`.
  WriteError CopyUntil(double seconds, const Sink& sink);

 private:
  struct Route {
    int from = 0;
    AVStream* to = nullptr;
    int64_t lastDts = AV_NOPTS_VALUE;  // in the output's time base
  };

  SoundCopy(std::unique_ptr<MediaInput> input, std::vector<Route> routes);

  Route* RouteOf(const AVPacket& packet);
  bool ReadNext();
  double StartOf(const AVPacket& packet) const;
  bool Retime(Route* route, AVPacket* packet) const;

  std::unique_ptr<MediaInput> input_;
  std::vector<Route> routes_;
  double zero_ = 0;            // where the pictures begin, in the file's seconds
  bool earlyAllowed_ = false;  // times below 0 can be written
  AvPtr<AVPacket> waiting_;    // read, and not yet due
  bool isWaiting_ = false;
};

}  // namespace kiv
