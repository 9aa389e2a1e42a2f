// Makes filters by their GUID text.
//
// Threads:  any.
#pragma once

#include "kiv/platform/Filters.h"

namespace kiv {

// The creation functions of the manager's and the device's class.
HRESULT CreateFilterManagerObject(IUnknown* outer, const GUID& iid, void** object);
HRESULT CreateDeviceObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
