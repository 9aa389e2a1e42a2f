#include "engine/media/read/RecoveryPoint.h"

#include <algorithm>
#include <vector>

namespace kiv {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kAvcHeaderBytes = 7;
constexpr int kFirstSliceUnit = 1;
constexpr int kLastSliceUnit = 5;
constexpr int kMessageUnit = 6;
constexpr size_t kRecoveryPoint = 6;   // the kind of message
constexpr size_t kLongestUnit = 4096;  // of which messages are looked at

// Takes the units off a packet one by one.
class Units {
 public:
  Units(Bytes packet, int lengthBytes)
      : rest_(packet), lengthBytes_(static_cast<size_t>(lengthBytes)) {}

  // Empty at the end.
  Bytes Next() { return lengthBytes_ > 0 ? NextByLength() : NextByStartCode(); }

 private:
  Bytes NextByLength() {
    if (rest_.size() <= lengthBytes_) return {};
    size_t length = 0;
    for (const uint8_t byte : rest_.first(lengthBytes_)) length = length * 256 + byte;
    rest_ = rest_.subspan(lengthBytes_);
    const Bytes unit = rest_.first(std::min(length, rest_.size()));
    rest_ = rest_.subspan(unit.size());
    return unit;
  }

  Bytes NextByStartCode() {
    constexpr uint8_t kStartCode[] = {0, 0, 1};
    const auto code =
        std::search(rest_.begin(), rest_.end(), std::begin(kStartCode), std::end(kStartCode));
    if (rest_.end() - code <= 3) return {};
    rest_ = rest_.subspan(static_cast<size_t>(code - rest_.begin()) + 3);
    // Whatever follows belongs to it for its reader, which uses the lengths of the messages.
    return rest_;
  }

  Bytes rest_;
  const size_t lengthBytes_;
};

// Without the bytes that keep start codes out of a unit.
std::vector<uint8_t> Plain(Bytes unit) {
  std::vector<uint8_t> plain;
  int zeros = 0;
  for (const uint8_t byte : unit.first(std::min(unit.size(), kLongestUnit))) {
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    if (zeros >= 2 && byte == 1) break;  // the next unit
    zeros = byte == 0 ? zeros + 1 : 0;
    plain.push_back(byte);
  }
  return plain;
}

// A number written as a run of 255 and a rest.
size_t TakeNumber(Bytes* bytes) {
  size_t number = 0;
  while (!bytes->empty()) {
    const uint8_t byte = bytes->front();
    *bytes = bytes->subspan(1);
    number += byte;
    if (byte != 255) break;
  }
  return number;
}

// The count is an Exp-Golomb code: 0 is a single set bit.
bool CountsPictures(Bytes message) { return !message.empty() && (message[0] & 0x80) == 0; }

bool HasGradualMessage(Bytes unit) {
  const std::vector<uint8_t> plain = Plain(unit.subspan(1));
  Bytes rest = plain;
  while (rest.size() > 2) {
    const size_t kind = TakeNumber(&rest);
    const size_t announced = TakeNumber(&rest);
    const Bytes message = rest.first(std::min(announced, rest.size()));
    if (kind == kRecoveryPoint) return CountsPictures(message);
    rest = rest.subspan(message.size());
  }
  return false;
}

}  // namespace

int UnitLengthBytes(Bytes streamHeader) {
  const bool lengths = streamHeader.size() >= kAvcHeaderBytes && streamHeader[0] == 1;
  return lengths ? (streamHeader[4] & 3) + 1 : 0;
}

bool RecoversGradually(Bytes packet, int unitLengthBytes) {
  Units units(packet, unitLengthBytes);
  for (Bytes unit = units.Next(); !unit.empty(); unit = units.Next()) {
    const int kind = unit[0] & 31;
    if (kind >= kFirstSliceUnit && kind <= kLastSliceUnit) return false;
    if (kind == kMessageUnit && HasGradualMessage(unit)) return true;
  }
  return false;
}

}  // namespace kiv
