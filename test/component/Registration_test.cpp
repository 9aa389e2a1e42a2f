#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "kiv/component/EntryPoints.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Registry.h"

namespace {

constexpr wchar_t kClassKey[] = L"CLSID\\{49C50440-156C-41D2-9B56-87006D5B8110}";

// A registry file of the test's own.
class Registration : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "kiv-registry-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(name.data()));
    folder_ = name;
    setenv("KIV_REGISTRY", (folder_ / "registry.json").c_str(), 1);
  }
  void TearDown() override {
    unsetenv("KIV_REGISTRY");
    std::filesystem::remove_all(folder_);
  }

  static bool Exists(const wchar_t* path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, MAXIMUM_ALLOWED, &key) != ERROR_SUCCESS) {
      return false;
    }
    RegCloseKey(key);
    return true;
  }
  static std::wstring ValueOf(const std::wstring& path, const wchar_t* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, MAXIMUM_ALLOWED, &key) != 0) return L"?";
    wchar_t text[1024] = {};
    uint32_t bytes = sizeof text;
    const int32_t error = RegQueryValueExW(key, name, text, &bytes);
    RegCloseKey(key);
    return error == ERROR_SUCCESS ? text : L"?";
  }
  static std::string WrittenBy(HRESULT (*entry)(), HRESULT expected) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(expected, entry());
    return testing::internal::GetCapturedStdout();
  }

  std::filesystem::path folder_;
};

TEST_F(Registration, EntersTheClassWithTheLibrarysPath) {
  EXPECT_EQ("222222222222222", WrittenBy(&DllRegisterServer, S_OK));
  EXPECT_EQ(L"KivCommon Component", ValueOf(kClassKey, nullptr));
  const std::wstring server = std::wstring(kClassKey) + L"\\InprocServer32";
  EXPECT_EQ(L"Both", ValueOf(server, L"ThreadingModel"));

  const std::string path = KivCommon::WChar2Char(ValueOf(server, nullptr).c_str());
  EXPECT_TRUE(std::filesystem::path(path).is_absolute());
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(nullptr, library) << path;
  EXPECT_EQ(reinterpret_cast<void*>(&DllRegisterServer), dlsym(library, "DllRegisterServer"));
  dlclose(library);
}

TEST_F(Registration, IsTakenBackWholeAndTwice) {
  WrittenBy(&DllRegisterServer, S_OK);
  ASSERT_TRUE(Exists(kClassKey));
  EXPECT_EQ("", WrittenBy(&DllUnregisterServer, S_OK));
  EXPECT_FALSE(Exists(kClassKey));
  EXPECT_EQ("", WrittenBy(&DllUnregisterServer, S_OK));
}

TEST_F(Registration, LeavesOtherClassesAlone) {
  HKEY key = nullptr;
  RegCreateKeyW(HKEY_CLASSES_ROOT, L"CLSID\\{other}\\InprocServer32", &key);
  RegCloseKey(key);
  WrittenBy(&DllRegisterServer, S_OK);
  WrittenBy(&DllUnregisterServer, S_OK);
  EXPECT_TRUE(Exists(L"CLSID\\{other}\\InprocServer32"));
}

TEST_F(Registration, TakesSubkeysOfOthersWithIt) {
  WrittenBy(&DllRegisterServer, S_OK);
  HKEY key = nullptr;
  const std::wstring deep = std::wstring(kClassKey) + L"\\a\\b\\c";
  RegCreateKeyW(HKEY_CLASSES_ROOT, deep.c_str(), &key);
  RegCloseKey(key);
  WrittenBy(&DllUnregisterServer, S_OK);
  EXPECT_FALSE(Exists(kClassKey));
}

TEST_F(Registration, AFileThatCannotBeWrittenIsNotReported) {
  setenv("KIV_REGISTRY", "/proc/no/such/registry.json", 1);
  EXPECT_EQ("222222222222222", WrittenBy(&DllRegisterServer, S_OK));
  EXPECT_EQ("", WrittenBy(&DllUnregisterServer, S_OK));
}

}  // namespace
