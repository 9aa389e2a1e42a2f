#include "engine/media/read/PacketTable.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// A renewal by parts may miss its first picture, which then takes another one. Where pictures are
// reordered encoders do not keep to what is renewed, and some of what was wrong lasts longer.
constexpr int kRenewals = 2;
constexpr int32_t kRenewedPackets = 300;

}  // namespace

void PacketTable::Append(const FramePacket& packet) {
  const int32_t number = PacketCount();
  packets_.push_back(packet);
  frameOf_.push_back(-1);
  if (packet.key) keys_.push_back(number);
  if (packet.dts != kNoStamp) lastDts_ = std::max(lastDts_, packet.dts);
  if (packet.pts == kNoStamp) ++withoutStamp_;
  reordered_ = reordered_ || (packet.pts != kNoStamp && packet.pts < lastPts_);
  lastPts_ = std::max(lastPts_, packet.pts);
  if (!packet.hidden && packet.pts != kNoStamp) waiting_.push_back(number);
}

void PacketTable::Settle(Extent extent) {
  std::sort(waiting_.begin(), waiting_.end(), [this](int32_t a, int32_t b) {
    return std::tuple(Packet(a).pts, a) < std::tuple(Packet(b).pts, b);
  });
  // A picture is never shown before it is decoded, so what is due by now has no later rival.
  const auto due = extent == Extent::kComplete
                       ? waiting_.end()
                       : std::find_if(waiting_.begin(), waiting_.end(), [this](int32_t packet) {
                           return Packet(packet).pts > lastDts_;
                         });
  for (auto it = waiting_.begin(); it != due; ++it) {
    const int64_t after = frames_.empty() ? INT64_MIN : SaturatingAdd(stamps_.back(), 1);
    Number(*it, std::max(Packet(*it).pts, after));
  }
  waiting_.erase(waiting_.begin(), due);
}

void PacketTable::Number(int32_t packet, int64_t stamp) {
  frameOf_[static_cast<size_t>(packet)] = FrameCount();
  frames_.push_back(packet);
  stamps_.push_back(stamp);
}

void PacketTable::SettleInDecodingOrder() {
  waiting_.clear();
  frames_.clear();
  stamps_.clear();
  for (int32_t packet = 0; packet < PacketCount(); ++packet) {
    frameOf_[static_cast<size_t>(packet)] = -1;
    if (!Packet(packet).hidden) Number(packet, FrameCount());
  }
}

void PacketTable::SettleAs(std::span<const int32_t> packets, const StampUnits& units) {
  std::vector<int32_t> shown;
  std::vector<int64_t> stamps;
  for (const int32_t packet : packets) {
    if (Packet(packet).hidden) continue;
    shown.push_back(packet);
    stamps.push_back(Packet(packet).pts);
  }
  Timeline line = Unroll(stamps, units);
  waiting_.clear();
  frames_.clear();
  stamps_.clear();
  for (size_t i = 0; i < shown.size(); ++i) Number(shown[i], line.stamps[i]);
  parts_ = std::move(line.parts);
}

void PacketTable::Reorder(std::span<const int32_t> packets) {
  int32_t frame = 0;
  for (const int32_t packet : packets) {
    if (FrameOf(packet) < 0) continue;
    frames_[static_cast<size_t>(frame)] = packet;
    frameOf_[static_cast<size_t>(packet)] = frame++;
  }
}

bool PacketTable::HasSoundStamps(int64_t longest) const {
  int64_t decoded = kNoStamp;
  int32_t shown = 0;
  for (int32_t number = 0; number < PacketCount(); ++number) {
    const FramePacket& packet = Packet(number);
    if (packet.dts != kNoStamp) {
      if (packet.dts < decoded) return false;
      decoded = packet.dts;
    }
    const int32_t frame = FrameOf(number);
    if (frame >= 0 && std::abs(frame - shown++) > kDeepestReorder) return false;
  }
  for (int32_t frame = 1; frame < FrameCount(); ++frame) {
    const int64_t before = Packet(PacketOf(frame - 1)).pts;
    const int64_t step = SaturatingSubtract(Packet(PacketOf(frame)).pts, before);
    if (step <= 0 || step > longest) return false;
  }
  return true;
}

