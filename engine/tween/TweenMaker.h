// Makes any number of pictures between two key frames; their motion is looked for once. Where the
// key frames show different scenes the nearer one is repeated. Pictures below 16 pixels on a side, or
// beyond 8800, are mixed as they lie.
//
// Units:    straight rows of BGRA; `when` is 0 at the older key frame and 1 at the newer.
// Owns:     brightness and motion of the pair; the memory is kept from pair to pair.
// Threads:  one caller at a time; works on the pool's threads. The result does not depend on how
//           many there are.
// Errors:   throws std::bad_alloc.
#pragma once

#include "engine/motion/LumaPyramid.h"
#include "engine/tween/Blender.h"
#include "engine/tween/FlowSearch.h"
#include "engine/tween/TweenField.h"
#include "engine/tween/TweenMode.h"

namespace kiv::tween {

class TweenMaker {
 public:
  explicit TweenMaker(RowPool& pool) : pool_(pool) {}

  // A new pair. `follows` when its older picture is the newer one of the pair before.
  enum class Sequence { kNew, kFollows };
  void SetPair(const KeyPictures& keys, Sequence sequence);
  // The pictures of the pair are still where they were.
  void Make(TweenMode mode, float when, uint8_t* out);

 private:
  void FindMotion();
  void CopyNearer(float when, uint8_t* out) const;

  RowPool& pool_;
  KeyPictures keys_{};
  LumaPyramid older_, newer_;
  bool olderBuilt_ = false, newerBuilt_ = false, found_ = false, cut_ = false;
  FlowSearch onward_, backward_;
  TweenField field_;
};

}  // namespace kiv::tween
