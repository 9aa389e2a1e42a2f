// Returns a video stream's packets in decoding order from any packet on.
//
// The index tells where a seek really ended. Packets before the wanted one are dropped unread; a seek
// that ended after it is repeated further back.
//
// Units:    packets are numbered in the order of decoding.
// Owns:     its input; shares the index.
// Threads:  one caller at a time.
// Errors:   false when the packet cannot be reached; std::bad_alloc when memory runs out.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/media/read/FrameIndex.h"
#include "engine/media/read/MediaInput.h"

namespace kiv {

class PacketFeed {
 public:
  // The input's file is opened again when nothing else leads back to its beginning.
  PacketFeed(std::unique_ptr<MediaInput> input, int stream, std::shared_ptr<FrameIndex> index);

  // The number of the packet that Next returns.
  int32_t Position() const { return position_; }
  bool MoveTo(int32_t packet);
  // Null at the end. Valid until the next call.
  AVPacket* Next();
  int64_t SeekCount() const { return seeks_; }

 private:
  enum class Landing { kReached, kBehind, kFailed };

  bool ReadOn(int32_t packet);
  Landing SeekFor(int32_t packet, int attempt);
  Landing Locate(int32_t packet);
  bool StartOver(int32_t packet);
  bool SeekByPosition(const FramePacket& target);
  bool SeekByTime(const FramePacket& target, int attempt);

  std::unique_ptr<MediaInput> input_;
  const int stream_;
  const std::shared_ptr<FrameIndex> index_;
  const bool byPosition_;
  const bool byDisplayTime_;
  AvPtr<AVPacket> packet_;
  bool held_ = false;  // packet_ is the one at position_, read ahead while locating
  bool lost_ = false;  // where the input stands is not known
  int32_t position_ = 0;
  int64_t seeks_ = 0;
};

}  // namespace kiv