void PacketTable::HideBefore(int32_t first) {
  const int32_t dropped = FrameOf(first);
  if (dropped <= 0) return;
  for (int32_t frame = 0; frame < dropped; ++frame) {
    packets_[static_cast<size_t>(PacketOf(frame))].hidden = true;
    frameOf_[static_cast<size_t>(PacketOf(frame))] = -1;
  }
  frames_.erase(frames_.begin(), frames_.begin() + dropped);
  stamps_.erase(stamps_.begin(), stamps_.begin() + dropped);
  for (int32_t& part : parts_) part = std::max(part - dropped, 0);
  for (int32_t frame = 0; frame < FrameCount(); ++frame) {
    frameOf_[static_cast<size_t>(PacketOf(frame))] = frame;
  }
}

std::span<const int64_t> PacketTable::Stamps(int32_t firstFrame) const {
  return std::span(stamps_).subspan(static_cast<size_t>(firstFrame));
}

// By number where both have one: it holds where stamps do not.
bool PacketTable::IsShownBefore(int32_t packet, int32_t other) const {
  if (FrameOf(packet) >= 0 && FrameOf(other) >= 0) return FrameOf(packet) <= FrameOf(other);
  const int64_t a = Packet(packet).pts, b = Packet(other).pts;
  return a == kNoStamp || b == kNoStamp || a <= b;
}

int32_t PacketTable::KeyFor(int32_t packet) const {
  auto it = std::upper_bound(keys_.begin(), keys_.end(), packet);
  while (it != keys_.begin()) {
    --it;
    if (IsShownBefore(*it, packet)) return *it;
  }
  return 0;
}

int32_t PacketTable::KeyBefore(int32_t packet) const {
  const auto it = std::lower_bound(keys_.begin(), keys_.end(), packet);
  return it == keys_.begin() ? 0 : *(it - 1);
}

int32_t PacketTable::StartFor(int32_t key) const {
  int32_t start = key;
  for (int renewals = 0; start > 0 && Packet(start).gradual; ++renewals) {
    const bool enough = !reordered_ || key - start >= kRenewedPackets;
    if (renewals >= kRenewals && enough) break;
    start = KeyBefore(start);
  }
  return start;
}

// Packets by position, brought up to date when packets were added since the last look.
std::span<const int32_t> PacketTable::Ordered() const {
  if (byPosition_.size() == packets_.size()) return byPosition_;
  for (int32_t packet = static_cast<int32_t>(byPosition_.size()); packet < PacketCount();
       ++packet) {
    byPosition_.push_back(packet);
  }
  const auto before = [this](int32_t a, int32_t b) {
    return std::tuple(Packet(a).position, a) < std::tuple(Packet(b).position, b);
  };
  if (!std::is_sorted(byPosition_.begin(), byPosition_.end(), before)) {
    std::sort(byPosition_.begin(), byPosition_.end(), before);
  }
  return byPosition_;
}

std::span<const int32_t> PacketTable::AtPosition(int64_t position) const {
  const std::span<const int32_t> ordered = Ordered();
  const auto first = std::lower_bound(
      ordered.begin(), ordered.end(), position,
      [this](int32_t packet, int64_t wanted) { return Packet(packet).position < wanted; });
  const auto last = std::upper_bound(
      first, ordered.end(), position,
      [this](int64_t wanted, int32_t packet) { return wanted < Packet(packet).position; });
  return {first, last};
}

std::optional<int32_t> PacketTable::Find(const FramePacket& packet) const {
  const std::span<const int32_t> here = AtPosition(packet.position);
  const bool alone = here.size() == 1 && packet.position >= 0;
  std::optional<int32_t> found;
  for (const int32_t number : here) {
    const FramePacket& known = Packet(number);
    if (packet.size != known.size) continue;
    if (alone) return number;
    if (packet.pts != kNoStamp && known.pts != packet.pts) continue;
    if (packet.dts != kNoStamp && known.dts != packet.dts) continue;
    if (found) return std::nullopt;
    found = number;
  }
  return found;
}

bool PacketTable::StartsInsideGroup() const {
  if (PacketCount() == 0 || FrameCount() == 0) return false;
  if (!Packet(0).key || Packet(0).gradual) return true;
  return Packet(0).pts != kNoStamp && StampOf(0) < Packet(0).pts;
}

}  // namespace kiv
