#include "session/ComponentLoader.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "engine/registry/RegistryFile.h"
#include "kiv/component/EntryPoints.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Registry.h"
#include "session/Fail.h"

namespace kiv::session {
namespace {

constexpr char kLibraryName[] = "libkiv.so";
constexpr uint32_t kPathCapacity = 1024;

std::wstring ServerKey() {
  std::array<wchar_t, kGuidTextCapacity> classId{};
  StringFromGUID2(kVideoStreamProcessClassId, classId.data(), kGuidTextCapacity);
  return L"CLSID\\" + std::wstring(classId.data()) + L"\\InprocServer32";
}

// Empty when the class is not registered.
std::string RegisteredPath() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, ServerKey().c_str(), 0, MAXIMUM_ALLOWED, &key) !=
      ERROR_SUCCESS) {
    return {};
  }
  std::array<wchar_t, kPathCapacity> path{};
  uint32_t bytes = sizeof(path);
  const int32_t result = RegQueryValueExW(key, nullptr, path.data(), &bytes);
  RegCloseKey(key);
  return result == ERROR_SUCCESS ? KivCommon::WChar2Char(path.data()) : std::string();
}

std::filesystem::path ProgramFolder() {
  std::error_code ignored;
  return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

// Where this library lies, whatever program it is loaded into.
std::filesystem::path OwnFolder() {
  Dl_info here{};
  if (dladdr(reinterpret_cast<const void*>(&ProgramFolder), &here) == 0) return {};
  return std::filesystem::absolute(here.dli_fname).parent_path();
}

}  // namespace

ComponentLoader ComponentLoader::TryPath(const std::string& path, std::string* reason) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* text = dlerror();
    *reason = text != nullptr ? text : path;
  }
  return {library, path};
}

ComponentLoader ComponentLoader::ByClassId() {
  const std::string registered = RegisteredPath();
  if (registered.empty()) return Own();
  std::string ignored;
  ComponentLoader loader = TryPath(registered, &ignored);
  return loader.library_ != nullptr ? loader : Own();
}

// Beside the program first: a kivclip and its libraries may be moved together.
ComponentLoader ComponentLoader::Own() {
  const std::filesystem::path program = ProgramFolder();
  std::string reason;
  for (const auto& folder :
       {program, program / KIV_LIBRARY_FOLDER, program / "../lib", OwnFolder()}) {
    const auto path = (folder / kLibraryName).lexically_normal();
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) continue;
    ComponentLoader loader = TryPath(path.string(), &reason);
    if (loader.library_ != nullptr) return loader;
  }
  if (reason.empty()) {
    reason = fmt::format("there is no {} near {}", kLibraryName, program.string());
  }
  Fail(ErrorCode::kUnsupported, "cannot load the component: {}", reason);
}

template <typename Function>
Function ComponentLoader::Entry(const char* name) const {
  void* const entry = dlsym(library_, name);
  if (entry == nullptr)
    Fail(ErrorCode::kUnsupported, "'{}' is not the component: it has no {}", path_, name);
  return reinterpret_cast<Function>(entry);
}

KivComPtr<IKivVideoStreamProcessInternal> ComponentLoader::CreateProcess() const {
  const auto getClassObject = Entry<decltype(&DllGetClassObject)>("DllGetClassObject");
  KivComPtr<IClassFactory> factory;
  HRESULT hr = getClassObject(kVideoStreamProcessClassId, IClassFactory::kIid, factory.PutVoid());
  KivComPtr<IKivVideoStreamProcessInternal> process;
  if (Succeeded(hr)) {
    hr = factory->CreateInstance(nullptr, IKivVideoStreamProcessInternal::kIid, process.PutVoid());
  }
  if (Failed(hr) || !process) {
    FailRun("'{}' does not make the component: result {:08x}", path_, static_cast<uint32_t>(hr));
  }
  return process;
}

namespace {

// Standard output leads nowhere meanwhile: the component's registration writes marks to it, and a
// command's output is data only.
class SilentOutput {
 public:
  SilentOutput() : kept_(dup(STDOUT_FILENO)), nowhere_(open("/dev/null", O_WRONLY | O_CLOEXEC)) {
    std::fflush(stdout);
    if (kept_ >= 0 && nowhere_ >= 0) dup2(nowhere_, STDOUT_FILENO);
  }
  ~SilentOutput() {
    std::fflush(stdout);
    if (kept_ >= 0) {
      dup2(kept_, STDOUT_FILENO);
      close(kept_);
    }
    if (nowhere_ >= 0) close(nowhere_);
  }
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;

 private:
  const int kept_;
  const int nowhere_;
};

}  // namespace

// The entry points report no registry failure, so it is asked for and the result is looked up.
void ComponentLoader::Register() const {
  kiv::TakeRegistryFailure();
  HRESULT hr = S_OK;
  {
    const SilentOutput silence;
    hr = Entry<decltype(&DllRegisterServer)>("DllRegisterServer")();
  }
  if (hr == E_INVALIDARG) {
    FailRun("cannot register '{}': its path is longer than {} characters", path_,
            kMaxRegisteredPath);
  }
  std::error_code ignored;
  const std::string registered = RegisteredPath();
  CheckRegistry("register");
  if (registered.empty() || !std::filesystem::equivalent(registered, path_, ignored)) {
    FailRun("cannot register '{}': the registry file '{}' holds something else by now", path_,
            kiv::RegistryPath());
  }
}

void ComponentLoader::Unregister() const {
  kiv::TakeRegistryFailure();
  Entry<decltype(&DllUnregisterServer)>("DllUnregisterServer")();
  const std::string registered = RegisteredPath();
  CheckRegistry("unregister");
  if (!registered.empty()) {
    FailRun("cannot unregister '{}': the registry file '{}' holds '{}' by now", path_,
            kiv::RegistryPath(), registered);
  }
}

void ComponentLoader::CheckRegistry(const char* verb) const {
  const std::string failure = kiv::TakeRegistryFailure();
  if (!failure.empty()) FailRun("cannot {} '{}': {}", verb, path_, failure);
}

}  // namespace kiv::session
