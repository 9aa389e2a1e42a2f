#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "kiv/component/EntryPoints.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Registry.h"
#include "test/support/TemporaryFolder.h"

namespace {

const std::wstring kClassKey = L"CLSID\\{49C50440-156C-41D2-9B56-87006D5B8110}";

// Over a registry file of the test's own.
struct Registration : testing::Test {
  void SetUp() override { setenv("KIV_REGISTRY", (folder / "registry.json").c_str(), 1); }
  void TearDown() override { unsetenv("KIV_REGISTRY"); }

  static void Create(const std::wstring& path) {
    HKEY key = nullptr;
    RegCreateKeyW(HKEY_CLASSES_ROOT, path.c_str(), &key);
    RegCloseKey(key);
  }
  // "no key" and "no value" where there is none.
  static std::wstring ValueOf(const std::wstring& path, const wchar_t* name = nullptr) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, MAXIMUM_ALLOWED, &key) != ERROR_SUCCESS) {
      return L"no key";
    }
    wchar_t text[1024] = {};
    uint32_t bytes = sizeof text;
    const int32_t error = RegQueryValueExW(key, name, text, &bytes);
    RegCloseKey(key);
    return error == ERROR_SUCCESS ? text : L"no value";
  }
  static void Run(HRESULT (*entry)(), const char* written) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(S_OK, entry());
    EXPECT_EQ(written, testing::internal::GetCapturedStdout());
  }

  const kiv::TemporaryFolder folder;
};

TEST_F(Registration, EntersTheClassWithTheLibrarysPath) {
  Run(&DllRegisterServer, "222222222222222");
  EXPECT_EQ(L"KivCommon Component", ValueOf(kClassKey));
  const std::wstring server = kClassKey + L"\\InprocServer32";
  EXPECT_EQ(L"Both", ValueOf(server, L"ThreadingModel"));
  const std::string path = KivCommon::WChar2Char(ValueOf(server).c_str());
  EXPECT_EQ('/', path.front());
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(nullptr, library) << path;
  EXPECT_EQ(reinterpret_cast<void*>(&DllRegisterServer), dlsym(library, "DllRegisterServer"));
  dlclose(library);
}

// A second copy of the library, loaded under `name`.
class LoadedCopy {
 public:
  explicit LoadedCopy(const std::string& name) : library_(dlopen(name.c_str(), RTLD_NOW)) {
    EXPECT_NE(nullptr, library_) << dlerror();
  }
  ~LoadedCopy() { dlclose(library_); }
  LoadedCopy(const LoadedCopy&) = delete;
  LoadedCopy& operator=(const LoadedCopy&) = delete;

  HRESULT Register() const {
    const auto entry =
        reinterpret_cast<decltype(&DllRegisterServer)>(dlsym(library_, "DllRegisterServer"));
    EXPECT_NE(&DllRegisterServer, entry);
    testing::internal::CaptureStdout();
    const HRESULT hr = entry();
    testing::internal::GetCapturedStdout();
    return hr;
  }

 private:
  void* const library_;
};

std::filesystem::path LibraryOfThisTest() {
  Dl_info info{};
  EXPECT_NE(0, dladdr(reinterpret_cast<void*>(&DllRegisterServer), &info));
  return info.dli_fname;
}

TEST_F(Registration, EntersThePathThatARelativeNameHadWhenItWasLoaded) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::copy_file(LibraryOfThisTest(), folder / "copy.so");
  std::filesystem::current_path(folder / "");
  const LoadedCopy copy("./copy.so");
  std::filesystem::current_path(before);
  EXPECT_EQ(S_OK, copy.Register());
  EXPECT_EQ((folder / "copy.so").wstring(), ValueOf(kClassKey + L"\\InprocServer32"));
}

TEST_F(Registration, RefusesAPathThatTheRegistryWouldCut) {
  // The longest path that is taken, and one more.
  const size_t above = (folder / "").string().size();
  for (const size_t length : {size_t{259}, size_t{260}}) {
    const std::string deep = std::string(150, 'd') + "/" + std::string(length - above - 151, 'c');
    const std::filesystem::path path = folder / deep;
    ASSERT_EQ(length, path.string().size());
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::copy_file(LibraryOfThisTest(), path);
    const LoadedCopy copy(path.string());
    EXPECT_EQ(length == 259 ? S_OK : E_INVALIDARG, copy.Register());
    EXPECT_EQ(length == 259 ? path.wstring() : L"no key", ValueOf(kClassKey + L"\\InprocServer32"));
    Run(&DllUnregisterServer, "");
  }
}

TEST_F(Registration, IsTakenBackWholeAndTwiceAndLeavesOtherClassesAlone) {
  Create(L"CLSID\\{other}\\InprocServer32");
  Run(&DllRegisterServer, "222222222222222");
  Create(kClassKey + L"\\a\\b\\c");
  Run(&DllUnregisterServer, "");
  EXPECT_EQ(L"no key", ValueOf(kClassKey));
  EXPECT_NE(L"no key", ValueOf(L"CLSID\\{other}\\InprocServer32"));
  Run(&DllUnregisterServer, "");
}

TEST_F(Registration, AFileThatCannotBeWrittenIsNotReported) {
  setenv("KIV_REGISTRY", "/proc/no/such/registry.json", 1);
  Run(&DllRegisterServer, "222222222222222");
  Run(&DllUnregisterServer, "");
}

}  // namespace
