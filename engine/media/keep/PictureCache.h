// Reads the frames of a video stream in any order, and keeps what will be asked for again.
//
// Read forwards it is the reader below it and nothing else. Once the caller has gone back, or said
// that it will, pictures are kept, and a thread decodes the frames below the present one ahead of
// their being needed.
//
// Units:    frame numbers in the order of display, from 0.
// Owns:     the reader, its thread, its part of the picture pool.
// Threads:  At: one caller at a time; everything else any.
// Locks:    the reader's, then the pool's.
// Errors:   the reader's. std::bad_alloc when memory runs out.
#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "engine/media/keep/FillPlan.h"
#include "engine/media/keep/PicturePool.h"
#include "engine/media/keep/ReadPattern.h"
#include "engine/media/read/PictureReader.h"

namespace kiv {

struct CacheCounts {
  ReaderCounts reader;
  int64_t fromMemory = 0;
  int64_t bytesNow = 0;
  int64_t bytesAtMost = 0;

  CacheCounts& operator+=(const CacheCounts& other);
};

class KIV_ENGINE_API PictureCache {
 public:
  PictureCache(std::unique_ptr<PictureReader> reader, std::shared_ptr<FrameIndex> index,
               PicturePool& pool = PicturePool::Shared());
  ~PictureCache();
  PictureCache(const PictureCache&) = delete;
  PictureCache& operator=(const PictureCache&) = delete;

  // `*picture` stays valid until the next call. `frame` lies in the clip.
  HRESULT At(int64_t frame, const AVFrame** picture);
  // The caller is going to read backwards.
  void ExpectBackwards(bool backwards);
  CacheCounts Counts() const;

 private:
  bool AsksForFillLocked(int64_t frame) const KIV_REQUIRES(store_);
  HRESULT Hand(const KeptPicture& kept, const AVFrame** picture);
  // False when the system refuses a thread.
  bool StartWorkerLocked() KIV_REQUIRES(store_);
  std::shared_ptr<const KeptPicture> WaitForFillLocked(int64_t frame) KIV_REQUIRES(store_);
  HRESULT ReadDirectlyLocked(int64_t frame, const AVFrame** picture) KIV_REQUIRES(store_);
  HRESULT ReadAlone(int64_t frame);
  void KeepDirectLocked(int64_t frame) KIV_REQUIRES(store_);
  std::shared_ptr<const KeptPicture> Keep(const AVFrame& picture, bool packs, PackScratch* scratch);

  void Work();
  bool TryFill(const FillPlan& plan);
  FillPlan NextPlanLocked() KIV_REQUIRES(store_);
  bool Fill(const FillPlan& plan);
  bool FillFrame(const FillPlan& plan, int64_t frame, const ReadSpan& span)
      KIV_REQUIRES(readerLock_);
  bool MayGoOnLocked(const FillPlan& plan) const KIV_REQUIRES(store_);
  bool PutWhenRoomLocked(const FillPlan& plan, int64_t frame,
                         const std::shared_ptr<const KeptPicture>& kept) KIV_REQUIRES(store_);
  Yield YieldForLocked(const FillPlan& plan) const KIV_REQUIRES(store_);

  // Held for as long as somebody decodes; the pool's lock is taken under it, never the other way.
  Mutex readerLock_;
  // Reads under readerLock_; what says "any thread" in its header is called without.
  const std::unique_ptr<PictureReader> reader_;
  AvPtr<AVFrame> given_;     // what the last call handed out, when it is a reference
  AvPtr<AVFrame> unpacked_;  // and when it was packed
  PackScratch scratch_;
  PackScratch workScratch_ KIV_GUARDED_BY(readerLock_);

  PictureStore store_;
  ReadPattern pattern_ KIV_GUARDED_BY(store_);
  FillPlanner planner_ KIV_GUARDED_BY(store_);
  int64_t wanted_ KIV_GUARDED_BY(store_) = -1;  // the caller waits for it to be filled in
  int directReads_ KIV_GUARDED_BY(store_) = 0;  // the caller has or wants the reader for itself
  int64_t reads_ KIV_GUARDED_BY(store_) = 0;    // calls so far
  // Nothing to be gained until there are more reads than these.
  int64_t fruitlessAfter_ KIV_GUARDED_BY(store_) = -1;
  int64_t fromMemory_ KIV_GUARDED_BY(store_) = 0;
  bool ending_ KIV_GUARDED_BY(store_) = false;
  bool threadRefused_ KIV_GUARDED_BY(store_) = false;  // everything is read by the caller
  std::thread worker_ KIV_GUARDED_BY(store_);
};

}  // namespace kiv
