// The engine's image processor. It is asked for and handed on to KivCommon::ImageFunc, which does
// without one as well.
//
// Threads:  any; it has no operation.
#pragma once

#include "kiv/platform/KivComPtr.h"

struct KIV_EXPORT IKivImageProc : IUnknown {
  static constexpr GUID kIid{
      0x2B2E53CA, 0xBA16, 0xB9EC, {0xA6, 0x08, 0x2C, 0x84, 0xE7, 0xE7, 0x58, 0xB1}};
};

constexpr GUID kImageProcClassId{
    0x372E55D4, 0x765A, 0xD971, {0x37, 0x63, 0x78, 0x90, 0x91, 0xAC, 0xFE, 0xDC}};
