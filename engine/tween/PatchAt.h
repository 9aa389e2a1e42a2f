// Where a window lies whose place is no whole number of pixels.
//
// Units:    pixels of the plane.
#pragma once

#include <algorithm>

#include "engine/motion/LumaKernel.h"
#include "engine/tween/MotionGrid.h"
#include "engine/tween/PatchKernel.h"
#include "kiv/values/Saturate.h"

namespace kiv::tween {

// The window of a node is centred on its square.
constexpr int kPatchLead = (kPatchSide - kNodeStep) / 2;
constexpr int CornerOf(int node) { return node * kNodeStep - kPatchLead; }

// The window at (x, y), held where the plane's margin covers it.
inline PatchPlace PatchAt(const LumaPlane& plane, float x, float y) {
  // Two more than a window and its last column need.
  constexpr int kReach = LumaPlane::kMargin - 2;
  const auto inside = [](float at, int size) {
    const float most = static_cast<float>(size + kReach - kPatchSide - 2);
    const float held = std::clamp(at, -static_cast<float>(kReach), most);
    // Cutting off rounds down when nothing is below 0.
    return SaturateToInt32((held + kReach) * 16 + 0.5F) - kReach * 16;
  };
  const int atX = inside(x, plane.Size().width), atY = inside(y, plane.Size().height);
  return {plane.Row(atY >> 4) + (atX >> 4), plane.Stride(), atX & 15, atY & 15};
}

}  // namespace kiv::tween
