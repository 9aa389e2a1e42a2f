// Writes the component's classes into the registry and takes them out again.
//
// Threads:  any; the registry survives two writers.
#pragma once

#include <string>

#include "kiv/values/ResultCodes.h"

// Enters every class with `modulePath`. A failing registry call skips the rest of its class.
// E_INVALIDARG, and nothing is entered, when the path is longer than kMaxRegisteredPath.
HRESULT RegisterComponent(const std::wstring& modulePath);
// Deletes the first class's key with all its subkeys, where it exists.
void UnregisterComponent();
