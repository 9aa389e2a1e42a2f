#include "kiv/platform/Registry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

class Registry : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "kiv-registry-XXXXXX").string();
    ASSERT_NE(nullptr, ::mkdtemp(name.data()));
    folder_ = name;
    file_ = folder_ / "below" / "registry.json";
    ::setenv("KIV_REGISTRY", file_.c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("KIV_REGISTRY");
    fs::remove_all(folder_);
  }

  static int32_t Create(const wchar_t* path) {
    HKEY key = nullptr;
    const int32_t result = RegCreateKeyW(HKEY_CLASSES_ROOT, path, &key);
    if (result == ERROR_SUCCESS) RegCloseKey(key);
    return result;
  }
  static bool Exists(const wchar_t* path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, MAXIMUM_ALLOWED, &key)) return false;
    RegCloseKey(key);
    return true;
  }
  static int32_t SetDefault(const wchar_t* path, const wchar_t* text) {
    return RegSetValueW(HKEY_CLASSES_ROOT, path, REG_SZ, text, 0);
  }
  // The value's text, "?" followed by the result when there is none.
  static std::wstring Text(const wchar_t* path, const wchar_t* name) {
    HKEY key = nullptr;
    int32_t result = RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, MAXIMUM_ALLOWED, &key);
    if (result) return L"?" + std::to_wstring(result);
    wchar_t buffer[64] = {};
    uint32_t bytes = sizeof(buffer);
    result = RegQueryValueExW(key, name, buffer, &bytes);
    RegCloseKey(key);
    return result ? L"?" + std::to_wstring(result) : buffer;
  }
  void WriteFile(const std::string& text) {
    fs::create_directories(file_.parent_path());
    std::ofstream(file_) << text;
  }
  std::string ReadFile() {
    std::ifstream in(file_);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  fs::path folder_, file_;
};

TEST_F(Registry, KeepsWhatRegistrationWrites) {
  HKEY key = nullptr, server = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CLASSES_ROOT, L"CLSID\\{A}", &key));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueW(key, nullptr, REG_SZ, L"Component", 0));
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(key, L"InprocServer32", &server));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueW(server, nullptr, REG_SZ, L"/lib/\x20ac.so", 0));
  EXPECT_EQ(ERROR_SUCCESS,
            RegSetValueExW(server, L"ThreadingModel", 0, REG_SZ, L"Both", 5 * sizeof(wchar_t)));
  RegCloseKey(server);
  RegCloseKey(key);
  EXPECT_EQ(L"Component", Text(L"clsid\\{a}", nullptr)) << "letter case is ignored";
  EXPECT_EQ(L"/lib/\x20ac.so", Text(L"CLSID\\{A}\\InprocServer32", L""));
  EXPECT_EQ(L"Both", Text(L"CLSID\\{A}\\inprocserver32", L"threadingmodel"));
  EXPECT_EQ(L"?2", Text(L"CLSID\\{A}", L"ThreadingModel"));
  EXPECT_EQ(L"?2", Text(L"CLSID\\{B}", L""));
}

TEST_F(Registry, SettingReplacesAndCreatesKeys) {
  EXPECT_EQ(ERROR_SUCCESS, SetDefault(L"A\\B", L"one"));
  EXPECT_EQ(ERROR_SUCCESS, SetDefault(L"a\\b", L"two"));
  EXPECT_EQ(L"two", Text(L"A\\B", L""));
  EXPECT_EQ(ERROR_SUCCESS, Create(L"A\\B")) << "an existing key is opened";
  EXPECT_EQ(L"two", Text(L"A\\B", L""));
}

TEST_F(Registry, AKeyWithChildrenStays) {
  SetDefault(L"A\\B", L"one");
  EXPECT_EQ(ERROR_ACCESS_DENIED, RegDeleteKeyW(HKEY_CLASSES_ROOT, L"A"));
  EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyW(HKEY_CLASSES_ROOT, L"a\\b"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteKeyW(HKEY_CLASSES_ROOT, L"A\\B"));
  EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyW(HKEY_CLASSES_ROOT, L"A"));
  EXPECT_FALSE(Exists(L"A"));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegDeleteKeyW(HKEY_CLASSES_ROOT, L""));
}

