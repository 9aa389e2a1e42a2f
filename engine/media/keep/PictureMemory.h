// The process's budget of kept pictures, as hosts set it.
//
// Threads:  any.
// Errors:   E_INVALIDARG, E_POINTER.
#pragma once

#include "engine/base/CountedObject.h"
#include "kiv/platform/Media.h"

namespace kiv {

class CPictureMemory final : public CountedObject<IKivPictureMemory> {
 public:
  HRESULT SetLimit(int64_t bytes) override;
  HRESULT GetUse(KivPictureMemory* use) override;
};

// The creation function of kPictureMemoryClassId.
HRESULT CreatePictureMemoryObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
