// The registry that component classes are entered in: a per-user file, through the calls that a
// component makes.
//
// The file is $KIV_REGISTRY, else kiv/registry.json under $XDG_DATA_HOME (or ~/.local/share).
// Key paths use one backslash between names and ignore ASCII letter case.
// Threads:  any. Every change is one atomic replacement of the file and survives two writers.
#pragma once

#include <cstdint>

#include "kiv/values/Export.h"

using HKEY = struct KivRegistryKey*;

KIV_PLATFORM_API HKEY KivRegistryRoot();  // never closed
#define HKEY_CLASSES_ROOT KivRegistryRoot()

// Results are 0 for success, else one of these.
constexpr int32_t ERROR_SUCCESS = 0;
constexpr int32_t ERROR_FILE_NOT_FOUND = 2;  // the key or value does not exist
constexpr int32_t ERROR_ACCESS_DENIED = 5;   // the file cannot be written
constexpr int32_t ERROR_INVALID_PARAMETER = 87;
constexpr int32_t ERROR_MORE_DATA = 234;      // the buffer is too small
constexpr int32_t ERROR_NO_MORE_ITEMS = 259;  // enumeration is past the last child
constexpr uint32_t REG_SZ = 1;                // text
constexpr uint32_t MAXIMUM_ALLOWED = 0x02000000;

// Makes the key (and those above it) when missing. `*result` is closed by the caller.
KIV_PLATFORM_API int32_t RegCreateKeyW(HKEY parent, const wchar_t* path, HKEY* result);
KIV_PLATFORM_API int32_t RegOpenKeyExW(HKEY parent, const wchar_t* path, uint32_t options,
                                       uint32_t access, HKEY* result);
// The default value of `path` under `parent` (null: of parent itself), made when missing.
KIV_PLATFORM_API int32_t RegSetValueW(HKEY parent, const wchar_t* path, uint32_t type,
                                      const wchar_t* text, uint32_t byteCount);
KIV_PLATFORM_API int32_t RegSetValueExW(HKEY key, const wchar_t* name, uint32_t reserved,
                                        uint32_t type, const void* data, uint32_t byteCount);
// Text only; `byteCount` holds the buffer's bytes, then those written with the terminator.
KIV_PLATFORM_API int32_t RegQueryValueExW(HKEY key, const wchar_t* name, wchar_t* buffer,
                                          uint32_t* byteCount);
// `length` holds the buffer's characters, then those written without the terminator.
KIV_PLATFORM_API int32_t RegEnumKeyExW(HKEY key, uint32_t index, wchar_t* name, uint32_t* length);
// Fails with ERROR_ACCESS_DENIED while the key has children.
KIV_PLATFORM_API int32_t RegDeleteKeyW(HKEY parent, const wchar_t* path);
KIV_PLATFORM_API int32_t RegCloseKey(HKEY key);
