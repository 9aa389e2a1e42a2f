// Whether a clip is steadied, and the analysis that it takes.
//
// Errors:   SessionError.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/VideoStab/IKivStabExtendControl.h"
#include "kiv/platform/Media.h"
#include "kiv/platform/Properties.h"
#include "session/ClipOptions.h"
#include "session/Progress.h"

namespace kiv::session {

// What the options say and, where they are silent, what the clip's settings hold.
struct Stabilization {
  bool isOn = false;
  int32_t level = 0;
};
Stabilization StabilizationOf(const ClipOptions& options, IKivProperties* settings);

// Tells the clip's settings what the options said.
void StoreStabilization(const Stabilization& stabilization, IKivProperties* settings);

// Which source the motion data are for, in the bags that a chain is initialized with. `input` is the
// clip's path as it was given.
void DescribeSource(const std::string& input, const KivStreamInfo& info, IKivProperties* settings,
                    IKivProperties* facts);

// Measures the clip's motion; false when there are data that fit. Told of its progress, the host may
// end it.
bool Analyse(IKivStabExtendControl& control, const std::string& input, int32_t frameCount,
             const ProgressFunction& progress);

}  // namespace kiv::session
