// That the values of a host's options are possible ones, whatever the clip. Those read from texts are.
#pragma once

#include "session/ClipOptions.h"

namespace kiv::session {

// Errors:   SessionError: kInvalidArgument naming the option as kivclip spells it.
void CheckValues(const ClipOptions& options);

}  // namespace kiv::session
