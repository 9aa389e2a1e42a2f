// Named values and the translation of media locations to file paths.
//
// Threads:  any.
// Errors:   E_NOTFOUND, and E_INSUFFICIENT_BUFFER for a text that does not fit, leave the buffer
//           untouched.
#pragma once

#include <cstdint>

#include "kiv/platform/KivComPtr.h"

struct KIV_EXPORT IKivPathService : IUnknown {
  static constexpr GUID kIid{
      0x92B2F536, 0xD238, 0x4EE3, {0x90, 0xFB, 0x2F, 0x6C, 0xFA, 0xC1, 0xF2, 0x5D}};

  virtual HRESULT Reserved3() { return E_NOTIMPL; }
  // Texts are terminated.
  virtual HRESULT GetNamedValue(const wchar_t* name, wchar_t* buffer, int32_t capacity) = 0;
  virtual HRESULT TranslateLocation(const wchar_t* location, wchar_t* buffer, int32_t capacity) = 0;
};

constexpr GUID kPathServiceClassId{
    0x5A704834, 0xBCC4, 0x437B, {0xB1, 0xE4, 0x51, 0x42, 0x72, 0x71, 0x20, 0x0C}};
