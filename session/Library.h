// What a program sets once for the whole library.
#pragma once

#include "session/Api.h"

namespace kiv::session {

// What the default logger writes to standard error.
enum class LogLevel { kNothing, kCreation, kFilter, kFailure };

// Messages less grave than `threshold` are not written.
KIV_SESSION_API void SetLogLevel(LogLevel threshold);
// Sends the codec libraries' own messages through the default logger. Called before the first clip.
KIV_SESSION_API void RouteCodecMessages();
// Makes a closed pipe and a file beyond the size limit failures of a write instead of the end of the
// process.
KIV_SESSION_API void IgnoreWriteSignals();

// Enters the component that came with this library into the registry, or takes it out.
// Errors:   SessionError.
KIV_SESSION_API void RegisterComponent();
KIV_SESSION_API void UnregisterComponent();

}  // namespace kiv::session
