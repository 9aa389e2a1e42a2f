#include "engine/registry/ClassRegistry.h"

#include <utility>

#include "engine/base/Boundary.h"
#include "engine/registry/ClassIds.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {

ClassRegistry& ClassRegistry::Shared() {
  // Never destroyed: objects may be asked for while other statics end.
  static ClassRegistry* const registry = [] {
    auto* const made = new ClassRegistry;
    RegisterBuiltInClasses(*made);
    return made;
  }();
  return *registry;
}

HRESULT ClassRegistry::Add(const GUID& classId, const CreateFunction& create) {
  if (!create) return E_INVALIDARG;
  const MutexLock hold(lock_);
  return classes_.try_emplace(classId, create).second ? S_OK : S_FALSE;
}

CreateFunction ClassRegistry::Replace(const GUID& classId, CreateFunction create) {
  if (!create) return Withdraw(classId);
  const MutexLock hold(lock_);
  return std::exchange(classes_[classId], std::move(create));
}

CreateFunction ClassRegistry::Withdraw(const GUID& classId) {
  const MutexLock hold(lock_);
  const auto found = classes_.find(classId);
  if (found == classes_.end()) return nullptr;
  CreateFunction previous = std::move(found->second);
  classes_.erase(found);
  return previous;
}

CreateFunction ClassRegistry::Find(const GUID& classId) const {
  const MutexLock hold(lock_);
  const auto found = classes_.find(classId);
  return found == classes_.end() ? nullptr : found->second;
}

HRESULT ClassRegistry::Create(const GUID& classId, IUnknown* outer, const GUID& iid,
                              void** object) const {
  if (!object) return E_POINTER;
  *object = nullptr;
  void* made = nullptr;
  const HRESULT hr = AtBoundary([&] {
    const CreateFunction create = Find(classId);
    return create ? create(outer, iid, &made) : CLASS_E_CLASSNOTAVAILABLE;
  });
  if (Failed(hr)) return hr;
  if (!made) return E_FAIL;
  *object = made;
  return hr;
}

ScopedClass::ScopedClass(const GUID& classId, CreateFunction create)
    : classId_(classId), previous_(ClassRegistry::Shared().Replace(classId, std::move(create))) {}

ScopedClass::~ScopedClass() { ClassRegistry::Shared().Replace(classId_, std::move(previous_)); }

}  // namespace kiv

namespace {

template <typename Interface>
KivComPtr<Interface> MakeService(const GUID& classId) {
  KivComPtr<Interface> service;
  KivCommon::GetInterface(classId, nullptr, 0, Interface::kIid, service.PutVoid());
  return service;
}

}  // namespace

namespace KivCommon {

HRESULT GetInterface(const GUID& classId, IUnknown* outer, uint32_t, const GUID& iid,
                     void** object) {
  return kiv::ClassRegistry::Shared().Create(classId, outer, iid, object);
}

KivComPtr<IKivFactory> GetFactory(const wchar_t*) {
  return MakeService<IKivFactory>(kiv::kMediaFactoryClassId);
}

KivComPtr<IKivCGFilterManager> GetCGFilterManager() {
  return MakeService<IKivCGFilterManager>(kiv::kFilterManagerClassId);
}

KivComPtr<IKivCGDevice> GetCGDevice() { return MakeService<IKivCGDevice>(kiv::kDeviceClassId); }

}  // namespace KivCommon
