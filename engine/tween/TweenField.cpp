#include "engine/tween/TweenField.h"

#include <cmath>
#include <utility>

#include "engine/tween/PatchAt.h"

namespace kiv::tween {
namespace {

constexpr float kRoughness = kPatchPixels * 16 * 16 * 1.0F;
constexpr float kFarApart = 4;  // square of pixels; beyond it disagreement costs no more
constexpr float kLeastSlope = kPatchPixels * 8.0F;
constexpr float kSame = 1.0F / 64;
constexpr float kNothing = -1;  // the cost of a node where nothing landed

float Penalty(const Motion& a, const Motion& b) { return std::min(SquareOf(a - b), kFarApart); }

float CentreOf(int node) { return static_cast<float>(node * kNodeStep) + kNodeStep / 2.0F; }

int NodeAt(float position) { return SaturateToInt32(std::floor(position / kNodeStep)); }

// Compares the key frames along motions through one node.
class Crossing {
 public:
  Crossing(const PairMotion& pair, float when, int i, int j)
      : pair_(pair),
        when_(when),
        x_(static_cast<float>(CornerOf(i))),
        y_(static_cast<float>(CornerOf(j))) {}

  PairSums Sums(const Motion& v) const {
    const float back = -when_, on = 1 - when_;
    return ComparePair(PatchAt(pair_.older, x_ + back * v.x, y_ + back * v.y),
                       PatchAt(pair_.newer, x_ + on * v.x, y_ + on * v.y));
  }

  static float CostOf(const PairSums& sums) {
    const auto d = static_cast<float>(sums.d);
    return static_cast<float>(sums.dd) - 0.5F * d * d / kPatchPixels;
  }

  // How much better the windows would fit a little farther on.
  static Motion Step(const PairSums& sums) {
    const float xx = static_cast<float>(sums.xx) + kLeastSlope;
    const float yy = static_cast<float>(sums.yy) + kLeastSlope;
    const auto xy = static_cast<float>(sums.xy);
    const auto dx = static_cast<float>(sums.dx), dy = static_cast<float>(sums.dy);
    const float scale = 1.0F / (8 * (xx * yy - xy * xy));
    return {(yy * dx - xy * dy) * scale, (xx * dy - xy * dx) * scale};
  }

 private:
  const PairMotion& pair_;
  const float when_, x_, y_;
};

}  // namespace

void TweenField::Choose(const PairMotion& pair, float when, RowPool& pool) {
  const KivSize& size = pair.older.Size();
  nodes_.Resize(size);
  former_.Resize(size);
  landedOnward_.Resize(size);
  landedBackward_.Resize(size);
  pool.Run(2, [&](int which) {
    if (which == 0) Land(pair.onward, when, 1, &landedOnward_);
    if (which == 1) Land(pair.backward, 1 - when, -1, &landedBackward_);
  });
  const int rows = nodes_.Height();
  pool.Run(rows, [&](int j) { ChooseRow(pair, when, j); });
  for (int round = 0; round < 2; ++round) {
    std::swap(nodes_, former_);
    pool.Run(rows, [&](int j) { AgreeRow(pair, when, j); });
  }
  pool.Run(rows, [&](int j) { WeighRow(pair, when, j); });
}

// `part` of the way along; `sign` turns the motion into one from the older to the newer key frame.
void TweenField::Land(const FlowGrid& grid, float part, float sign, FlowGrid* landed) const {
  landed->Fill({{}, kNothing});
  for (int j = 0; j < grid.Height(); ++j) {
    for (int i = 0; i < grid.Width(); ++i) {
      const FlowNode& from = grid.At(i, j);
      const int x = NodeAt(CentreOf(i) + part * from.motion.x);
      const int y = NodeAt(CentreOf(j) + part * from.motion.y);
      if (x < 0 || y < 0 || x >= grid.Width() || y >= grid.Height()) continue;
      FlowNode& here = landed->At(x, y);
      if (here.cost == kNothing || from.cost < here.cost) here = {from.motion * sign, from.cost};
    }
  }
}

void TweenField::ChooseRow(const PairMotion& pair, float when, int j) {
  for (int i = 0; i < nodes_.Width(); ++i) {
    const Crossing crossing(pair, when, i, j);
    TweenNode& node = nodes_.At(i, j);
    node = {{}, Crossing::CostOf(crossing.Sums({})), 1 - when, 1};
    const auto consider = [&](const Motion& motion) {
      if (SquareOf(motion - node.motion) < kSame) return;
      const float cost = Crossing::CostOf(crossing.Sums(motion));
      if (cost < node.cost) node = {motion, cost, 1 - when, 1};
    };
    if (landedOnward_.At(i, j).cost != kNothing) consider(landedOnward_.At(i, j).motion);
    if (landedBackward_.At(i, j).cost != kNothing) consider(landedBackward_.At(i, j).motion);
    consider(pair.onward.At(i, j).motion);
    consider(pair.backward.At(i, j).motion * -1);
  }
}

void TweenField::AgreeRow(const PairMotion& pair, float when, int j) {
  constexpr std::pair<int, int> kAround[] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}};
  for (int i = 0; i < nodes_.Width(); ++i) {
    const Crossing crossing(pair, when, i, j);
    const TweenNode& own = former_.At(i, j);
    const auto disagreement = [&](const Motion& motion) {
      float sum = 0;
      for (const auto& [x, y] : kAround) sum += Penalty(motion, former_.Near(i + x, j + y).motion);
      return kRoughness / 4 * sum;
    };
    PairSums sums = crossing.Sums(own.motion);
    Motion best = own.motion;
    float bestCost = Crossing::CostOf(sums) + disagreement(own.motion);
    const auto consider = [&](const Motion& motion) {
      const PairSums tried = crossing.Sums(motion);
      const float cost = Crossing::CostOf(tried) + disagreement(motion);
      if (cost >= bestCost) return;
      best = motion;
      bestCost = cost;
      sums = tried;
    };
    for (const auto& [x, y] : kAround) {
      const Motion& other = former_.Near(i + x, j + y).motion;
      if (SquareOf(other - best) >= kSame) consider(other);
    }
    const Motion step = Crossing::Step(sums);
    if (SquareOf(step) < 4 && SquareOf(step) > kSame / 16) consider(best + step);
    nodes_.At(i, j) = {best, Crossing::CostOf(sums), own.older, own.trust};
  }
}

void TweenField::WeighRow(const PairMotion& pair, float when, int j) {
  for (int i = 0; i < nodes_.Width(); ++i) {
    TweenNode& node = nodes_.At(i, j);
    const Motion& v = node.motion;
    const auto at = [&](const FlowGrid& grid, float part) {
      return grid.Near(NodeAt(CentreOf(i) + part * v.x), NodeAt(CentreOf(j) + part * v.y)).motion;
    };
    const float off = SquareOf(at(pair.onward, -when) - v);
    const float back = SquareOf(at(pair.backward, 1 - when) + v);
    const float older = (1 - when) / (1 + off), newer = when / (1 + back);
    node.older = older / (older + newer);
    node.trust = 1.0F / (64 * 256 + node.cost);
  }
}

}  // namespace kiv::tween
