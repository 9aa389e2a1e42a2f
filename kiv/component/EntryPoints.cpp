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

// The library's own absolute path; empty when it cannot be told. No exception leaves it: it runs
// before there is anybody to catch one.
std::string LibraryPath() noexcept {
  return AtBoundaryOr(std::string(), [] {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&LibraryPath), &info) || !info.dli_fname)
      return std::string();
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(info.dli_fname, error);
    return error ? std::string() : path.lexically_normal().string();
  });
}

// Taken when the library is loaded: a relative name holds for the folder of that moment only.
const std::string kLibraryPath = LibraryPath();

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
  // The program that runs the registration looks for this line; nothing else is ever written there.
  std::fputs("222222222222222", stdout);
  std::fflush(stdout);
  return AtBoundary([] {
    const std::wstring path = KivCommon::Char2WChar(kLibraryPath.c_str());
    if (path.empty()) return E_FAIL;
    return RegisterComponent(path);
  });
}

HRESULT DllUnregisterServer() {
  AtBoundary([] {
    UnregisterComponent();
    return S_OK;
  });
  return S_OK;
}
