// Finds where each window of one picture has gone in another, from coarse to fine.
//
// On every level a window starts from what the coarser level found, from what its neighbours found
// and from standing still, takes the best of these and follows the slope from there.
//
// Units:    pixels of the finest level.
// Owns:     the grids of all levels.
// Threads:  one caller at a time for each search; two searches may run at once.
// Errors:   throws std::bad_alloc.
#pragma once

#include <vector>

#include "engine/motion/LumaPyramid.h"
#include "engine/tween/MotionGrid.h"
#include "engine/tween/RowPool.h"

namespace kiv::tween {

class FlowSearch {
 public:
  // Pyramids of pictures of one size.
  void Run(const LumaPyramid& from, const LumaPyramid& to);

  const FlowGrid& Grid() const { return levels_.front(); }

 private:
  static void Start(const KivSize& plane, const FlowGrid* coarser, FlowGrid* grid);

  std::vector<FlowGrid> levels_;
};

}  // namespace kiv::tween
