// What is known of a video stream's packets: their order of decoding and of display.
//
// Units:    stamps in the stream's time base; positions in bytes; packets are numbered in the order
//           of decoding, frames in the order of display.
// Threads:  none of its own; whoever shares it locks.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "engine/media/read/Timeline.h"
#include "kiv/values/Export.h"

namespace kiv {

constexpr int64_t kNoStamp = INT64_MIN;
// No codec shows a picture later than so many pictures after it was decoded.
constexpr int32_t kDeepestReorder = 16;

struct FramePacket {
  int64_t pts = kNoStamp;
  int64_t dts = kNoStamp;
  int64_t position = -1;  // -1 when the container does not say
  int32_t size = 0;
  int32_t duration = 0;
  bool key = false;
  bool hidden = false;   // decoded for others, never shown
  bool gradual = false;  // a key packet from which on pictures get whole part by part
};

class KIV_ENGINE_API PacketTable {
 public:
  enum class Extent { kMoreFollow, kComplete };

  void Append(const FramePacket& packet);
  // Gives numbers to the frames that no later packet can come before; with kComplete to all.
  void Settle(Extent extent);
  // From now on frames are numbered as packets are: for streams without usable stamps.
  void SettleInDecodingOrder();
  // The shown ones of `packets` get numbers as listed; their times follow where stamps do not.
  void SettleAs(std::span<const int32_t> packets, const StampUnits& units);
  // Gives the times that frames have to the shown ones of `packets`, which lists all, as listed.
  void Reorder(std::span<const int32_t> packets);
  // Packets are not shown in the order of decoding, by their stamps.
  bool IsReordered() const { return reordered_; }
  // Once all have numbers: whether the stamps may be what gave them. Stamps that repeat say nothing
  // of the order; such as go back, in decoding or by more than pictures are ever put off, or leap by
  // more than `longest`, do so between streams that were joined.
  bool HasSoundStamps(int64_t longest) const;
  // Frames whose stamps do not follow from those before; the first frame always.
  std::span<const int32_t> Parts() const { return parts_; }
  // Hides what would be shown before packet `first`.
  void HideBefore(int32_t first);

  int32_t PacketCount() const { return static_cast<int32_t>(packets_.size()); }
  int32_t FrameCount() const { return static_cast<int32_t>(frames_.size()); }
  int32_t KeyCount() const { return static_cast<int32_t>(keys_.size()); }
  const FramePacket& Packet(int32_t packet) const { return packets_[static_cast<size_t>(packet)]; }
  int32_t PacketOf(int32_t frame) const { return frames_[static_cast<size_t>(frame)]; }
  // -1 for a hidden packet and for one without a number yet.
  int32_t FrameOf(int32_t packet) const { return frameOf_[static_cast<size_t>(packet)]; }
  // Higher than the frame's before, also where the packet's is not.
  int64_t StampOf(int32_t frame) const { return stamps_[static_cast<size_t>(frame)]; }
  std::span<const int64_t> Stamps(int32_t firstFrame) const;
  int32_t PacketsWithoutStamp() const { return withoutStamp_; }

  // The key packet to start from to decode `packet`: the last one that is neither decoded nor shown
  // after it. Pictures that lead an open group so find the key of the group before. Packet 0 when
  // there is none.
  int32_t KeyFor(int32_t packet) const;
  // The last key packet before `packet`; packet 0 when there is none.
  int32_t KeyBefore(int32_t packet) const;
  // Where to start so that everything from key packet `key` on is right: the packet itself, or some
  // way before a gradual one, but no further back than the last that is not.
  int32_t StartFor(int32_t key) const;
  // The packet with the position and size of `packet` and its stamps, of which missing ones match
  // any. Nothing when it is unknown, as the rest of a packet that was cut is, or could be several.
  std::optional<int32_t> Find(const FramePacket& packet) const;
  // True when the first shown frames may not be decodable, as in a stream cut out of a longer one.
  bool StartsInsideGroup() const;

 private:
  void Number(int32_t packet, int64_t stamp);
  bool IsShownBefore(int32_t packet, int32_t other) const;
  std::span<const int32_t> AtPosition(int64_t position) const;
  std::span<const int32_t> Ordered() const;

  std::vector<FramePacket> packets_;
  std::vector<int32_t> frames_;  // packet of each frame
  std::vector<int64_t> stamps_;  // time of each frame
  std::vector<int32_t> parts_{0};
  std::vector<int32_t> frameOf_;  // frame of each packet
  std::vector<int32_t> waiting_;  // packets without a number yet
  std::vector<int32_t> keys_;
  mutable std::vector<int32_t> byPosition_;
  int64_t lastDts_ = kNoStamp;
  int64_t lastPts_ = kNoStamp;
  bool reordered_ = false;
  int32_t withoutStamp_ = 0;
};

}  // namespace kiv
