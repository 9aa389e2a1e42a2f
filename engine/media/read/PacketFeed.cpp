#include "engine/media/read/PacketFeed.h"

#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// Packets that are dropped in reading on rather than seeking: a seek costs about as much.
constexpr int32_t kReadOnLimit = 48;
constexpr int kSeekAttempts = 4;
// Packets read after a seek without meeting one that the index knows, before it counts as failed.
constexpr int kUnknownLimit = 512;

// These have no index of their own; the position of a packet leads to it more surely than its time.
bool HasFreePositions(const MediaInput& input) {
  return input.IsFormat("mpegts") || input.IsFormat("mpeg") || input.IsFormat("h264") ||
         input.IsFormat("hevc") || input.IsFormat("mpegvideo") || input.IsFormat("m4v");
}

// Seeks in these containers use the display time, in all others the decoding time.
bool SeeksByDisplayTime(const MediaInput& input) {
  return input.IsFormat("mov") || input.IsFormat("matroska");
}

}  // namespace

PacketFeed::PacketFeed(std::unique_ptr<MediaInput> input, int stream,
                       std::shared_ptr<FrameIndex> index)
    : input_(std::move(input)),
      stream_(stream),
      index_(std::move(index)),
      byPosition_(HasFreePositions(*input_)),
      byDisplayTime_(SeeksByDisplayTime(*input_)),
      packet_(NewPacket()) {
  input_->SelectOnly(stream_);
}

AVPacket* PacketFeed::Next() {
  if (lost_) return nullptr;
  if (!held_ && !input_->ReadPacket(stream_, packet_.get())) return nullptr;
  held_ = false;
  ++position_;
  return packet_.get();
}

bool PacketFeed::MoveTo(int32_t packet) {
  if (!lost_ && packet >= position_ && packet - position_ <= kReadOnLimit && ReadOn(packet)) {
    return true;
  }
  ++seeks_;
  for (int attempt = 0; attempt < kSeekAttempts; ++attempt) {
    const Landing landing = SeekFor(packet, attempt);
    if (landing == Landing::kReached) return true;
    if (landing == Landing::kFailed && attempt > 0) break;
  }
  return StartOver(packet);
}

bool PacketFeed::ReadOn(int32_t packet) {
  while (position_ < packet) {
    if (!Next()) return false;
  }
  return true;
}

PacketFeed::Landing PacketFeed::SeekFor(int32_t packet, int attempt) {
  held_ = false;
  lost_ = true;
  const FramePacket target = index_->Packet(packet);
  const bool moved =
      byPosition_ && attempt == 0 ? SeekByPosition(target) : SeekByTime(target, attempt);
  return moved ? Locate(packet) : Landing::kFailed;
}

bool PacketFeed::SeekByPosition(const FramePacket& target) {
  if (target.position < 0) return false;
  return av_seek_frame(input_->Context(), stream_, target.position, AVSEEK_FLAG_BYTE) >= 0;
}

// Every further attempt aims twice as far before the target.
bool PacketFeed::SeekByTime(const FramePacket& target, int attempt) {
  const bool display = byDisplayTime_ ? target.pts != kNoStamp : target.dts == kNoStamp;
  int64_t stamp = display ? target.pts : target.dts;
  if (stamp == kNoStamp) return false;
  const AVRational timeBase = input_->Stream(stream_)->time_base;
  if (attempt > 0) {
    stamp = SaturatingSubtract(stamp, av_rescale_q(int64_t{1} << attempt, {1, 1}, timeBase));
  }
  return av_seek_frame(input_->Context(), stream_, stamp, AVSEEK_FLAG_BACKWARD) >= 0;
}

PacketFeed::Landing PacketFeed::Locate(int32_t packet) {
  for (int unknown = 0; unknown < kUnknownLimit; ++unknown) {
    if (!input_->ReadPacket(stream_, packet_.get())) return Landing::kFailed;
    const std::optional<int32_t> found = index_->Find(*packet_);
    if (!found) continue;
    if (*found > packet) return Landing::kBehind;
    position_ = *found;
    held_ = true;
    lost_ = false;
    return ReadOn(packet) ? Landing::kReached : Landing::kFailed;
  }
  return Landing::kBehind;
}

bool PacketFeed::StartOver(int32_t packet) {
  const std::string path = input_->Path();
  input_.reset();
  lost_ = true;
  std::unique_ptr<MediaInput> again;
  if (Failed(MediaInput::Open(path, &again))) return false;
  input_ = std::move(again);
  input_->SelectOnly(stream_);
  held_ = false;
  lost_ = false;
  position_ = 0;
  return ReadOn(packet);
}

}  // namespace kiv
