#include "session/Progress.h"

#include "session/SessionError.h"

namespace kiv::session {

void Report(const ProgressFunction& function, const Progress& progress) {
  if (function && !function(progress)) throw SessionError(ErrorCode::kCancelled, "cancelled");
}

}  // namespace kiv::session
