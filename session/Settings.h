// Settings files: a clip's whole property bag as JSON.
//
// Errors:   SessionError naming the file and what is wrong with it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kiv/platform/Properties.h"

namespace kiv::session {

KivPropDecorator ReadSettings(const std::string& path);
// Replaces the file in one step.
void WriteSettings(IKivProperties* bag, const std::string& path);

// Texts that front ends keep in a clip's settings, by key.
using SettingsTexts = std::vector<std::pair<std::string, std::string>>;
void StoreTexts(const SettingsTexts& texts, IKivProperties* settings);

// A whole file of bounded size. `what` is what messages call it: "the settings".
std::string ReadTextFile(const std::string& path, const char* what);

}  // namespace kiv::session
