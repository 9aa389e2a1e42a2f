// A pooled buffer with several owners, none of whom writes while there are others.
//
// Units:    bytes.
// Owns:     a share of the buffer; the last one gives it back to the pool.
// Threads:  the shares of one buffer may live on several threads; one share belongs to one.
// Errors:   an empty buffer when memory runs out; nothing is thrown.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "engine/memory/BufferPool.h"

namespace kiv {

class SharedBuffer {
 public:
  SharedBuffer() = default;
  explicit SharedBuffer(size_t size) {
    PooledBuffer bytes(size);
    if (bytes) block_ = new (std::nothrow) Block{std::move(bytes)};
  }
  SharedBuffer(const SharedBuffer& other) noexcept : block_(other.block_) {
    if (block_) block_->owners.fetch_add(1, std::memory_order_relaxed);
  }
  SharedBuffer(SharedBuffer&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  SharedBuffer& operator=(SharedBuffer other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~SharedBuffer() {
    if (block_ && block_->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) delete block_;
  }

  uint8_t* Data() const { return block_ ? block_->bytes.Data() : nullptr; }
  explicit operator bool() const { return block_ != nullptr; }
  // What former owners did with the bytes is over then.
  bool HasOneOwner() const { return block_ && block_->owners.load(std::memory_order_acquire) == 1; }

 private:
  struct Block {
    PooledBuffer bytes;
    std::atomic<int32_t> owners{1};
  };

  Block* block_ = nullptr;
};

}  // namespace kiv
