#include "engine/tween/RowPool.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "kiv/platform/Logger.h"

namespace kiv::tween {
namespace {

constexpr int kMostThreads = 8;

}  // namespace

// As many as the system gives; without any, callers do all parts themselves.
RowPool::RowPool(int threads) {
  try {
    for (int i = 1; i < threads; ++i) threads_.emplace_back([this] { Work(); });
  } catch (const std::system_error&) {
    KIV_LOG(LogLevel::kCreation, L"RowPool: %d threads instead of %d",
            static_cast<int>(threads_.size()) + 1, threads);
  }
}

RowPool::~RowPool() {
  {
    const std::lock_guard hold(lock_);
    stop_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

RowPool& RowPool::Shared() {
  static RowPool& shared = *new RowPool(
      std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostThreads));
  return shared;
}

void RowPool::Run(int count, const std::function<void(int)>& part) {
  std::unique_lock turn(turn_, std::try_to_lock);
  if (!turn.owns_lock() || threads_.empty() || count < 2) {
    for (int i = 0; i < count; ++i) part(i);
    return;
  }
  {
    const std::lock_guard hold(lock_);
    part_ = &part;
    count_ = count;
    next_ = 0;
    ++job_;
  }
  wake_.notify_all();
  TakeParts(part);
  std::unique_lock hold(lock_);
  // Nobody may join a job that has no parts left: `part` dies with this call.
  part_ = nullptr;
  done_.wait(hold, [this] { return helping_ == 0; });
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void RowPool::Work() {
  std::unique_lock hold(lock_);
  for (int64_t seen = 0;;) {
    wake_.wait(hold, [&] { return stop_ || (part_ && job_ != seen); });
    if (stop_) return;
    seen = job_;
    ++helping_;
    const std::function<void(int)>& part = *part_;
    hold.unlock();
    TakeParts(part);
    hold.lock();
    if (--helping_ == 0) done_.notify_all();
  }
}

void RowPool::TakeParts(const std::function<void(int)>& part) {
  for (int i = next_++; i < count_; i = next_++) {
    try {
      part(i);
    } catch (...) {
      const std::lock_guard hold(lock_);
      failure_ = std::current_exception();
      next_ = count_;
    }
  }
}

}  // namespace kiv::tween
