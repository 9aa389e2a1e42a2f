// Lines for the user.
#pragma once

#include <fmt/format.h>

#include <utility>

#include "session/ClipOptions.h"

namespace kiv::session {

template <typename... Args>
void Tell(const NoteFunction& onNote, fmt::format_string<Args...> format, Args&&... args) {
  if (onNote) onNote(fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace kiv::session
