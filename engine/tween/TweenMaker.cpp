#include "engine/tween/TweenMaker.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "engine/tween/BlendKernel.h"
#include "engine/tween/PatchAt.h"
#include "engine/tween/Sharpness.h"

namespace kiv::tween {
namespace {

constexpr int kSmallestSide = 16;
// The largest cell holds as many pixels.
constexpr int kLargestFactor = kLargestCell / kNodeStep;

// A window with a larger error, on average of its pixels, was not found.
constexpr float kLostCodes = 20;
constexpr float kLost = kPatchPixels * 16 * 16 * kLostCodes * kLostCodes;
// When more of the picture than that was not found, it shows something else.
constexpr double kMostLost = 0.28;

double LostPart(const FlowGrid& grid) {
  int lost = 0;
  for (int j = 0; j < grid.Height(); ++j) {
    for (int i = 0; i < grid.Width(); ++i) lost += grid.At(i, j).error > kLost;
  }
  return static_cast<double>(lost) / grid.Width() / grid.Height();
}

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
  if (cut_) return CopyNearer(when, out);
  field_.Choose({older_.Level(0), newer_.Level(0), onward_.Grid(), backward_.Grid()}, when, pool_);
  const int factor = newer_.Factor();
  // Small pictures have the time.
  const bool wide = mode == TweenMode::kFine || factor == 1;
  const float sharpness = BestSharpness(keys_, field_.Grid(), factor, when, pool_);
  BlendPicture(keys_, field_.Grid(),
               {factor, when, wide ? BlendWindow::kWide : BlendWindow::kNear, sharpness}, pool_,
               out);
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
  // Both ways, since what a fade or a passing object hides is lost one way only.
  cut_ = std::min(LostPart(onward_.Grid()), LostPart(backward_.Grid())) > kMostLost;
  found_ = true;
}

void TweenMaker::CopyNearer(float when, uint8_t* out) const {
  constexpr size_t kBytes = 4;
  const auto pixels =
      static_cast<size_t>(keys_.size.width) * static_cast<size_t>(keys_.size.height);
  std::memcpy(out, when < 0.5F ? keys_.older : keys_.newer, pixels * kBytes);
}

}  // namespace kiv::tween
