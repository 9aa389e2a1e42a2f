// Options that a clip's settings keep beside what the nodes keep there, so that a settings file alone
// repeats a render: each as it was typed, under the key that its row names.
//
// Errors:   SessionError.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/OptionTable.h"
#include "session/SettingsFile.h"

namespace cli {

// Key and text of each.
using KeptOptions = std::vector<std::pair<std::string, std::string>>;

// Fills those of the command's options that were not typed. A codec or quality that does not suit the
// output named now stays out.
void FillFromSettings(const SettingsFile& settings, const CommandRow& command, OptionTexts* texts);

KeptOptions KeptOptionsOf(const OptionTexts& texts);

}  // namespace cli
