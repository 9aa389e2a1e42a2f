// Whether a clip is steadied, and the analysis that it takes.
//
// Errors:   HostError.
#pragma once

#include <cstdint>
#include <string>

#include "cli/Options.h"
#include "kiv/VideoStab/IKivStabExtendControl.h"
#include "kiv/platform/Media.h"
#include "kiv/platform/Properties.h"

namespace host {

// What the options say and, where they are silent, what the clip's settings hold.
struct Stabilization {
  bool isOn = false;
  int32_t level = 0;
};
Stabilization StabilizationOf(const ChainOptions& options, IKivProperties* settings);

// Tells the clip's settings what the options said.
void StoreStabilization(const Stabilization& stabilization, IKivProperties* settings);

// Which source the motion data are for, in the bags that a chain is initialized with. `input` is the
// clip's path as it was given.
void DescribeSource(const std::string& input, const KivStreamInfo& info, IKivProperties* settings,
                    IKivProperties* facts);

// Measures the clip's motion; false when there are data that fit. Shows progress; an interrupt ends
// it.
bool Analyse(IKivStabExtendControl& control, const std::string& input, int32_t frameCount,
             ProgressForm form);

}  // namespace host
