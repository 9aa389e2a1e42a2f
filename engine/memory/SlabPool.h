// Memory for many buffers of few sizes that come and go, such as the pictures a decoder keeps: cut
// from large slabs and given back to the system slab by slab as they become empty.
//
// Units:    bytes.
// Owns:     the slabs; a buffer that is out belongs to whoever took it.
// Threads:  any.
// Locks:    one, innermost.
// Errors:   null when memory runs out; nothing is thrown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "kiv/base/Mutex.h"
#include "kiv/values/Export.h"

namespace kiv {

struct SlabPoolFigures {
  int64_t bytesOut = 0;
  int64_t bytesReserved = 0;  // taken from the system
};

class KIV_ENGINE_API SlabPool {
 public:
  static constexpr size_t kAlignment = 4096;

  // The pool of the process. It is never destroyed.
  static SlabPool& Shared();

  SlabPool();
  ~SlabPool();
  SlabPool(const SlabPool&) = delete;
  SlabPool& operator=(const SlabPool&) = delete;

  // Of unspecified content, aligned to kAlignment.
  void* Acquire(size_t size);
  void Release(void* buffer);
  SlabPoolFigures Figures() const;
  // What a buffer of `size` bytes really takes.
  static size_t RoundedSize(size_t size);

 private:
  struct Slab;

  Slab* FindSpaceLocked(size_t size) KIV_REQUIRES(lock_);
  Slab* AddSlabLocked(size_t size) KIV_REQUIRES(lock_);
  void DropSpareLocked(size_t size) KIV_REQUIRES(lock_);

  using Slabs = std::map<const uint8_t*, std::unique_ptr<Slab>, std::less<>>;

  mutable Mutex lock_;
  Slabs slabs_ KIV_GUARDED_BY(lock_);  // by their ends
  SlabPoolFigures figures_ KIV_GUARDED_BY(lock_);
};

struct GiveToSlabs {
  void operator()(uint8_t* buffer) const { SlabPool::Shared().Release(buffer); }
};
using SlabBuffer = std::unique_ptr<uint8_t[], GiveToSlabs>;

}  // namespace kiv
