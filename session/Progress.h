// How far long work is, and the way to end it.
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

// Called on the thread that does the work, often: also when nothing was done since the last call.
// False ends the work with ErrorCode::kCancelled; an exception ends it too and is passed on. May be
// empty.
using ProgressFunction = std::function<bool(const Progress&)>;

// Passes it on; throws when the answer ends the work.
KIV_SESSION_API void Report(const ProgressFunction& function, const Progress& progress);

}  // namespace kiv::session