TEST_F(Registry, ChildrenAreEnumerated) {
  Create(L"Top\\Alpha");
  Create(L"Top\\Beta");
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CLASSES_ROOT, L"Top", 0, MAXIMUM_ALLOWED, &key));
  wchar_t name[8] = {};
  uint32_t length = 8;
  EXPECT_EQ(ERROR_SUCCESS, RegEnumKeyExW(key, 0, name, &length));
  EXPECT_STREQ(L"Alpha", name);
  EXPECT_EQ(5u, length);
  EXPECT_EQ(ERROR_MORE_DATA, RegEnumKeyExW(key, 0, name, &length)) << "no room to terminate";
  length = 8;
  EXPECT_EQ(ERROR_SUCCESS, RegEnumKeyExW(key, 1, name, &length));
  EXPECT_STREQ(L"Beta", name);
  EXPECT_EQ(ERROR_NO_MORE_ITEMS, RegEnumKeyExW(key, 2, name, &length));
  RegDeleteKeyW(HKEY_CLASSES_ROOT, L"Top\\Alpha");
  RegDeleteKeyW(HKEY_CLASSES_ROOT, L"Top\\Beta");
  RegDeleteKeyW(HKEY_CLASSES_ROOT, L"Top");
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegEnumKeyExW(key, 0, name, &length)) << "deleted meanwhile";
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegSetValueW(key, nullptr, REG_SZ, L"x", 0));
  RegCloseKey(key);
}

TEST_F(Registry, AQueryReportsTheRoomItNeeds) {
  SetDefault(L"A", L"12345");
  HKEY key = nullptr;
  RegOpenKeyExW(HKEY_CLASSES_ROOT, L"A", 0, 0, &key);
  wchar_t buffer[6];
  uint32_t bytes = 5 * sizeof(wchar_t);
  EXPECT_EQ(ERROR_MORE_DATA, RegQueryValueExW(key, nullptr, buffer, &bytes));
  EXPECT_EQ(6 * sizeof(wchar_t), bytes);
  EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key, nullptr, buffer, &bytes));
  EXPECT_STREQ(L"12345", buffer);
  EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(key, nullptr, nullptr, &bytes));
  RegCloseKey(key);
}

TEST_F(Registry, BadArgumentsAreRefused) {
  HKEY key = nullptr;
  for (const wchar_t* path : {L"\\A", L"A\\", L"A\\\\B"}) {
    EXPECT_EQ(ERROR_INVALID_PARAMETER, Create(path)) << testing::PrintToString(path);
  }
  EXPECT_EQ(ERROR_INVALID_PARAMETER, Create(std::wstring(256, L'n').c_str()));
  std::wstring deep = L"k";
  for (int i = 0; i < 32; ++i) deep += L"\\k";
  EXPECT_EQ(ERROR_INVALID_PARAMETER, Create(deep.c_str()));
  EXPECT_EQ(ERROR_SUCCESS, Create(deep.substr(2).c_str()));
  EXPECT_TRUE(Exists(deep.substr(2).c_str()));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegCreateKeyW(nullptr, L"A", &key));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegCreateKeyW(HKEY_CLASSES_ROOT, L"A", nullptr));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegSetValueW(HKEY_CLASSES_ROOT, L"A", 4, L"x", 0));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegSetValueW(HKEY_CLASSES_ROOT, L"A", REG_SZ, nullptr, 0));
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CLASSES_ROOT, L"A", &key));
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(key));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegCloseKey(key)) << "closed already";
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegSetValueW(key, nullptr, REG_SZ, L"x", 0));
}

