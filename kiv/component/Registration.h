// Writes the component's classes into the registry and takes them out again.
//
// Threads:  any; the registry survives two writers.
#pragma once

#include <string>

// Enters every class with `modulePath`. A failing registry call skips the rest of its class.
void RegisterComponent(const std::wstring& modulePath);
// Deletes the first class's key with all its subkeys, where it exists.
void UnregisterComponent();
