#include "kiv/platform/NodeTimes.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kTypes = 16;
constexpr size_t kDeepest = 64;

std::array<std::atomic<int64_t>, kTypes> spent{};

bool IsKnown(int32_t type) { return type >= 0 && static_cast<size_t>(type) < kTypes; }

// The calls that this thread is inside of. Its time belongs to the innermost one.
class CallStack {
 public:
  bool Enter(int32_t type) {
    if (depth_ == kDeepest) return false;
    Charge();
    types_[depth_++] = static_cast<size_t>(type);
    return true;
  }
  void Leave() {
    Charge();
    --depth_;
  }

 private:
  void Charge() {
    const auto now = Clock::now();
    if (depth_ > 0) {
      const auto passed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - since_);
      spent[types_[depth_ - 1]].fetch_add(passed.count(), std::memory_order_relaxed);
    }
    since_ = now;
  }

  std::array<size_t, kDeepest> types_{};
  size_t depth_ = 0;
  Clock::time_point since_;
};
thread_local CallStack calls;

}  // namespace

std::atomic<bool> kivNodesAreMeasured{false};

void KivMeasureNodes() {
  for (auto& time : spent) time.store(0, std::memory_order_relaxed);
  kivNodesAreMeasured.store(true, std::memory_order_relaxed);
}

bool KivEnterNode(int32_t type) {
  if (!kivNodesAreMeasured.load(std::memory_order_relaxed) || !IsKnown(type)) return false;
  return calls.Enter(type);
}

void KivLeaveNode() { calls.Leave(); }

int64_t KivNodeTime(int32_t type) {
  return IsKnown(type) ? spent[static_cast<size_t>(type)].load(std::memory_order_relaxed) : 0;
}
