// The command line of kivclip: one table of options, read into Options.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/Options.h"

namespace cli {

// Nothing when help or the version was asked for and written to standard output. A wrong
// command line throws a usage error.
std::optional<Options> ReadCommandLine(const std::vector<std::string>& arguments);

}  // namespace cli
