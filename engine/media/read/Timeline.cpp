#include "engine/media/read/Timeline.h"

#include <algorithm>

#include "engine/media/read/PacketTable.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

class Unroller {
 public:
  Unroller(std::span<const int64_t> stamps, const StampUnits& units)
      : stamps_(stamps), units_(units) {}

  Timeline Run() {
    for (size_t i = 0; i < stamps_.size(); ++i) Add(i);
    return std::move(result_);
  }

 private:
  // Where the stamp lies in the present part.
  int64_t Place(size_t i) const { return SaturatingAdd(stamps_[i], offset_); }

  void Add(size_t i) {
    if (result_.stamps.empty()) {
      Begin(stamps_[i] == kNoStamp ? 0 : stamps_[i]);
    } else if (stamps_[i] == kNoStamp) {
      result_.stamps.push_back(SaturatingAdd(result_.stamps.back(), units_.frame));
    } else if (StartsAnew(i)) {
      const int64_t start = NextPlace();
      offset_ = SaturatingSubtract(start, stamps_[i]);
      Begin(start);
    } else {
      result_.stamps.push_back(
          std::max(Place(i), SaturatingAdd(result_.stamps.back(), units_.shortest)));
    }
  }

  void Begin(int64_t start) {
    result_.parts.push_back(static_cast<int32_t>(result_.stamps.size()));
    result_.stamps.push_back(start);
  }

  bool StartsAnew(size_t i) const {
    const int64_t last = result_.stamps.back();
    const int64_t step = SaturatingSubtract(Place(i), last);
    if (step > 0) return step > units_.longest;
    const int64_t back = -std::max(step, -INT64_MAX);
    if (back / kDeepestReorder > units_.frame) return true;
    // A single frame that is early, or one of several at the same time, is no new beginning.
    const bool isOneFrameBack = back >= units_.frame - units_.frame / 2;
    return isOneFrameBack && i + 1 < stamps_.size() && stamps_[i + 1] > stamps_[i] &&
           Place(i + 1) <= last;
  }

  // The part's frames so far, and one more of their average length.
  int64_t NextPlace() const {
    const auto first = static_cast<size_t>(result_.parts.back());
    const int64_t last = result_.stamps.back();
    const auto steps = static_cast<int64_t>(result_.stamps.size() - first) - 1;
    if (steps == 0) return SaturatingAdd(last, units_.frame);
    const int64_t length = SaturatingSubtract(last, result_.stamps[first]);
    const int64_t average = length / steps + (length % steps * 2 >= steps ? 1 : 0);
    return SaturatingAdd(last, std::max(average, units_.shortest));
  }

  const std::span<const int64_t> stamps_;
  const StampUnits units_;
  Timeline result_;
  int64_t offset_ = 0;
};

}  // namespace

Timeline Unroll(std::span<const int64_t> stamps, const StampUnits& units) {
  return Unroller(stamps, units).Run();
}

}  // namespace kiv
