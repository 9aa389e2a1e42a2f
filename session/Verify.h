// Checks that each frame of a clip's result is the same in every order of requests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/Api.h"
#include "session/ClipOptions.h"
#include "session/Progress.h"

namespace kiv::session {

struct VerifyResult {
  int32_t frames = 0;  // compared
  // Those that differ from what playing forward shows, ascending.
  std::vector<int32_t> backward, random;
  int64_t picturesLost = 0;  // could not be decoded and were replaced

  bool Agrees() const { return backward.empty() && random.empty(); }
};

// Pulls the frames `frames` of the result forward, backward and at random.
// Errors:   SessionError, as for Clip.
// Saves the clip's settings to `saveSettings` afterwards unless that is empty.
KIV_SESSION_API VerifyResult Verify(const std::string& path, const ClipOptions& options,
                                    const FrameSpan& frames = {},
                                    const ProgressFunction& progress = {},
                                    const std::string& saveSettings = {});

}  // namespace kiv::session
