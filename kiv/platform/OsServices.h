// Operating-system services by the names a component calls them.
#pragma once

#include <cstdint>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"

// Per-thread entry and exit of the object services: S_OK for a thread's first entry, S_FALSE for a
// further one. Balanced calls; an exit too many is ignored.
KIV_PLATFORM_API HRESULT CoInitialize(void* reserved);
KIV_PLATFORM_API void CoUninitialize();

// Formats into `buffer` and terminates. A text that does not fit is cut and gives
// E_INSUFFICIENT_BUFFER; a capacity of 0 or less or a null pointer gives E_INVALIDARG. %s and %ls take
// wide text; numbers are written in the "C" locale.
KIV_PLATFORM_API HRESULT StringCchPrintfW(wchar_t* buffer, int32_t capacity, const wchar_t* format,
                                          ...);
