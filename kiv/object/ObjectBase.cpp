#include "kiv/object/ObjectBase.h"

#include <algorithm>

namespace scombase {

CUnknown::CUnknown(IUnknown* outer) : owner_(outer ? outer : &inner_) {}

CUnknown::~CUnknown() = default;

HRESULT CUnknown::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (!object) return E_POINTER;
  if (iid == IUnknown::kIid) return HandOut(&inner_, object);
  *object = nullptr;
  return E_NOINTERFACE;
}

uint32_t CUnknown::NonDelegatingAddRef() {
  const int32_t count = count_.fetch_add(1, std::memory_order_relaxed) + 1;
  return std::max<uint32_t>(static_cast<uint32_t>(count), 1);
}

uint32_t CUnknown::NonDelegatingRelease() {
  const int32_t count = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (count != 0) return std::max<uint32_t>(static_cast<uint32_t>(count), 1);
  // Destructors of parts may take references to their owner and give them back; those must not
  // bring the count to 0 a second time.
  count_.store(1, std::memory_order_relaxed);
  delete this;
  return 0;
}

}  // namespace scombase
