#include "engine/media/keep/PictureMemory.h"

#include "engine/media/keep/PicturePool.h"

namespace kiv {

HRESULT CPictureMemory::SetLimit(int64_t bytes) {
  if (bytes < 0) return E_INVALIDARG;
  PicturePool::Shared().SetLimit(bytes);
  return S_OK;
}

HRESULT CPictureMemory::GetUse(KivPictureMemory* use) {
  if (!use) return E_POINTER;
  const PicturePoolFigures figures = PicturePool::Shared().Figures();
  *use = {figures.limit, figures.bytesNow, figures.bytesAtMost};
  return S_OK;
}

HRESULT CreatePictureMemoryObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CPictureMemory>(outer, iid, object);
}

}  // namespace kiv
