#include "engine/memory/SlabPool.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>
#include <utility>

namespace kiv {
namespace {

// Slabs aim at this size, and hold at least one buffer.
constexpr size_t kSlabBytes = size_t{16} << 20;

size_t RoundUp(size_t value, size_t unit) { return (value + unit - 1) / unit * unit; }

uint8_t* Map(size_t bytes) {
  void* const memory =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<uint8_t*>(memory);
}

}  // namespace

struct SlabPool::Slab {
  uint8_t* begin = nullptr;
  size_t bytes = 0;
  size_t bufferSize = 0;
  size_t buffers = 0;
  size_t fresh = 0;            // buffers from this one on have never been out
  std::vector<uint8_t*> idle;  // has room for all of them from the start
  size_t out = 0;

  uint8_t* Take() {
    ++out;
    if (idle.empty()) return begin + bufferSize * fresh++;
    uint8_t* const buffer = idle.back();
    idle.pop_back();
    return buffer;
  }
  void Give(uint8_t* buffer) {
    --out;
    idle.push_back(buffer);
  }
};

SlabPool& SlabPool::Shared() {
  static SlabPool* const pool = new SlabPool;
  return *pool;
}

SlabPool::SlabPool() = default;

SlabPool::~SlabPool() {
  for (auto& [end, slab] : slabs_) munmap(slab->begin, slab->bytes);
}

size_t SlabPool::RoundedSize(size_t size) { return RoundUp(std::max(size, size_t{1}), kAlignment); }

void* SlabPool::Acquire(size_t size) try {
  if (size > SIZE_MAX / 4) return nullptr;
  const MutexLock guard(lock_);
  const size_t rounded = RoundedSize(size);
  Slab* slab = FindSpaceLocked(rounded);
  if (!slab) slab = AddSlabLocked(rounded);
  if (!slab) return nullptr;
  figures_.bytesOut += static_cast<int64_t>(rounded);
  return slab->Take();
} catch (const std::bad_alloc&) {
  return nullptr;
}

// The lowest address first, so that the higher slabs run empty.
SlabPool::Slab* SlabPool::FindSpaceLocked(size_t size) {
  for (auto& [end, slab] : slabs_) {
    if (slab->bufferSize == size && slab->out < slab->buffers) return slab.get();
  }
  return nullptr;
}

SlabPool::Slab* SlabPool::AddSlabLocked(size_t size) {
  auto made = std::make_unique<Slab>();
  made->bufferSize = size;
  made->buffers = std::max(kSlabBytes / size, size_t{1});
  made->bytes = made->buffers * size;
  made->idle.reserve(made->buffers);
  made->begin = Map(made->bytes);
  if (!made->begin) return nullptr;
  Slab* const slab = made.get();
  slabs_[slab->begin + slab->bytes] = std::move(made);
  figures_.bytesReserved += static_cast<int64_t>(slab->bytes);
  return slab;
}

void SlabPool::Release(void* buffer) {
  if (!buffer) return;
  const MutexLock guard(lock_);
  const auto found = slabs_.upper_bound(static_cast<const uint8_t*>(buffer));
  Slab& slab = *found->second;
  slab.Give(static_cast<uint8_t*>(buffer));
  figures_.bytesOut -= static_cast<int64_t>(slab.bufferSize);
  if (slab.out == 0) DropSpareLocked(slab.bufferSize);
}

// While buffers of a size are out one empty slab stays, so that a buffer that comes and goes does not
// move a slab.
void SlabPool::DropSpareLocked(size_t size) {
  const bool inUse = std::any_of(slabs_.begin(), slabs_.end(), [size](const auto& entry) {
    return entry.second->bufferSize == size && entry.second->out > 0;
  });
  bool keepsOne = inUse;
  for (auto at = slabs_.begin(); at != slabs_.end();) {
    const Slab& slab = *at->second;
    const bool empty = slab.bufferSize == size && slab.out == 0;
    if (!empty || std::exchange(keepsOne, false)) {
      ++at;
      continue;
    }
    figures_.bytesReserved -= static_cast<int64_t>(slab.bytes);
    munmap(slab.begin, slab.bytes);
    at = slabs_.erase(at);
  }
}

SlabPoolFigures SlabPool::Figures() const {
  const MutexLock guard(lock_);
  return figures_;
}

}  // namespace kiv
