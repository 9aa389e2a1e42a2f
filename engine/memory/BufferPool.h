// Picture memory: aligned buffers that are handed out again instead of going back to the system.
//
// Units:    bytes.
// Owns:     idle buffers; a buffer that is out belongs to whoever took it.
// Threads:  any.
// Locks:    one, innermost.
// Errors:   a null buffer when memory runs out; nothing is thrown.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "kiv/base/Mutex.h"
#include "kiv/values/Export.h"

namespace kiv {

struct BufferPoolFigures {
  int64_t systemAllocations = 0;  // buffers ever taken from the system
  int64_t bytesOut = 0;
  int64_t bytesIdle = 0;
};

struct BufferPoolLimits {
  // The longest unused buffers go back to the system when more than this is idle.
  size_t idleBytes = size_t{256} << 20;
  // And so does a buffer that was not wanted during this many acquisitions.
  uint64_t idleAcquisitions = 1024;
};

class KIV_ENGINE_API BufferPool {
 public:
  static constexpr size_t kAlignment = 64;
  // Readable and writable behind every buffer, for vector code that works in whole registers.
  static constexpr size_t kSlack = 64;

  // The pool of the process. It is never destroyed.
  static BufferPool& Shared();

  explicit BufferPool(const BufferPoolLimits& limits = {}) : limits_(limits) {}
  ~BufferPool();
  BufferPool(const BufferPool&) = delete;
  BufferPool& operator=(const BufferPool&) = delete;

  // At least `size` bytes of unspecified content; null for 0 or when memory runs out.
  void* Acquire(size_t size);
  // `size` is what it was acquired with. Null is allowed.
  void Release(void* buffer, size_t size);
  // Gives every idle buffer back to the system.
  void Trim();
  BufferPoolFigures Figures() const;

  // What is really reserved for `size` bytes: at most an eighth more, so that sizes that differ
  // little share buffers. 0 when that leaves the range of size_t.
  static size_t ClassSize(size_t size);

 private:
  struct IdleBuffer;  // lives in the idle buffer's own memory
  static constexpr size_t kClassCount = size_t{64} * 8;

  IdleBuffer* TakeLocked(size_t classSize) KIV_REQUIRES(lock_);
  IdleBuffer* CollectExcessLocked() KIV_REQUIRES(lock_);
  void LinkLocked(IdleBuffer* idle) KIV_REQUIRES(lock_);
  void UnlinkLocked(IdleBuffer* idle) KIV_REQUIRES(lock_);
  static size_t ClassIndex(size_t classSize);
  static void FreeChain(IdleBuffer* chain);

  const BufferPoolLimits limits_;
  mutable Mutex lock_;
  // The idle buffers, newest first, once by class and once all together.
  std::array<IdleBuffer*, kClassCount> classes_ KIV_GUARDED_BY(lock_){};
  IdleBuffer* newest_ KIV_GUARDED_BY(lock_) = nullptr;
  IdleBuffer* oldest_ KIV_GUARDED_BY(lock_) = nullptr;
  uint64_t acquisitions_ KIV_GUARDED_BY(lock_) = 0;
  BufferPoolFigures figures_ KIV_GUARDED_BY(lock_);
};

// One buffer of the shared pool.
class PooledBuffer {
 public:
  PooledBuffer() = default;
  // Empty when memory runs out.
  explicit PooledBuffer(size_t size) : data_(BufferPool::Shared().Acquire(size)) {
    size_ = data_ ? size : 0;
  }
  PooledBuffer(PooledBuffer&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  PooledBuffer& operator=(PooledBuffer other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
  }
  ~PooledBuffer() {
    if (data_) BufferPool::Shared().Release(data_, size_);
  }

  uint8_t* Data() const { return static_cast<uint8_t*>(data_); }
  size_t Size() const { return size_; }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace kiv
