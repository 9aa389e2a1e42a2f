// The four functions that the component's library exports, and the one class it makes.
#pragma once

#include <cstddef>

#include "kiv/values/Unknown.h"

constexpr GUID kVideoStreamProcessClassId{
    0x49C50440, 0x156C, 0x41D2, {0x9B, 0x56, 0x87, 0x00, 0x6D, 0x5B, 0x81, 0x10}};

// Characters of the library's path that the registry takes.
constexpr size_t kMaxRegisteredPath = 259;

extern "C" {
// `iid` is IUnknown or IClassFactory; anything else gives E_NOINTERFACE before the class is looked up.
KIV_EXPORT HRESULT DllGetClassObject(const GUID& classId, const GUID& iid, void** object);
// S_OK while no object and no server lock is alive, else S_FALSE.
KIV_EXPORT HRESULT DllCanUnloadNow();
// Enters the path that the library was loaded from. E_INVALIDARG when it is longer than
// kMaxRegisteredPath: then nothing is entered. What the registry refuses is not reported.
KIV_EXPORT HRESULT DllRegisterServer();
KIV_EXPORT HRESULT DllUnregisterServer();
}
