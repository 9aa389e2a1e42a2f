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
    const MutexLock hold(lock_);
    stop_ = true;
  }
  wake_.WakeAll();
  for (std::thread& thread : threads_) thread.join();
}

RowPool& RowPool::Shared() {
  static RowPool& shared = *new RowPool(
      std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostThreads));
  return shared;
}

void RowPool::Run(int count, const std::function<void(int)>& part) {
  if (!threads_.empty() && count > 1 && turn_.TryLock()) {
    const MutexLock turn(turn_, std::adopt_lock);
    return Share(count, part);
  }
  for (int i = 0; i < count; ++i) part(i);
}

void RowPool::Share(int count, const std::function<void(int)>& part) {
  {
    const MutexLock hold(lock_);
    part_ = &part;
    count_ = count;
    next_ = 0;
    ++job_;
  }
  wake_.WakeAll();
  TakeParts(count, part);
  const MutexLock hold(lock_);
  // Nobody may join a job that has no parts left: `part` dies with this call.
  part_ = nullptr;
  while (helping_ > 0) done_.Wait(lock_);
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void RowPool::Work() {
  const MutexLock hold(lock_);
  for (int64_t seen = 0;;) {
    while (!stop_ && (!part_ || job_ == seen)) wake_.Wait(lock_);
    if (stop_) return;
    seen = job_;
    ++helping_;
    const int count = count_;
    const std::function<void(int)>& part = *part_;
    {
      const MutexUnlock working(lock_);
      TakeParts(count, part);
    }
    if (--helping_ == 0) done_.WakeAll();
  }
}

void RowPool::TakeParts(int count, const std::function<void(int)>& part) {
  for (int i = next_++; i < count; i = next_++) {
    try {
      part(i);
    } catch (...) {
      const MutexLock hold(lock_);
      failure_ = std::current_exception();
      next_ = count;
    }
  }
}

}  // namespace kiv::tween
