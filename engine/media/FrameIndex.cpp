#include "engine/media/FrameIndex.h"

#include <algorithm>

#include "engine/media/RecoveryPoint.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// About forty hours at sixty frames per second. A file that claims more is read up to here.
constexpr int32_t kMostPackets = 8'000'000;
constexpr int32_t kChunk = 4096;
// Streams with more than one packet in fifty without a stamp go by the order of decoding.
constexpr int32_t kUnstampedShare = 50;

KivRational Rational(AVRational value) { return {value.num, value.den}; }

TimeGrid GridOf(const AVStream& stream) {
  return TimeGrid(Rational(stream.time_base),
                  {Rational(stream.avg_frame_rate), Rational(stream.r_frame_rate)});
}

// The frame header's bit that says whether the frame is to be shown.
bool IsHiddenVp8(const AVPacket& packet) {
  constexpr uint8_t kShown = 1 << 4;
  return packet.size > 0 && !(packet.data[0] & kShown);
}

std::span<const uint8_t> HeaderOf(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  return {parameters.extradata, static_cast<size_t>(std::max(0, parameters.extradata_size))};
}

int64_t Stamp(int64_t stamp) { return stamp == AV_NOPTS_VALUE ? kNoStamp : stamp; }

}  // namespace

HRESULT FrameIndex::Open(std::unique_ptr<MediaInput> input, int stream, int64_t bytesAtOnce,
                         std::shared_ptr<FrameIndex>* index) {
  std::shared_ptr<FrameIndex> opened(new FrameIndex(std::move(input), stream));
  if (const HRESULT hr = opened->Prepare(bytesAtOnce); Failed(hr)) return hr;
  *index = std::move(opened);
  return S_OK;
}

FrameIndex::FrameIndex(std::unique_ptr<MediaInput> input, int stream)
    : input_(std::move(input)),
      stream_(stream),
      codec_(input_->Stream(stream)->codecpar->codec_id),
      unitLengthBytes_(UnitLengthBytes(HeaderOf(*input_->Stream(stream)))),
      packet_(NewPacket()),
      grid_(GridOf(*input_->Stream(stream))) {}

HRESULT FrameIndex::Prepare(int64_t bytesAtOnce) {
  std::lock_guard lock(lock_);
  // A container without stamps of its own counts frames; where the codec reorders them that count
  // says nothing about the order of display.
  const bool reordered = input_->Stream(stream_)->codecpar->video_delay > 0;
  const bool unstamped = input_->IsFormat("avi") && reordered;
  input_->SelectOnly(stream_);
  input_->Context()->flags |= AVFMT_FLAG_GENPTS;
  estimate_ = EstimatedCount();
  ReadPacketsLocked(input_->FileSize() <= bytesAtOnce ? kMostPackets : kChunk);
  if (table_.PacketCount() == 0) return E_UNSUPPORTED;
  sequential_ = unstamped || table_.PacketsWithoutStamp() > table_.PacketCount() / kUnstampedShare;
  SettleLocked();
  if (table_.FrameCount() == 0) return E_UNSUPPORTED;
  if (sequential_) {
    rate_ = grid_.Announced();
    constantRate_ = true;
    return S_OK;
  }
  const std::vector<int64_t> stamps = table_.Stamps(0);
  rate_ = grid_.Fit(stamps);
  constantRate_ = rate_.numerator > 0;
  if (!constantRate_) rate_ = grid_.Average(stamps, LastDurationLocked());
  return S_OK;
}

int64_t FrameIndex::EstimatedCount() const {
  const AVStream& stream = *input_->Stream(stream_);
  if (stream.nb_frames > 0) return stream.nb_frames;
  double seconds = 0;
  if (stream.duration != AV_NOPTS_VALUE) {
    seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
  } else if (input_->Context()->duration != AV_NOPTS_VALUE) {
    seconds = static_cast<double>(input_->Context()->duration) / AV_TIME_BASE;
  }
  return SaturateToInt64(seconds * grid_.Announced().ToDouble() + 0.5);
}

