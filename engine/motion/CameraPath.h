// From measured motion to corrections: the camera's path, a smooth path, and the difference
// between them.
//
// Units:    pixels of the source counted from its centre, degrees; one entry for each frame.
// Threads:  any; nothing is kept.
// Errors:   throws std::bad_alloc.
#pragma once

#include <vector>

#include "kiv/platform/Stabilizer.h"
#include "kiv/values/Export.h"

namespace kiv {

// A point p of the frame is shown at zoom x (R(degrees) p + (dx, dy)).
struct Correction {
  double dx = 0, dy = 0, degrees = 0;
  double zoom = 1;
};

// The smallest zoom with which `correction` shows nothing beyond the frame; its own is ignored.
KIV_ENGINE_API double NeededZoom(const Correction& correction, const KivSize& frame);

// The largest zoom at `level`.
constexpr double MostZoom(int32_t level) { return 1.0 + level / 100.0; }

// The zoom is one for each shot and hides the borders of all its frames. It follows what they need on
// average, so that one large swing does not enlarge the whole shot, and never exceeds MostZoom;
// where a frame would need more, the path keeps more of the camera's own movement. Values that are
// not finite count as no motion.
KIV_ENGINE_API std::vector<Correction> CorrectionsFor(const std::vector<StabMotion>& motions,
                                                      const KivSize& frame, int32_t level);

}  // namespace kiv
