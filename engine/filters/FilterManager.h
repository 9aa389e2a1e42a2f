// Makes filters by their GUID text.
//
// Threads:  any.
#pragma once

#include "kiv/platform/Filters.h"

namespace kiv {

// The creation functions of the manager's, the device's and the image processor's class.
HRESULT CreateFilterManagerObject(IUnknown* outer, const GUID& iid, void** object);
HRESULT CreateDeviceObject(IUnknown* outer, const GUID& iid, void** object);
HRESULT CreateImageProcObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
