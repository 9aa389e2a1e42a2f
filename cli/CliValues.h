// The texts of option values that only kivclip has. `option` is named in the message of the error that
// a wrong text throws.
#pragma once

#include <string_view>

#include "cli/Options.h"

namespace cli {

LogLevel ReadLogLevel(std::string_view option, std::string_view text);  // filter
ProgressForm ReadProgress(std::string_view option, std::string_view text);

}  // namespace cli
