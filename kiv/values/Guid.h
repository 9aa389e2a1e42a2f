// The 128-bit identity of interfaces and classes, and its registry text form.
#pragma once

#include <compare>
#include <cstdint>
#include <cstring>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"

struct GUID {
  uint32_t Data1 = 0;
  uint16_t Data2 = 0;
  uint16_t Data3 = 0;
  uint8_t Data4[8] = {};

  friend bool operator==(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
  }
  friend bool operator<(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) < 0;
  }
};
static_assert(sizeof(GUID) == 16);

// Characters of the braced registry form, terminator included.
constexpr int32_t kGuidTextCapacity = 39;

// Writes "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (upper case) and a terminator. Returns the
// characters written, terminator included, or 0 when `capacity` is below kGuidTextCapacity.
KIV_VALUES_API int32_t StringFromGUID2(const GUID& guid, wchar_t* text, int32_t capacity);

// Reads the braced form, upper or lower case. A malformed or null text gives E_INVALIDARG and an
// all-zero GUID.
KIV_VALUES_API HRESULT CLSIDFromString(const wchar_t* text, GUID* guid);