TEST_F(Registry, ByteCountsBoundTheText) {
  HKEY key = nullptr;
  RegCreateKeyW(HKEY_CLASSES_ROOT, L"A", &key);
  const wchar_t text[] = {L'a', L'b', L'c'};
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(key, L"v", 0, REG_SZ, text, 2 * sizeof(wchar_t) + 1));
  EXPECT_EQ(L"ab", Text(L"A", L"v"));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(key, L"v", 0, REG_SZ, nullptr, 0));
  EXPECT_EQ(L"", Text(L"A", L"v"));
  RegCloseKey(key);
}

TEST_F(Registry, ADamagedFileIsRefusedAndKept) {
  const std::string deep(5000, '[');
  for (const std::string& text :
       {std::string("{"), std::string("[]"), std::string("{}"), deep,
        std::string(R"({"format":"kiv-registry","version":2,"root":{}})"),
        std::string(R"({"format":"kiv-registry","version":"1","root":{}})"),
        std::string(R"({"format":7,"version":1,"root":{}})"),
        std::string(R"({"format":"kiv-registry","version":1,"root":{"keys":[]}})"),
        std::string(R"({"format":"kiv-registry","version":1,"root":{"values":{"a":1}}})"),
        std::string(R"({"format":"kiv-registry","version":1,"root":{"keys":{"a":7}}})")}) {
    WriteFile(text);
    EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x")) << text.substr(0, 80);
    EXPECT_EQ(L"?5", Text(L"A", L""));
    EXPECT_EQ(text, ReadFile());
  }
}

TEST_F(Registry, WhatIsNoFileIsRefused) {
  fs::create_directories(file_.parent_path());
  ASSERT_EQ(0, ::mkfifo(file_.c_str(), 0600));
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x"));
  EXPECT_FALSE(Exists(L"A"));
  fs::remove(file_);
  fs::create_directories(file_);
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x"));
}

TEST_F(Registry, OnlyTheFileAndItsLockRemain) {
  SetDefault(L"A", L"x");
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(file_.parent_path())) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ((std::vector<std::string>{"registry.json", "registry.json.lock"}), names);
}

TEST_F(Registry, AFolderThatCannotBeMadeIsReported) {
  std::ofstream(folder_ / "below") << "a file where a folder should be";
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x"));
  EXPECT_FALSE(Exists(L"A"));
}

void WriteKeys(wchar_t writer, int count) {
  for (int i = 0; i < count; ++i) {
    const std::wstring path = std::wstring(L"W") + writer + L"\\k" + std::to_wstring(i);
    RegSetValueW(HKEY_CLASSES_ROOT, path.c_str(), REG_SZ, L"x", 0);
  }
}

uint32_t CountKeys(const wchar_t* path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, 0, &key)) return 0;
  wchar_t name[16];
  uint32_t count = 0, length = 16;
  for (; RegEnumKeyExW(key, count, name, &length) == ERROR_SUCCESS; ++count) length = 16;
  RegCloseKey(key);
  return count;
}

TEST_F(Registry, TwoProcessesLoseNothingOfEachOther) {
  constexpr int kCount = 20;
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    WriteKeys(L'c', kCount);
    ::_exit(0);
  }
  std::thread second([] { WriteKeys(L't', kCount); });
  WriteKeys(L'p', kCount);
  second.join();
  int status = -1;
  ASSERT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_EQ(uint32_t{kCount}, CountKeys(L"Wc"));
  EXPECT_EQ(uint32_t{kCount}, CountKeys(L"Wt"));
  EXPECT_EQ(uint32_t{kCount}, CountKeys(L"Wp"));
}

TEST_F(Registry, TheFileIsFoundThroughTheEnvironment) {
  ::unsetenv("KIV_REGISTRY");
  ::setenv("XDG_DATA_HOME", folder_.c_str(), 1);
  EXPECT_EQ(ERROR_SUCCESS, SetDefault(L"A", L"x"));
  EXPECT_TRUE(fs::exists(folder_ / "kiv" / "registry.json"));
  ::unsetenv("XDG_DATA_HOME");
}

}  // namespace
