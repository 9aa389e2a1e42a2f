#include "kiv/component/Factory.h"

HRESULT CFactory::QueryInterface(const GUID& iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (iid != IUnknown::kIid && iid != IClassFactory::kIid) return E_NOINTERFACE;
  *object = static_cast<IClassFactory*>(this);
  AddRef();
  return S_OK;
}

uint32_t CFactory::AddRef() {
  return static_cast<uint32_t>(count_.fetch_add(1, std::memory_order_relaxed) + 1);
}

uint32_t CFactory::Release() {
  const int32_t count = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (count == 0) delete this;
  return static_cast<uint32_t>(count);
}

HRESULT CFactory::CreateInstance(IUnknown* outer, const GUID& iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (outer && iid != IUnknown::kIid) return CLASS_E_NOAGGREGATION;
  HRESULT result = S_OK;
  scombase::CUnknown* const made = entry_.create(outer, &result);
  if (Failed(result)) return result;
  result = made->NonDelegatingQueryInterface(iid, object);
  // The creation reference; without an answer this ends the object.
  made->NonDelegatingRelease();
  return result;
}

HRESULT CFactory::LockServer(int32_t lock) {
  if (!lock) return scombase::UnlockModule() ? S_OK : E_FAIL;
  scombase::LockModule();
  return S_OK;
}