FramePacket FrameIndex::Describe(const AVPacket& packet) const {
  FramePacket entry;
  entry.pts = Stamp(packet.pts);
  entry.dts = Stamp(packet.dts);
  entry.position = packet.pos;
  entry.size = packet.size;
  entry.duration = ClampToInt32(packet.duration);
  entry.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  entry.hidden = (packet.flags & AV_PKT_FLAG_DISCARD) != 0;
  if (codec_ == AV_CODEC_ID_H264 && entry.key && packet.size > 0) {
    entry.gradual =
        RecoversGradually({packet.data, static_cast<size_t>(packet.size)}, unitLengthBytes_);
  }
  if (codec_ == AV_CODEC_ID_VP8 && IsHiddenVp8(packet)) entry.hidden = true;
  return entry;
}

// False when everything has been read.
bool FrameIndex::ReadPacketsLocked(int32_t count) {
  for (int32_t i = 0; input_ && i < count; ++i) {
    if (table_.PacketCount() >= kMostPackets || !input_->ReadPacket(stream_, packet_.get())) {
      input_.reset();
      break;
    }
    palettes_.Note(table_.PacketCount(), *packet_);
    table_.Append(Describe(*packet_));
  }
  av_packet_unref(packet_.get());
  return input_ != nullptr;
}

void FrameIndex::SettleLocked() {
  const auto extent = input_ ? PacketTable::Extent::kMoreFollow : PacketTable::Extent::kComplete;
  if (sequential_) {
    table_.SettleInDecodingOrder();
  } else {
    table_.Settle(extent);
  }
}

// A clip counts as regular until a frame off the grid turns up; from then on frames have the times
// of their own stamps.
void FrameIndex::CheckGridLocked(int32_t firstNew) {
  if (sequential_ || !constantRate_ || firstNew >= table_.FrameCount()) return;
  const std::vector<int64_t> stamps = table_.Stamps(firstNew);
  constantRate_ = grid_.Fits(stamps, firstNew, table_.StampOf(0), rate_);
}

void FrameIndex::EnsureFrameLocked(int64_t frame) {
  while (input_ && frame >= table_.FrameCount()) {
    const int32_t firstNew = table_.FrameCount();
    ReadPacketsLocked(kChunk);
    SettleLocked();
    CheckGridLocked(firstNew);
  }
}

int64_t FrameIndex::CountLocked() const {
  const int64_t known = table_.FrameCount();
  return std::min(input_ ? std::max(known, estimate_) : known, limit_);
}

int64_t FrameIndex::LastDurationLocked() const {
  return table_.Packet(table_.PacketOf(table_.FrameCount() - 1)).duration;
}

KivRational FrameIndex::Rate() const {
  std::lock_guard lock(lock_);
  return rate_;
}

bool FrameIndex::IsConstantRate() const {
  std::lock_guard lock(lock_);
  return constantRate_;
}

int64_t FrameIndex::FrameCount() const {
  std::lock_guard lock(lock_);
  return CountLocked();
}

int32_t FrameIndex::KeyCount() const {
  std::lock_guard lock(lock_);
  return table_.KeyCount();
}

int64_t FrameIndex::Clamp(int64_t frame) {
  std::lock_guard lock(lock_);
  const int64_t wanted = std::clamp<int64_t>(frame, 0, CountLocked() - 1);
  EnsureFrameLocked(wanted);
  return std::min(wanted, CountLocked() - 1);
}

// Start of a frame. Beyond an irregular clip's ends time runs on at the average rate.
int64_t FrameIndex::StartLocked(int64_t frame) const {
  if (constantRate_ || frame < 0) return FrameStart(frame, rate_);
  const int64_t last = table_.FrameCount() - 1;
  const int64_t inside = std::min(frame, last);
  const int64_t units = table_.StampOf(static_cast<int32_t>(inside)) - table_.StampOf(0);
  return grid_.Ticks(units) + FrameStart(frame - inside, rate_);
}

