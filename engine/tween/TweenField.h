// The motion of a picture between two key frames, chosen for each of its own nodes.
//
// A node asks which of the motions that the searches found near it, or of standing still, carries
// the older picture onto the newer one at its own place; neighbours then argue it out.
//
// Units:    pixels of the brightness planes; `when` is 0 at the older key frame and 1 at the newer.
// Owns:     its grids; their memory is kept.
// Threads:  one caller at a time; works on the pool's threads.
// Errors:   throws std::bad_alloc.
#pragma once

#include "engine/motion/LumaPyramid.h"
#include "engine/tween/FlowSearch.h"
#include "engine/tween/MotionGrid.h"
#include "engine/tween/RowPool.h"

namespace kiv::tween {

// What is known of a pair of key frames.
struct PairMotion {
  const LumaPlane& older;
  const LumaPlane& newer;
  const FlowGrid& onward;    // from the older to the newer
  const FlowGrid& backward;  // from the newer to the older
};

struct TweenNode {
  Motion motion;    // from the older to the newer key frame
  float cost = 0;   // as FlowNode's
  float older = 0;  // the older key frame's share, 0 to 1
  float trust = 1;
};

class TweenField {
 public:
  void Choose(const PairMotion& pair, float when, RowPool& pool);

  const NodeGrid<TweenNode>& Grid() const { return nodes_; }

 private:
  void Land(const FlowGrid& grid, float part, float sign, FlowGrid* landed) const;
  void ChooseRow(const PairMotion& pair, float when, int j);
  void AgreeRow(const PairMotion& pair, float when, int j);
  void WeighRow(const PairMotion& pair, float when, int j);

  FlowGrid landedOnward_, landedBackward_;
  NodeGrid<TweenNode> nodes_, former_;
};

}  // namespace kiv::tween
