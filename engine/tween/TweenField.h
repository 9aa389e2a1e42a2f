// The motion of a picture between two key frames, chosen for each of its own nodes.
//
// A node asks which of the motions that the searches found for it carries the older picture onto the
// newer one at its own place, and whether it does so better than standing still.
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
  float older = 0;  // the older key frame's share, 0 to 1
  float trust = 1;  // as against other nodes
};

// A motion that leads through a node.
struct Landing {
  Motion motion;
  float cost = 0;
  bool taken = false;
};
using LandingGrid = NodeGrid<Landing>;

class TweenField {
 public:
  void Choose(const PairMotion& pair, float when, RowPool& pool);

  const NodeGrid<TweenNode>& Grid() const { return nodes_; }

 private:
  void Land(const FlowGrid& grid, float part, float sign, LandingGrid* landed) const;

  LandingGrid landedOnward_, landedBackward_;
  NodeGrid<TweenNode> nodes_;
};

}  // namespace kiv::tween
