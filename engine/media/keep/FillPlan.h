// Which frames to decode next for a reader that goes backwards.
//
// A group of pictures is decoded upwards and read downwards. A group that fits into the available
// memory is taken whole; of a larger one the upper part is kept and the lower passed over, in as few
// passes as the memory allows. Small groups are taken several at once, so that the decoder's threads
// do not run dry after each.
//
// Units:    frame numbers, both ends included; bytes.
// Owns:     a share of the stream's index.
// Threads:  FillPlanner: one caller at a time.
#pragma once

#include <cstdint>
#include <memory>

#include "engine/media/keep/PicturePool.h"
#include "engine/media/keep/ReadPattern.h"
#include "engine/media/read/FrameIndex.h"

namespace kiv {

struct FillPlan {
  int64_t first = 0;
  int64_t last = -1;
  // What the reader waits for; -1 when nobody does.
  int64_t wanted = -1;
  // The group is large for the available memory.
  bool packs = false;
  int64_t generation = 0;

  bool Contains(int64_t frame) const { return first <= frame && frame <= last; }
  bool IsEmpty() const { return last < first; }
};

class KIV_ENGINE_API FillPlanner {
 public:
  FillPlanner(std::shared_ptr<FrameIndex> index, int64_t plainBytes);

  // For a reader that waits for `wanted`.
  FillPlan ForReader(const ReadPattern& pattern, const PictureStore& store, int64_t wanted)
      KIV_REQUIRES(store);
  // What is worth decoding ahead; empty when there is enough.
  FillPlan Ahead(const ReadPattern& pattern, const PictureStore& store) KIV_REQUIRES(store);
  // The highest frame that a reader on its way down may still come back to.
  int64_t WorthKeepingUpTo(int64_t frame);
  // Whether pictures of the frame's group are to be packed.
  bool Packs(int64_t frame, int64_t available);
  // A reader that begins here and is going backwards will go through all below.
  bool IsNearEnd(int64_t frame) const;
  // Enough memory to be of use.
  bool CanFill(const PictureStore& store) const KIV_REQUIRES(store);

  // What pictures really take.
  void LearnPlain(int64_t bytes);
  void LearnPacked(int64_t bytes);

 private:
  struct Group {
    int64_t first = 0;
    int64_t last = -1;
  };

  Group GroupOf(int64_t frame);
  int64_t Capacity(int64_t available, bool packs) const;
  FillPlan Make(const ReadPattern& pattern, const PictureStore& store, int64_t last)
      KIV_REQUIRES(store);

  const std::shared_ptr<FrameIndex> index_;
  int64_t plainBytes_;
  int64_t packedBytes_;
  bool knowsPacked_ = false;
  Group group_;
};

}  // namespace kiv
