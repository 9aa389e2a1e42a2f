// Ends work in the session library and its front ends: throws a SessionError with a formatted line.
#pragma once

#include <fmt/format.h>

#include <utility>

#include "session/SessionError.h"

namespace kiv::session {

template <typename... Args>
[[noreturn]] void Fail(ErrorCode code, fmt::format_string<Args...> format, Args&&... args) {
  throw SessionError(code, fmt::format(format, std::forward<Args>(args)...));
}

// An option does not fit.
template <typename... Args>
[[noreturn]] void FailUsage(fmt::format_string<Args...> format, Args&&... args) {
  Fail(ErrorCode::kInvalidArgument, format, std::forward<Args>(args)...);
}

// The work could not be done, for a reason that has no code of its own.
template <typename... Args>
[[noreturn]] void FailRun(fmt::format_string<Args...> format, Args&&... args) {
  Fail(ErrorCode::kFailed, format, std::forward<Args>(args)...);
}

}  // namespace kiv::session
