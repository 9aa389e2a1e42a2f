// The progress of long work, and a way to cancel it.
#pragma once

#include <cstdint>
#include <functional>

#include "session/Api.h"

namespace kiv::session {

enum class Stage {
  kOpening,  // reading a file whose frames have to be counted
  kAnalysis,
  kRender,
  kVerify
};

struct Progress {
  Stage stage = Stage::kRender;
  int64_t done = 0, total = 0;  // frames; bytes while opening
};

// Called often on the thread that does the work, also if nothing was done since the last call. False
// ends the work with ErrorCode::kCancelled. An exception ends it too and reaches the caller. May be
// empty.
using ProgressFunction = std::function<bool(const Progress&)>;

// Calls `function`; throws if its answer ends the work.
KIV_SESSION_API void Report(const ProgressFunction& function, const Progress& progress);

}  // namespace kiv::session
