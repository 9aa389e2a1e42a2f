// The decoded pictures that the process keeps, within one budget that all decoders share.
//
// A decoder may take what the others leave free. When there is no room, pictures go from those that
// hold more than an equal share; each gives up what it is least likely to need.
//
// Units:    bytes; frame numbers.
// Owns:     the kept pictures.
// Threads:  any. What ends in Locked is called under a PictureStore::Guard.
// Locks:    one for all stores; the frame index's and the memory pools' are taken under it.
// Errors:   none; std::bad_alloc when memory runs out.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "engine/media/keep/PackedPicture.h"
#include "kiv/base/Mutex.h"

namespace kiv {

// A decoded picture, as it came or packed. Immutable.
struct KeptPicture {
  AvPtr<AVFrame> plain;  // null when it is packed
  std::shared_ptr<const PackedPicture> packed;
  int64_t bytes = 0;
};

struct PicturePoolFigures {
  int64_t limit = 0;
  int64_t bytesNow = 0;
  int64_t bytesAtMost = 0;
};

class PictureStore;

class KIV_ENGINE_API PicturePool {
 public:
  static constexpr int64_t kDefaultLimit = int64_t{512} << 20;

  // The pool of the process. It is never destroyed.
  static PicturePool& Shared();

  explicit PicturePool(int64_t limit = kDefaultLimit) : limit_(limit) {}

  // Pictures beyond a smaller limit go at once.
  void SetLimit(int64_t bytes);
  PicturePoolFigures Figures() const;

 private:
  friend class PictureStore;

  // Whoever has locked a store has locked its pool.
  void AssertLocked() const KIV_ASSERT_HELD(lock_) {}
  int64_t ShareLocked() const KIV_REQUIRES(lock_);
  bool MakeRoomElsewhereLocked(const PictureStore& asking) KIV_REQUIRES(lock_);
  PictureStore* LargestLocked(const PictureStore* except) const KIV_REQUIRES(lock_);
  void CountLocked(int64_t bytes) KIV_REQUIRES(lock_);
  void TellAllLocked() const KIV_REQUIRES(lock_);

  mutable Mutex lock_;
  int64_t limit_ KIV_GUARDED_BY(lock_);
  int64_t bytes_ KIV_GUARDED_BY(lock_) = 0;
  int64_t mostBytes_ KIV_GUARDED_BY(lock_) = 0;
  std::vector<PictureStore*> stores_ KIV_GUARDED_BY(lock_);
};

// Which pictures may be given up for a new one: none, those the reader has passed, or every one that
// is less likely to be needed.
enum class Yield { kNothing, kPassed, kLessNeeded };

// One decoder's part of the pool. To lock one store is to lock them all: they take from one another.
class KIV_ENGINE_API KIV_CAPABILITY("picture store") PictureStore {
 public:
  // Holds a store to the end of the block.
  class KIV_SCOPED_CAPABILITY Guard {
   public:
    explicit Guard(const PictureStore& store) KIV_ACQUIRE(store) : mutex_(store.pool_.lock_) {
      mutex_.Lock();
    }
    ~Guard() KIV_RELEASE() { mutex_.Unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    Mutex& mutex_;
  };
  // Lets a held store go to the end of the block.
  class KIV_SCOPED_CAPABILITY Gap {
   public:
    explicit Gap(const PictureStore& store) KIV_RELEASE(store) : mutex_(store.pool_.lock_) {
      mutex_.Unlock();
    }
    ~Gap() KIV_RELEASE() { mutex_.Lock(); }
    Gap(const Gap&) = delete;
    Gap& operator=(const Gap&) = delete;

   private:
    Mutex& mutex_;
  };

  explicit PictureStore(PicturePool& pool);
  ~PictureStore();
  PictureStore(const PictureStore&) = delete;
  PictureStore& operator=(const PictureStore&) = delete;

  // Until pictures came or went, or WakeAll was called. May return early.
  void WaitLocked() KIV_REQUIRES(this);
  void WakeAll() { changed_.WakeAll(); }

  std::shared_ptr<const KeptPicture> FindLocked(int64_t frame) const KIV_REQUIRES(this);
  bool HasLocked(int64_t frame) const KIV_REQUIRES(this) { return pictures_.count(frame) != 0; }
  // The highest frame at or below `frame` that is not there; may be -1.
  int64_t HoleBelowLocked(int64_t frame) const KIV_REQUIRES(this);
  // False when there is no room for it under these terms.
  bool PutLocked(int64_t frame, std::shared_ptr<const KeptPicture> picture, Yield yield)
      KIV_REQUIRES(this);
  // The reader is at `frame` and will go on downwards or upwards from there.
  void ReadAtLocked(int64_t frame, bool backward) KIV_REQUIRES(this);
  // Gives up the pictures above `frame`.
  void DropAboveLocked(int64_t frame) KIV_REQUIRES(this);
  // What this store may count on.
  int64_t AvailableLocked() const KIV_REQUIRES(this);
  int64_t BytesLocked() const KIV_REQUIRES(this) { return bytes_; }
  int64_t MostBytesLocked() const KIV_REQUIRES(this) { return mostBytes_; }

 private:
  friend class PicturePool;
  using Pictures = std::map<int64_t, std::shared_ptr<const KeptPicture>>;

  // Whoever has locked the pool, or another of its stores, has locked this one.
  void AssertLocked() const KIV_ASSERT_HELD(this) {}
  int64_t DistanceLocked(int64_t frame) const KIV_REQUIRES(this);
  bool IsPassedLocked(int64_t frame) const KIV_REQUIRES(this);
  Pictures::iterator LeastNeededLocked() KIV_REQUIRES(this);
  bool GiveUpLocked(int64_t forFrame, Yield yield) KIV_REQUIRES(this);
  void DropLocked(Pictures::iterator picture) KIV_REQUIRES(this);

  PicturePool& pool_;
  Condition changed_;
  Pictures pictures_ KIV_GUARDED_BY(this);
  int64_t bytes_ KIV_GUARDED_BY(this) = 0;
  int64_t mostBytes_ KIV_GUARDED_BY(this) = 0;
  int64_t readAt_ KIV_GUARDED_BY(this) = 0;
  bool backward_ KIV_GUARDED_BY(this) = false;
};

}  // namespace kiv
