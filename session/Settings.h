// Settings files: a clip's whole property bag as JSON.
//
// Errors:   HostError naming the file and what is wrong with it.
#pragma once

#include <string>

#include "kiv/platform/Properties.h"

namespace host {

KivPropDecorator ReadSettings(const std::string& path);
// Replaces the file in one step.
void WriteSettings(IKivProperties* bag, const std::string& path);

// A whole file of bounded size. `what` is what messages call it: "the settings".
std::string ReadTextFile(const std::string& path, const char* what);
// Writes a text that way; "-" is standard output.
void WriteTextFile(const std::string& path, const std::string& text);

}  // namespace host
