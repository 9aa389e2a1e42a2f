// What is made of the option table for a system to install: the manual page and the completion of
// shells.
#pragma once

#include <string>
#include <string_view>

namespace cli {

// In the man macros of roff.
std::string ManualPage();

// For "bash", "zsh" or "fish"; a usage error for another.
std::string Completion(std::string_view shell);

}  // namespace cli
