// What the commands check before they open anything.
#pragma once

#include "cli/Options.h"

namespace cli {

// No file that is read may be written, and none twice; what is written needs a folder.
void CheckFiles(const Options& options);

}  // namespace cli
