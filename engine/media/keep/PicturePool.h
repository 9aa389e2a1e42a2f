// The decoded pictures that the process keeps, within one budget that all decoders share.
//
// A decoder may take what the others leave free. When there is no room, pictures go from those that
// hold more than an equal share; each gives up what it is least likely to need.
//
// Units:    bytes; frame numbers.
// Owns:     the kept pictures.
// Threads:  any. What ends in Locked is called with Lock() held.
// Locks:    one for all stores, innermost.
// Errors:   none; storage that cannot be had is thrown.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "engine/media/keep/PackedPicture.h"

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
  std::mutex& Lock() const { return lock_; }

 private:
  friend class PictureStore;

  int64_t ShareLocked() const;
  bool MakeRoomElsewhereLocked(const PictureStore& asking);
  PictureStore* LargestLocked(const PictureStore* except) const;
  void CountLocked(int64_t bytes);
  void TellAllLocked() const;

  mutable std::mutex lock_;
  int64_t limit_;
  int64_t bytes_ = 0;
  int64_t mostBytes_ = 0;
  std::vector<PictureStore*> stores_;
};

// Which pictures may be given up for a new one: none, those the reader has passed, or every one that
// is less likely to be needed.
enum class Yield { kNothing, kPassed, kLessNeeded };

// One decoder's part of the pool.
class KIV_ENGINE_API PictureStore {
 public:
  explicit PictureStore(PicturePool& pool);
  ~PictureStore();
  PictureStore(const PictureStore&) = delete;
  PictureStore& operator=(const PictureStore&) = delete;

  std::mutex& Lock() const { return pool_.lock_; }
  // Signalled when pictures came or went, and by whoever uses the store.
  std::condition_variable& Changed() { return changed_; }

  std::shared_ptr<const KeptPicture> FindLocked(int64_t frame) const;
  bool HasLocked(int64_t frame) const { return pictures_.count(frame) != 0; }
  // The highest frame at or below `frame` that is not there; may be -1.
  int64_t HoleBelowLocked(int64_t frame) const;
  // False when there is no room for it under these terms.
  bool PutLocked(int64_t frame, std::shared_ptr<const KeptPicture> picture, Yield yield);
  // The reader is at `frame` and will go on downwards or upwards from there.
  void ReadAtLocked(int64_t frame, bool backward);
  // Gives up the pictures above `frame`.
  void DropAboveLocked(int64_t frame);
  // What this store may count on.
  int64_t AvailableLocked() const;
  int64_t BytesLocked() const { return bytes_; }
  int64_t MostBytesLocked() const { return mostBytes_; }

 private:
  friend class PicturePool;
  using Pictures = std::map<int64_t, std::shared_ptr<const KeptPicture>>;

  int64_t DistanceOf(int64_t frame) const;
  bool IsPassed(int64_t frame) const;
  Pictures::iterator LeastNeededLocked();
  bool GiveUpLocked(int64_t forFrame, Yield yield);
  void DropLocked(Pictures::iterator picture);

  PicturePool& pool_;
  std::condition_variable changed_;
  Pictures pictures_;
  int64_t bytes_ = 0;
  int64_t mostBytes_ = 0;
  int64_t readAt_ = 0;
  bool backward_ = false;
};

}  // namespace kiv
