// The times of a clip's frames: a regular grid, or each frame's own.
//
// Units:    time int64 in 100 ns from the first frame; stamps in time-base units.
// Threads:  any; a grid does not change.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kiv/base/FrameTime.h"
#include "kiv/values/Export.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

// Stamps in display order against a regular grid that starts at the first of them.
class KIV_ENGINE_API TimeGrid {
 public:
  // `timeBase` is seconds per unit. `hints` are rates that the file announces, best first; those
  // out of any sensible range are passed over.
  TimeGrid(KivRational timeBase, std::vector<KivRational> hints);

  // The rate on whose grid every stamp lies, within a unit of rounding; 0/1 when there is none.
  KivRational Fit(std::span<const int64_t> stamps) const;
  // Whether `stamps`, which begin with frame `firstIndex`, lie on the grid that starts at `origin`.
  bool Fits(std::span<const int64_t> stamps, int64_t firstIndex, int64_t origin,
            const KivRational& rate) const;
  // The same for stamps that begin anew at each of `parts`, the numbers of their first frames.
  KivRational FitParts(std::span<const int64_t> stamps, std::span<const int32_t> parts) const;
  // Frames per second on the whole. `lastDuration` in units may be 0.
  KivRational Average(std::span<const int64_t> stamps, int64_t lastDuration) const;
  // The best guess without any stamps.
  KivRational Announced() const;
  // 100 ns ticks of a count of units, truncated.
  int64_t Ticks(int64_t units) const;
  // The nearest count of units, at least 1.
  int64_t UnitsIn(double seconds) const;

 private:
  std::vector<KivRational> Candidates(double measured) const;

  KivRational timeBase_;
  std::vector<KivRational> hints_;
};

// The customary rate next to `rate` when it is that close, else `rate` itself.
KIV_ENGINE_API KivRational SnapRate(const KivRational& rate);

}  // namespace kiv
