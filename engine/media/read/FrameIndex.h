// Every frame of a video stream: its time, its duration, its key mark and where decoding starts.
//
// All packets are read once, when the file is opened. Only of a large file whose container lists
// every frame, at a steady rate, the rest is read as far as anybody asked.
//
// Frames are numbered by their stamps. Where those repeat or go back, as in streams that were put one
// behind the other, or were given to packets in the order of decoding, the order is that in which the
// decoder gives the pictures out.
//
// Units:    time int64 in 100 ns from the first shown frame; frames are numbered in the order of
//           display, packets in the order of decoding.
// Owns:     the input it reads packets from, until it has read the last one.
// Threads:  any. It is shared by the decoders of a stream.
// Locks:    one, innermost.
// Errors:   E_UNSUPPORTED for a stream without frames, E_ABORT when reading was given up;
//           std::bad_alloc when memory runs out.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "engine/media/read/MediaInput.h"
#include "engine/media/read/PacketTable.h"
#include "engine/media/read/PaletteTrack.h"
#include "engine/media/read/TimeGrid.h"
#include "kiv/base/Mutex.h"

namespace kiv {

struct FrameTime {
  int64_t time = 0;
  int64_t duration = 0;
  bool key = false;
};

// How to get a frame: decode from packet `key` on until the one of packet `target` comes out.
struct FrameRoute {
  int32_t key = 0;
  int32_t target = 0;
};

struct IndexReading {
  // Up to this size a file is read whole even if its container lists the frames: in about a second.
  int64_t bytesAtOnce = int64_t{256} << 20;
  // Told now and then how many bytes of how many are read; false gives up. May be empty.
  std::function<bool(int64_t, int64_t)> progress = {};
};

class KIV_ENGINE_API FrameIndex {
 public:
  static HRESULT Open(std::unique_ptr<MediaInput> input, int stream, const IndexReading& reading,
                      std::shared_ptr<FrameIndex>* index);

  // True when the stamps are of no use: frames then have numbers in the order they come out of the
  // decoder, and every way back leads over the beginning.
  bool IsSequential() const { return sequential_; }
  KivRational Rate() const;
  bool IsConstantRate() const;
  int64_t FrameCount() const;
  // The time at which the last frame ends.
  int64_t Duration() const;
  int32_t KeyCount() const;
  // The same index moved into the clip.
  int64_t Clamp(int64_t frame);
  // Unbounded: a time outside the clip gives an index outside it.
  int64_t FrameAtTime(int64_t time);
  FrameTime TimeOf(int64_t frame);
  // `frame` lies in the clip.
  FrameRoute RouteTo(int64_t frame);
  int32_t KeyBefore(int32_t packet) const;
  // The packet to start from so that everything from key packet `key` on is right.
  int32_t StartFor(int32_t key) const;
  FramePacket Packet(int32_t packet) const;
  // -1 for packets that show nothing.
  int32_t FrameOf(int32_t packet);
  std::optional<int32_t> Find(const AVPacket& packet) const;
  // Adds what the container told before `number`, the packet's, and a decoder that starts there needs.
  void Equip(int32_t number, AVPacket* packet) const;

  bool StartsInsideGroup() const;
  // The first picture that could be decoded was the one of `packet`.
  void HideBefore(int32_t packet);
  // A sequential stream gave out no more than this many frames.
  void LimitFrames(int64_t count);

 private:
  FrameIndex(std::unique_ptr<MediaInput> input, int stream);

  HRESULT Prepare(const IndexReading& reading);
  HRESULT ReadAllLocked(const IndexReading& reading) KIV_REQUIRES(lock_);
  bool ReadPacketsLocked(int32_t count) KIV_REQUIRES(lock_);
  bool HasSoundOrderLocked(const PacketTable& table) const KIV_REQUIRES(lock_);
  bool SettleListedLocked(const IndexReading& reading) KIV_REQUIRES(lock_);
  HRESULT SettleAllLocked() KIV_REQUIRES(lock_);
  void SettleByOutputLocked(const std::string& path) KIV_REQUIRES(lock_);
  void FindRateLocked() KIV_REQUIRES(lock_);
  StampUnits UnitsLocked() const KIV_REQUIRES(lock_);
  void CheckGridLocked(int32_t firstNew) KIV_REQUIRES(lock_);
  void EnsureFrameLocked(int64_t frame) KIV_REQUIRES(lock_);
  int64_t CountLocked() const KIV_REQUIRES(lock_);
  int64_t StartLocked(int64_t frame) const KIV_REQUIRES(lock_);
  int64_t LastDurationLocked() const KIV_REQUIRES(lock_);
  int64_t FrameDurationLocked(int64_t frame) const KIV_REQUIRES(lock_);
  FramePacket Describe(const AVPacket& packet) const;

  mutable Mutex lock_;
  // Null once everything is read.
  std::unique_ptr<MediaInput> input_ KIV_GUARDED_BY(lock_);
  const int stream_;
  const AVCodecID codec_;
  const int unitLengthBytes_;  // of H.264
  bool sequential_ = false;    // settled before anybody else has the index
  bool reordered_ = false;     // the same; pictures may come out in another order than they go in
  AvPtr<AVPacket> packet_ KIV_GUARDED_BY(lock_);
  PacketTable table_ KIV_GUARDED_BY(lock_);
  PaletteTrack palettes_ KIV_GUARDED_BY(lock_);
  TimeGrid grid_ KIV_GUARDED_BY(lock_);
  KivRational rate_ KIV_GUARDED_BY(lock_){25, 1};
  bool constantRate_ KIV_GUARDED_BY(lock_) = false;
  bool unstamped_ KIV_GUARDED_BY(lock_) = false;
  // Frames by the container's table, while there is an input.
  int64_t listed_ KIV_GUARDED_BY(lock_) = 0;
  // In units; a larger one is a jump.
  int64_t longestStep_ KIV_GUARDED_BY(lock_) = 0;
  int64_t limit_ KIV_GUARDED_BY(lock_) = INT64_MAX;
};

}  // namespace kiv
