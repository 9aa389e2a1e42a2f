// Settings of the whole process.
#pragma once

#include "session/Api.h"

namespace kiv::session {

// What the default logger writes to standard error.
enum class LogLevel { kNothing, kCreation, kFilter, kFailure };

// Messages below `threshold` are not written.
KIV_SESSION_API void SetLogLevel(LogLevel threshold);
// Sends the codec libraries' own messages through the default logger. Called before the first clip.
KIV_SESSION_API void RouteCodecMessages();

// Enters the component that came with this library into the registry, or removes it.
// Errors:   SessionError.
KIV_SESSION_API void RegisterComponent();
KIV_SESSION_API void UnregisterComponent();

}  // namespace kiv::session
