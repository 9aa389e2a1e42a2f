#include "engine/memory/BufferPool.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define KIV_POISON(address, size) ASAN_POISON_MEMORY_REGION(address, size)
#define KIV_UNPOISON(address, size) ASAN_UNPOISON_MEMORY_REGION(address, size)
#else
#define KIV_POISON(address, size) static_cast<void>(0)
#define KIV_UNPOISON(address, size) static_cast<void>(0)
#endif

namespace kiv {

struct BufferPool::IdleBuffer {
  size_t classSize = 0;
  uint64_t acquisitionsAtRelease = 0;
  IdleBuffer* newer = nullptr;
  IdleBuffer* older = nullptr;
  IdleBuffer* newerOfClass = nullptr;
  IdleBuffer* olderOfClass = nullptr;
};

namespace {

// Between a power of two and the next lie this many classes.
constexpr size_t kStepsPerOctave = 8;

size_t StepBetweenClasses(size_t size) {
  return std::max(std::bit_floor(size) / kStepsPerOctave, BufferPool::kAlignment);
}

}  // namespace

BufferPool& BufferPool::Shared() {
  // Frames may be released while other statics end.
  static BufferPool* const pool = new BufferPool;
  return *pool;
}

BufferPool::~BufferPool() { Trim(); }

size_t BufferPool::ClassSize(size_t size) {
  constexpr size_t kLargest = std::numeric_limits<size_t>::max() / 4;
  if (size == 0 || size > kLargest) return 0;
  const size_t needed = size + kSlack;
  const size_t step = StepBetweenClasses(needed);
  return (needed + step - 1) / step * step;
}

size_t BufferPool::ClassIndex(size_t classSize) {
  const size_t octave = std::bit_floor(classSize);
  const size_t step = (classSize - octave) / StepBetweenClasses(classSize);
  return static_cast<size_t>(std::countr_zero(octave)) * kStepsPerOctave + step;
}

void* BufferPool::Acquire(size_t size) {
  static_assert(sizeof(IdleBuffer) <= kSlack);
  const size_t classSize = ClassSize(size);
  if (classSize == 0) return nullptr;
  IdleBuffer* excess = nullptr;
  void* buffer = nullptr;
  {
    const MutexLock hold(lock_);
    ++acquisitions_;
    buffer = TakeLocked(classSize);
    excess = CollectExcessLocked();
    if (buffer) figures_.bytesOut += static_cast<int64_t>(classSize);
  }
  FreeChain(excess);
  if (buffer) {
    KIV_UNPOISON(buffer, classSize);
    return buffer;
  }
  buffer = std::aligned_alloc(kAlignment, classSize);
  if (!buffer) return nullptr;
  const MutexLock hold(lock_);
  ++figures_.systemAllocations;
  figures_.bytesOut += static_cast<int64_t>(classSize);
  return buffer;
}

void BufferPool::Release(void* buffer, size_t size) {
  if (!buffer) return;
  const size_t classSize = ClassSize(size);
  auto* const idle = new (buffer) IdleBuffer;
  idle->classSize = classSize;
  KIV_POISON(static_cast<char*>(buffer) + sizeof(IdleBuffer), classSize - sizeof(IdleBuffer));
  IdleBuffer* excess = nullptr;
  {
    const MutexLock hold(lock_);
    figures_.bytesOut -= static_cast<int64_t>(classSize);
    LinkLocked(idle);
    excess = CollectExcessLocked();
  }
  FreeChain(excess);
}

void BufferPool::Trim() {
  IdleBuffer* chain = nullptr;
  {
    const MutexLock hold(lock_);
    while (IdleBuffer* const idle = oldest_) {
      UnlinkLocked(idle);
      idle->older = chain;
      chain = idle;
    }
  }
  FreeChain(chain);
}

BufferPoolFigures BufferPool::Figures() const {
  const MutexLock hold(lock_);
  return figures_;
}

// The newest of its class: its memory is the likeliest to be in the processor's caches.
BufferPool::IdleBuffer* BufferPool::TakeLocked(size_t classSize) {
  IdleBuffer* const idle = classes_[ClassIndex(classSize)];
  if (idle) UnlinkLocked(idle);
  return idle;
}

// A chain through `older` of what must go, to be freed outside the lock.
BufferPool::IdleBuffer* BufferPool::CollectExcessLocked() {
  IdleBuffer* chain = nullptr;
  while (IdleBuffer* const idle = oldest_) {
    const bool tooMuch = figures_.bytesIdle > static_cast<int64_t>(limits_.idleBytes);
    const bool tooOld = acquisitions_ - idle->acquisitionsAtRelease > limits_.idleAcquisitions;
    if (!tooMuch && !tooOld) break;
    UnlinkLocked(idle);
    idle->older = chain;
    chain = idle;
  }
  return chain;
}

void BufferPool::LinkLocked(IdleBuffer* idle) {
  IdleBuffer*& newestOfClass = classes_[ClassIndex(idle->classSize)];
  idle->acquisitionsAtRelease = acquisitions_;
  idle->older = newest_;
  (newest_ ? newest_->newer : oldest_) = idle;
  newest_ = idle;
  idle->olderOfClass = newestOfClass;
  if (newestOfClass) newestOfClass->newerOfClass = idle;
  newestOfClass = idle;
  figures_.bytesIdle += static_cast<int64_t>(idle->classSize);
}

void BufferPool::UnlinkLocked(IdleBuffer* idle) {
  IdleBuffer*& newestOfClass = classes_[ClassIndex(idle->classSize)];
  (idle->newer ? idle->newer->older : newest_) = idle->older;
  (idle->older ? idle->older->newer : oldest_) = idle->newer;
  (idle->newerOfClass ? idle->newerOfClass->olderOfClass : newestOfClass) = idle->olderOfClass;
  if (idle->olderOfClass) idle->olderOfClass->newerOfClass = idle->newerOfClass;
  figures_.bytesIdle -= static_cast<int64_t>(idle->classSize);
}

void BufferPool::FreeChain(IdleBuffer* chain) {
  while (chain) {
    IdleBuffer* const next = chain->older;
    KIV_UNPOISON(chain, chain->classSize);
    std::free(chain);
    chain = next;
  }
}

}  // namespace kiv
