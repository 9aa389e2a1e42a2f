#include "engine/media/read/FrameIndex.h"

#include <algorithm>
#include <numeric>

#include "engine/media/read/OutputOrder.h"
#include "engine/media/read/RecoveryPoint.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// About forty hours at sixty frames per second. A file that claims more is read up to here.
constexpr int32_t kMostPackets = 8'000'000;
constexpr int32_t kChunk = 4096;
constexpr int64_t kBytesBetweenReports = int64_t{16} << 20;
constexpr double kShortestFrameSeconds = 1e-5;
// No clip shows one picture for so long.
constexpr int64_t kLongestStepSeconds = int64_t{366} * 86400;
// Streams with more than one packet in fifty without a stamp use the order of decoding.
constexpr int32_t kUnstampedShare = 50;

KivRational Rational(AVRational value) { return {value.num, value.den}; }

TimeGrid GridOf(const AVStream& stream) {
  return TimeGrid(Rational(stream.time_base),
                  {Rational(stream.avg_frame_rate), Rational(stream.r_frame_rate)});
}

// Stamps of few bits begin anew once in a while; a step by half their range is one backwards.
int64_t LongestStep(const AVStream& stream) {
  const int bits = stream.pts_wrap_bits;
  const int64_t half = bits > 1 && bits < 63 ? int64_t{1} << (bits - 1) : INT64_MAX;
  const int64_t longest = av_rescale_q(kLongestStepSeconds, {1, 1}, stream.time_base);
  return longest > 0 ? std::min(half, longest) : half;
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

HRESULT FrameIndex::Open(std::unique_ptr<MediaInput> input, int stream, const IndexReading& reading,
                         std::shared_ptr<FrameIndex>* index) {
  std::shared_ptr<FrameIndex> opened(new FrameIndex(std::move(input), stream));
  if (const HRESULT hr = opened->Prepare(reading); Failed(hr)) return hr;
  *index = std::move(opened);
  return S_OK;
}

FrameIndex::FrameIndex(std::unique_ptr<MediaInput> input, int stream)
    : input_(std::move(input)),
      stream_(stream),
      codec_(input_->Stream(stream)->codecpar->codec_id),
      unitLengthBytes_(UnitLengthBytes(HeaderOf(*input_->Stream(stream)))),
      packet_(NewPacket()),
      grid_(GridOf(*input_->Stream(stream))),
      longestStep_(LongestStep(*input_->Stream(stream))) {}

HRESULT FrameIndex::Prepare(const IndexReading& reading) {
  const MutexLock lock(lock_);
  // A container without stamps of its own counts frames; where the codec reorders them that count
  // says nothing about the order of display.
  reordered_ = input_->Stream(stream_)->codecpar->video_delay > 0;
  unstamped_ = input_->IsFormat("avi") && reordered_;
  input_->SelectOnly(stream_);
  input_->Context()->flags |= AVFMT_FLAG_GENPTS;
  const std::string path = input_->Path();
  if (SettleListedLocked(reading)) return S_OK;
  if (const HRESULT hr = ReadAllLocked(reading); Failed(hr)) return hr;
  sequential_ = unstamped_ || table_.PacketsWithoutStamp() > table_.PacketCount() / kUnstampedShare;
  if (sequential_) {
    table_.SettleInDecodingOrder();
  } else {
    table_.Settle(PacketTable::Extent::kComplete);
    if (!HasSoundOrderLocked(table_)) SettleByOutputLocked(path);
  }
  if (table_.FrameCount() == 0) return E_UNSUPPORTED;
  FindRateLocked();
  return S_OK;
}

// A program that knows nothing of a stream's order gives its packets stamps as they come. Where the
// decoder makes another order, stamps that only rise say nothing of it.
bool FrameIndex::HasSoundOrderLocked(const PacketTable& table) const {
  return table.HasSoundStamps(longestStep_) && table.IsReordered() >= reordered_;
}

// True when the container's table told the number of frames and their rate, so that the beginning
// is enough for now.
bool FrameIndex::SettleListedLocked(const IndexReading& reading) {
  if (input_->FileSize() <= reading.bytesAtOnce) return false;
  const std::optional<std::vector<int64_t>> listed = input_->ListedTimes(stream_);
  if (!listed) return false;
  rate_ = grid_.Fit(*listed);
  ReadPacketsLocked(kChunk);
  if (!input_ || rate_.numerator <= 0 || table_.PacketsWithoutStamp() > 0) return false;
  PacketTable trial = table_;
  trial.Settle(PacketTable::Extent::kMoreFollow);
  if (trial.FrameCount() == 0 || !HasSoundOrderLocked(trial)) return false;
  constantRate_ = grid_.Fits(trial.Stamps(0), 0, trial.StampOf(0), rate_);
  if (!constantRate_) return false;
  table_ = std::move(trial);
  listed_ = static_cast<int64_t>(listed->size());
  return true;
}

HRESULT FrameIndex::ReadAllLocked(const IndexReading& reading) {
  for (int64_t told = 0; ReadPacketsLocked(1);) {
    const int64_t offset = input_->Offset();
    if (!reading.progress || offset < told + kBytesBetweenReports) continue;
    told = offset;
    if (!reading.progress(offset, input_->FileSize())) return E_ABORT;
  }
  return table_.PacketCount() > 0 ? S_OK : E_UNSUPPORTED;
}

// The order that the decoder makes. Without a way to tell it, sound stamps stay and others give way
// to the order of decoding from the beginning on.
void FrameIndex::SettleByOutputLocked(const std::string& path) {
  std::optional<std::vector<int32_t>> order;
  if (!MayReorder(codec_)) {
    order.emplace(static_cast<size_t>(table_.PacketCount()));
    std::iota(order->begin(), order->end(), 0);
  } else if (std::unique_ptr<MediaInput> again; Succeeded(MediaInput::Open(path, &again))) {
    again->SelectOnly(stream_);
    OutputOrder output(*again->Stream(stream_)->codecpar);
    int32_t number = 0;
    while (number < table_.PacketCount() && again->ReadPacket(stream_, packet_.get())) {
      output.Add(*packet_, number++);
    }
    av_packet_unref(packet_.get());
    if (number == table_.PacketCount()) order = output.Finish();
  }
  const bool sound = table_.HasSoundStamps(longestStep_);
  sequential_ = !order && !sound;
  if (sound) {
    if (order) table_.Reorder(*order);
  } else if (order) {
    table_.SettleAs(*order, UnitsLocked());
  } else {
    table_.SettleInDecodingOrder();
  }
}

// Half of the steps between frames are no longer than one frame.
StampUnits FrameIndex::UnitsLocked() const {
  std::vector<int64_t> steps;
  const std::span<const int64_t> stamps = table_.Stamps(0);
  for (size_t i = 1; i < stamps.size(); ++i) {
    const int64_t step =
        SaturatingSubtract(table_.Packet(table_.PacketOf(static_cast<int32_t>(i))).pts,
                           table_.Packet(table_.PacketOf(static_cast<int32_t>(i) - 1)).pts);
    if (step > 0) steps.push_back(step);
  }
  StampUnits units{grid_.UnitsIn(1.0 / grid_.Announced().ToDouble()),
                   grid_.UnitsIn(kShortestFrameSeconds), longestStep_};
  if (steps.empty()) return units;
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  units.frame = *middle;
  return units;
}

void FrameIndex::FindRateLocked() {
  rate_ = sequential_ ? grid_.Announced() : grid_.FitParts(table_.Stamps(0), table_.Parts());
  constantRate_ = rate_.numerator > 0;
  if (!constantRate_) rate_ = grid_.Average(table_.Stamps(0), LastDurationLocked());
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

// A clip counts as regular until a frame off the grid turns up; from then on frames have the times
// of their own stamps.
void FrameIndex::CheckGridLocked(int32_t firstNew) {
  if (sequential_ || !constantRate_ || firstNew >= table_.FrameCount()) return;
  constantRate_ = grid_.Fits(table_.Stamps(firstNew), firstNew, table_.StampOf(0), rate_);
}

void FrameIndex::EnsureFrameLocked(int64_t frame) {
  while (input_ && frame >= table_.FrameCount()) {
    const int32_t firstNew = table_.FrameCount();
    ReadPacketsLocked(kChunk);
    table_.Settle(input_ ? PacketTable::Extent::kMoreFollow : PacketTable::Extent::kComplete);
    CheckGridLocked(firstNew);
  }
}

int64_t FrameIndex::CountLocked() const {
  const int64_t known = table_.FrameCount();
  return std::min(input_ ? std::max(known, listed_) : known, limit_);
}

int64_t FrameIndex::LastDurationLocked() const {
  return table_.Packet(table_.PacketOf(table_.FrameCount() - 1)).duration;
}

KivRational FrameIndex::Rate() const {
  const MutexLock lock(lock_);
  return rate_;
}

bool FrameIndex::IsConstantRate() const {
  const MutexLock lock(lock_);
  return constantRate_;
}

int64_t FrameIndex::FrameCount() const {
  const MutexLock lock(lock_);
  return CountLocked();
}

int32_t FrameIndex::KeyCount() const {
  const MutexLock lock(lock_);
  return table_.KeyCount();
}

int64_t FrameIndex::Clamp(int64_t frame) {
  const MutexLock lock(lock_);
  const int64_t wanted = std::clamp<int64_t>(frame, 0, CountLocked() - 1);
  EnsureFrameLocked(wanted);
  return std::min(wanted, CountLocked() - 1);
}

// Start of a frame. Beyond an irregular clip's ends time runs on at the average rate.
int64_t FrameIndex::StartLocked(int64_t frame) const {
  if (constantRate_ || frame < 0) return FrameStart(frame, rate_);
  const int64_t last = table_.FrameCount() - 1;
  const int64_t inside = std::min(frame, last);
  const int64_t units =
      SaturatingSubtract(table_.StampOf(static_cast<int32_t>(inside)), table_.StampOf(0));
  return SaturatingAdd(grid_.Ticks(units), FrameStart(frame - inside, rate_));
}

int64_t FrameIndex::FrameAtTime(int64_t time) {
  const MutexLock lock(lock_);
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
    if (StartLocked(middle) <= SaturatingAdd(time, 1)) {
      low = middle;
    } else {
      high = middle - 1;
    }
  }
  return low;
}

int64_t FrameIndex::FrameDurationLocked(int64_t frame) const {
  const bool last = frame == table_.FrameCount() - 1;
  if (constantRate_ || !last) return SaturatingSubtract(StartLocked(frame + 1), StartLocked(frame));
  if (LastDurationLocked() > 0) return grid_.Ticks(LastDurationLocked());
  // Not told: as long as the one before.
  const int64_t first = std::max<int64_t>(frame - 1, 0);
  return SaturatingSubtract(StartLocked(first + 1), StartLocked(first));
}

FrameTime FrameIndex::TimeOf(int64_t frame) {
  const MutexLock lock(lock_);
  EnsureFrameLocked(std::min(frame, CountLocked() - 1));
  FrameTime result{StartLocked(frame), FrameDurationLocked(frame), false};
  if (frame >= 0 && frame < table_.FrameCount()) {
    result.key = table_.Packet(table_.PacketOf(static_cast<int32_t>(frame))).key;
  }
  return result;
}

int64_t FrameIndex::Duration() const {
  const MutexLock lock(lock_);
  const int64_t last = CountLocked() - 1;
  return SaturatingAdd(StartLocked(last), FrameDurationLocked(last));
}

FrameRoute FrameIndex::RouteTo(int64_t frame) {
  const MutexLock lock(lock_);
  EnsureFrameLocked(frame);
  const int64_t inside = std::clamp<int64_t>(frame, 0, table_.FrameCount() - 1);
  const int32_t target = table_.PacketOf(static_cast<int32_t>(inside));
  return {sequential_ ? 0 : table_.KeyFor(target), target};
}

int32_t FrameIndex::KeyBefore(int32_t packet) const {
  const MutexLock lock(lock_);
  return sequential_ ? 0 : table_.KeyBefore(packet);
}

int32_t FrameIndex::StartFor(int32_t key) const {
  const MutexLock lock(lock_);
  return sequential_ ? 0 : table_.StartFor(key);
}

FramePacket FrameIndex::Packet(int32_t packet) const {
  const MutexLock lock(lock_);
  return table_.Packet(packet);
}

int32_t FrameIndex::FrameOf(int32_t packet) {
  const MutexLock lock(lock_);
  while (input_ && (packet >= table_.PacketCount() || table_.FrameOf(packet) < 0)) {
    const int32_t before = table_.FrameCount();
    EnsureFrameLocked(before);
    if (packet < table_.PacketCount() && table_.Packet(packet).hidden) break;
  }
  return packet >= 0 && packet < table_.PacketCount() ? table_.FrameOf(packet) : -1;
}

std::optional<int32_t> FrameIndex::Find(const AVPacket& packet) const {
  const MutexLock lock(lock_);
  return table_.Find(Describe(packet));
}

void FrameIndex::Equip(int32_t number, AVPacket* packet) const {
  const MutexLock lock(lock_);
  palettes_.AddTo(number, packet);
}

bool FrameIndex::StartsInsideGroup() const {
  const MutexLock lock(lock_);
  return !sequential_ && table_.StartsInsideGroup();
}

void FrameIndex::HideBefore(int32_t packet) {
  const MutexLock lock(lock_);
  const int32_t before = table_.FrameCount();
  table_.HideBefore(packet);
  listed_ -= before - table_.FrameCount();
}

void FrameIndex::LimitFrames(int64_t count) {
  const MutexLock lock(lock_);
  limit_ = std::max<int64_t>(1, std::min(limit_, count));
}

}  // namespace kiv