int64_t FrameIndex::FrameAtTime(int64_t time) {
  std::lock_guard lock(lock_);
  if (constantRate_ || time < 0) return FrameAt(time, rate_);
  EnsureFrameLocked(FrameAt(time, rate_));
  while (input_ && StartLocked(table_.FrameCount() - 1) <= time) {
    EnsureFrameLocked(table_.FrameCount());
  }
  const int64_t last = table_.FrameCount() - 1;
  const int64_t lastStart = StartLocked(last);
  if (time >= lastStart) return last + FrameAt(time - lastStart, rate_);
  int64_t low = 0;
  int64_t high = last;
  while (low < high) {
    const int64_t middle = low + (high - low + 1) / 2;
    if (StartLocked(middle) <= time + 1) {
      low = middle;
    } else {
      high = middle - 1;
    }
  }
  return low;
}

int64_t FrameIndex::FrameDurationLocked(int64_t frame) const {
  const bool last = frame == table_.FrameCount() - 1;
  if (constantRate_ || !last) return StartLocked(frame + 1) - StartLocked(frame);
  if (LastDurationLocked() > 0) return grid_.Ticks(LastDurationLocked());
  // Not told: as long as the one before.
  const int64_t first = std::max<int64_t>(frame - 1, 0);
  return StartLocked(first + 1) - StartLocked(first);
}

FrameTime FrameIndex::TimeOf(int64_t frame) {
  std::lock_guard lock(lock_);
  EnsureFrameLocked(std::min(frame, CountLocked() - 1));
  FrameTime result{StartLocked(frame), FrameDurationLocked(frame), false};
  if (frame >= 0 && frame < table_.FrameCount()) {
    result.key = table_.Packet(table_.PacketOf(static_cast<int32_t>(frame))).key;
  }
  return result;
}

int64_t FrameIndex::Duration() const {
  std::lock_guard lock(lock_);
  const int64_t last = CountLocked() - 1;
  return StartLocked(last) + FrameDurationLocked(last);
}

FrameRoute FrameIndex::RouteTo(int64_t frame) {
  std::lock_guard lock(lock_);
  EnsureFrameLocked(frame);
  const int64_t inside = std::clamp<int64_t>(frame, 0, table_.FrameCount() - 1);
  const int32_t target = table_.PacketOf(static_cast<int32_t>(inside));
  return {sequential_ ? 0 : table_.KeyFor(target), target};
}

int32_t FrameIndex::KeyBefore(int32_t packet) const {
  std::lock_guard lock(lock_);
  return sequential_ ? 0 : table_.KeyBefore(packet);
}

int32_t FrameIndex::StartFor(int32_t key) const {
  std::lock_guard lock(lock_);
  return sequential_ ? 0 : table_.StartFor(key);
}

FramePacket FrameIndex::Packet(int32_t packet) const {
  std::lock_guard lock(lock_);
  return table_.Packet(packet);
}

int32_t FrameIndex::FrameOf(int32_t packet) {
  std::lock_guard lock(lock_);
  while (input_ && (packet >= table_.PacketCount() || table_.FrameOf(packet) < 0)) {
    const int32_t before = table_.FrameCount();
    EnsureFrameLocked(before);
    if (packet < table_.PacketCount() && table_.Packet(packet).hidden) break;
  }
  return packet >= 0 && packet < table_.PacketCount() ? table_.FrameOf(packet) : -1;
}

std::optional<int32_t> FrameIndex::Find(const AVPacket& packet) const {
  std::lock_guard lock(lock_);
  return table_.Find(Describe(packet));
}

void FrameIndex::Equip(int32_t number, AVPacket* packet) const {
  std::lock_guard lock(lock_);
  palettes_.AddTo(number, packet);
}

bool FrameIndex::StartsInsideGroup() const {
  std::lock_guard lock(lock_);
  return !sequential_ && table_.StartsInsideGroup();
}

void FrameIndex::HideBefore(int32_t packet) {
  std::lock_guard lock(lock_);
  table_.HideBefore(packet);
}

void FrameIndex::LimitFrames(int64_t count) {
  std::lock_guard lock(lock_);
  limit_ = std::max<int64_t>(1, std::min(limit_, count));
}

}  // namespace kiv
