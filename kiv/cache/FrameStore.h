// The pictures that a frame cache holds, and the used ones it keeps for the next.
//
// Units:    frame indices int64; sizes in pixels and bytes.
// Owns:     the frames in it, at most kMostBytes of pictures but never fewer than kFewestFrames of
//           them, and up to kMostSpares frames for reuse, as far as these bytes reach.
// Threads:  none of its own: its user's lock guards it.
// Errors:   std::bad_alloc when memory runs out; the store is then unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <queue>

#include "kiv/cache/CacheSpan.h"
#include "kiv/platform/Frame.h"

class FrameStore {
 public:
  static constexpr int64_t kMostBytes = int64_t{256} << 20;
  static constexpr int32_t kMostFrames = 512;
  static constexpr int32_t kFewestFrames = 3;
  static constexpr size_t kMostSpares = 10;

  // How many pictures as large as the last one put in are within the bounds.
  int32_t Capacity() const;
  bool Contains(int64_t index) const { return frames_.count(index) != 0; }
  // Borrowed until the store changes; null when there is none.
  IKivFrame* Find(int64_t index) const;
  // Replaces the entry. Beyond the bounds the frame farthest from `wanted` goes, which may be this.
  void Put(int64_t index, const KivComPtr<IKivFrame>& frame, int64_t wanted);
  // Drops what lies outside `span`, for reuse as far as that goes.
  void Evict(const CacheSpan& span);
  // A frame of that size for reuse; the ones of other sizes before it go. Null when none is left.
  KivComPtr<IKivFrame> TakeSpare(const KivSize& size);

 private:
  struct Entry {
    KivComPtr<IKivFrame> frame;
    int64_t bytes;
  };
  using Entries = std::map<int64_t, Entry>;

  bool IsOverfull() const;
  Entries::iterator Farthest(int64_t wanted);
  void DropSpare();
  Entries::iterator Retire(Entries::iterator entry);

  Entries frames_;
  // A list inside: an empty one takes no memory, so that clearing cannot fail.
  std::queue<KivComPtr<IKivFrame>, std::list<KivComPtr<IKivFrame>>> spares_;
  int64_t bytes_ = 0;
  int64_t spareBytes_ = 0;
  int64_t lastPictureBytes_ = 0;
};
