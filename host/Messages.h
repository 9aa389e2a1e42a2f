// Messages to the user, on standard error: one line each.
#pragma once

#include <string_view>

namespace host {

// Line ends and control characters in `text` (file names may hold them) become blanks.
void PrintMessage(std::string_view text);

}  // namespace host
