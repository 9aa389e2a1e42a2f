#include "kiv/component/EntryPoints.h"

#include <dlfcn.h>

#include <cstdio>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>

#include "kiv/base/AtBoundary.h"
#include "kiv/component/ClassTable.h"
#include "kiv/component/Factory.h"
#include "kiv/component/Registration.h"
#include "kiv/object/ModuleCount.h"
#include "kiv/platform/KivCommon.h"

namespace {

constexpr size_t kPathCapacity = 1024;

// The library's own absolute path; empty when it cannot be told.
std::wstring ModulePath() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&ModulePath), &info) || !info.dli_fname) return {};
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(info.dli_fname, error);
  if (error) return {};
  std::wstring text = KivCommon::Char2WChar(path.lexically_normal().c_str());
  return text.size() < kPathCapacity ? text : std::wstring();
}

}  // namespace

HRESULT DllGetClassObject(const GUID& classId, const GUID& iid, void** object) {
  if (iid != IUnknown::kIid && iid != IClassFactory::kIid) return E_NOINTERFACE;
  if (!object) return E_POINTER;
  const ClassEntry* const entry = FindComponentClass(classId);
  if (!entry) {
    *object = nullptr;
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  IClassFactory* const factory = new (std::nothrow) CFactory(*entry);
  *object = factory;
  return factory ? S_OK : E_OUTOFMEMORY;
}

HRESULT DllCanUnloadNow() { return scombase::CanUnloadModule() ? S_OK : S_FALSE; }

HRESULT DllRegisterServer() {
  // Whoever runs the registration looks for this line; nothing else is ever written there.
  std::fputs("222222222222222", stdout);
  std::fflush(stdout);
  return AtBoundary([] {
    const std::wstring path = ModulePath();
    if (path.empty()) return E_FAIL;
    RegisterComponent(path);
    return S_OK;
  });
}

HRESULT DllUnregisterServer() {
  AtBoundary([] {
    UnregisterComponent();
    return S_OK;
  });
  return S_OK;
}
