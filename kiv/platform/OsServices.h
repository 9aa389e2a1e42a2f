// Operating-system services by the names a component calls them.
#pragma once

#include <cstdint>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"

// Per-thread entry and exit of the object services. Balanced calls; no further effect here.
KIV_PLATFORM_API HRESULT CoInitialize(void* reserved);
KIV_PLATFORM_API void CoUninitialize();

// Formats into `buffer`, truncates and terminates; E_INVALIDARG for a capacity of 0 or less.
KIV_PLATFORM_API HRESULT StringCchPrintfW(wchar_t* buffer, int32_t capacity, const wchar_t* format,
                                          ...);
