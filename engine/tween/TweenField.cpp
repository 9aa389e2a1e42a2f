#include "engine/tween/TweenField.h"

// Compiles this file once for every instruction set; the best one is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/tween/TweenField.cpp"
#include <hwy/foreach_target.h>  // NOLINT

#include "engine/tween/PatchKernel-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kiv::tween::HWY_NAMESPACE {

constexpr float kCode = kPatchPixels * 16 * 16;  // an error of one code on all pixels of a window
// Noise alone finds a place where it fits better; motion has to do much better than that.
constexpr float kStillness = 0.5F;
// Motions nearer than that, squared, are the same.
constexpr float kSame = 1.0F / 64;
// An error up to here says nothing against a prediction.
constexpr float kTrusted = kCode;
// A key frame whose own motion disagrees counts less the worse the two fit: half as much as it could
// with an error of kDoubtful.
constexpr float kDoubtful = kCode * 64 * 64;
constexpr float kDoubt = 0.3F;

// The motions that one node can choose among.
class Choice {
 public:
  Choice(const PairMotion& pair, float when, int i, int j)
      : pair_(pair),
        when_(when),
        x_(static_cast<float>(CornerOf(i))),
        y_(static_cast<float>(CornerOf(j))),
        error_(ErrorOf({}) * kStillness) {}

  void Consider(const Motion& motion) {
    if (SquareOf(motion - best_) < kSame) return;
    const float error = ErrorOf(motion);
    if (error >= error_) return;
    error_ = error;
    best_ = motion;
  }

  const Motion& Best() const { return best_; }
  float Error() const { return error_; }

 private:
  float ErrorOf(const Motion& v) const {
    const float back = -when_, on = 1 - when_;
    return static_cast<float>(ComparePair(PatchAt(pair_.older, x_ + back * v.x, y_ + back * v.y),
                                          PatchAt(pair_.newer, x_ + on * v.x, y_ + on * v.y)));
  }

  const PairMotion& pair_;
  const float when_, x_, y_;
  Motion best_;
  float error_;
};

void ChooseRowImpl(const PairMotion& pair, const LandingGrid& onward, const LandingGrid& backward,
                   float when, int j, NodeGrid<TweenNode>& nodes) {
  for (int i = 0; i < nodes.Width(); ++i) {
    Choice choice(pair, when, i, j);
    for (const LandingGrid* landed : {&onward, &backward}) {
      if (landed->At(i, j).taken) choice.Consider(landed->At(i, j).motion);
    }
    choice.Consider(pair.onward.At(i, j).motion);
    choice.Consider(pair.backward.At(i, j).motion * -1);
    const Motion& v = choice.Best();
    const auto found = [&](const FlowGrid& grid, float part) {
      return grid.Near(NodeAt(CentreOf(i) + part * v.x), NodeAt(CentreOf(j) + part * v.y)).motion;
    };
    const float error = choice.Error();
    const float doubt = kDoubt * error / (error + kDoubtful);
    const float older = (1 - when) / (1 + doubt * SquareOf(found(pair.onward, -when) - v));
    const float newer = when / (1 + doubt * SquareOf(found(pair.backward, 1 - when) + v));
    nodes.At(i, j) = {v, older / (older + newer), kTrusted / (kTrusted + error)};
  }
}

}  // namespace kiv::tween::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kiv::tween {

HWY_EXPORT(ChooseRowImpl);

void TweenField::Choose(const PairMotion& pair, float when, RowPool& pool) {
  const KivSize& size = pair.older.Size();
  nodes_.Resize(size);
  landedOnward_.Resize(size);
  landedBackward_.Resize(size);
  pool.Run(2, [&](int which) {
    if (which == 0) Land(pair.onward, when, 1, &landedOnward_);
    if (which == 1) Land(pair.backward, 1 - when, -1, &landedBackward_);
  });
  pool.Run(nodes_.Height(), [&](int j) {
    HWY_DYNAMIC_DISPATCH(ChooseRowImpl)(pair, landedOnward_, landedBackward_, when, j, nodes_);
  });
}

// `part` of the way along; `sign` turns the motion into one from the older to the newer key frame.
void TweenField::Land(const FlowGrid& grid, float part, float sign, LandingGrid* landed) const {
  landed->Fill({});
  for (int j = 0; j < grid.Height(); ++j) {
    for (int i = 0; i < grid.Width(); ++i) {
      const FlowNode& from = grid.At(i, j);
      const int x = NodeAt(CentreOf(i) + part * from.motion.x);
      const int y = NodeAt(CentreOf(j) + part * from.motion.y);
      if (x < 0 || y < 0 || x >= grid.Width() || y >= grid.Height()) continue;
      Landing& here = landed->At(x, y);
      if (!here.taken || from.cost < here.cost) here = {from.motion * sign, from.cost, true};
    }
  }
}

}  // namespace kiv::tween
#endif  // HWY_ONCE
