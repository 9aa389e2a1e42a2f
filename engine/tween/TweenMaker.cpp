#include "engine/tween/TweenMaker.h"

#include <algorithm>
#include <utility>

#include "engine/tween/BlendKernel.h"

namespace kiv::tween {
namespace {

constexpr int kSmallestSide = 16;
// The largest cell holds as many pixels.
constexpr int kLargestFactor = kLargestCell / kNodeStep;

}  // namespace

void TweenMaker::SetPair(const KeyPictures& keys, Sequence sequence) {
  const bool kept = sequence == Sequence::kFollows && newerBuilt_ && keys.size == keys_.size;
  if (kept) std::swap(older_, newer_);
  olderBuilt_ = kept;
  newerBuilt_ = found_ = false;
  keys_ = keys;
}

void TweenMaker::Make(TweenMode mode, float when, uint8_t* out) {
  if (mode == TweenMode::kBlend || std::min(keys_.size.width, keys_.size.height) < kSmallestSide) {
    return MixPictures(keys_, when, pool_, out);
  }
  if (!found_) FindMotion();
  if (newer_.Factor() > kLargestFactor) return MixPictures(keys_, when, pool_, out);
  field_.Choose({older_.Level(0), newer_.Level(0), onward_.Grid(), backward_.Grid()}, when, pool_);
  BlendPicture(keys_, field_.Grid(), newer_.Factor(), when, pool_, out);
}

void TweenMaker::FindMotion() {
  pool_.Run(2, [this](int which) {
    if (which == 0 && !olderBuilt_) older_.Build(keys_.older, keys_.size);
    if (which == 1 && !newerBuilt_) newer_.Build(keys_.newer, keys_.size);
  });
  olderBuilt_ = newerBuilt_ = true;
  pool_.Run(2, [this](int which) {
    if (which == 0) onward_.Run(older_, newer_);
    if (which == 1) backward_.Run(newer_, older_);
  });
  found_ = true;
}

}  // namespace kiv::tween
