#include "kiv/platform/Registry.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <thread>

#include "engine/registry/RegistryFile.h"
#include "test/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

int32_t SetDefault(const wchar_t* path, const wchar_t* text) {
  return RegSetValueW(HKEY_CLASSES_ROOT, path, REG_SZ, text, 0);
}

int32_t Delete(const wchar_t* path) { return RegDeleteKeyW(HKEY_CLASSES_ROOT, path); }

// Null when there is no such key; closes it at the end.
struct OpenKey {
  explicit OpenKey(const wchar_t* path) {
    result = RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, MAXIMUM_ALLOWED, &key);
  }
  ~OpenKey() {
    if (key) RegCloseKey(key);
  }

  HKEY key = nullptr;
  int32_t result = 0;
};

// The value's text, "?" followed by the result when there is none.
std::wstring Text(const wchar_t* path, const wchar_t* name) {
  const OpenKey open(path);
  wchar_t buffer[64] = {};
  uint32_t bytes = sizeof(buffer);
  const int32_t result =
      open.result ? open.result : RegQueryValueExW(open.key, name, buffer, &bytes);
  return result ? L"?" + std::to_wstring(result) : buffer;
}

std::set<std::wstring> Children(const wchar_t* path) {
  const OpenKey open(path);
  std::set<std::wstring> names;
  wchar_t name[16];
  uint32_t length = 16;
  for (uint32_t i = 0; RegEnumKeyExW(open.key, i, name, &length) == ERROR_SUCCESS; ++i) {
    names.emplace(name, length);
    length = 16;
  }
  return names;
}

class Registry : public testing::Test {
 protected:
  void SetUp() override { ::setenv("KIV_REGISTRY", file_.c_str(), 1); }
  void TearDown() override { ::unsetenv("KIV_REGISTRY"); }

  kiv::TemporaryFolder folder_;
  const fs::path file_ = folder_ / "below/registry.json";
};

TEST_F(Registry, KeepsWhatRegistrationWrites) {
  HKEY key = nullptr, server = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CLASSES_ROOT, L"CLSID\\{A}", &key));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueW(key, nullptr, REG_SZ, L"Component", 0));
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(key, L"InprocServer32", &server));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueW(server, nullptr, REG_SZ, L"/lib/\x20ac.so", 0));
  EXPECT_EQ(ERROR_SUCCESS,
            RegSetValueExW(server, L"ThreadingModel", 0, REG_SZ, L"Both", 5 * sizeof(wchar_t)));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(server, L"cut", 0, REG_SZ, L"abc", 9));
  RegCloseKey(server);
  RegCloseKey(key);
  EXPECT_EQ(L"Component", Text(L"clsid\\{a}", nullptr)) << "letter case is ignored";
  EXPECT_EQ(L"/lib/\x20ac.so", Text(L"CLSID\\{A}\\InprocServer32", L""));
  EXPECT_EQ(L"Both", Text(L"CLSID\\{A}\\inprocserver32", L"threadingmodel"));
  EXPECT_EQ(L"ab", Text(L"CLSID\\{A}\\InprocServer32", L"cut")) << "the bytes bound the text";
  EXPECT_EQ(L"?2", Text(L"CLSID\\{A}", L"ThreadingModel"));
  EXPECT_EQ(L"?2", Text(L"CLSID\\{B}", L""));
  EXPECT_EQ(ERROR_SUCCESS, SetDefault(L"clsid\\{a}", L"two"));
  EXPECT_EQ(L"two", Text(L"CLSID\\{A}", L""));
}

TEST_F(Registry, AnswersFitTheRoomAndKeysWithChildrenStay) {
  SetDefault(L"Top\\Alpha", L"12345");
  wchar_t text[6];
  uint32_t bytes = 5 * sizeof(wchar_t), length = 5;
  const OpenKey alpha(L"Top\\Alpha"), top(L"Top");
  EXPECT_EQ(ERROR_MORE_DATA, RegQueryValueExW(alpha.key, nullptr, text, &bytes));
  EXPECT_EQ(6 * sizeof(wchar_t), bytes);
  EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExW(alpha.key, nullptr, text, &bytes));
  EXPECT_STREQ(L"12345", text);
  EXPECT_EQ(ERROR_MORE_DATA, RegEnumKeyExW(top.key, 0, text, &length)) << "no room to terminate";
  length = 6;
  EXPECT_EQ(ERROR_SUCCESS, RegEnumKeyExW(top.key, 0, text, &length));
  EXPECT_STREQ(L"Alpha", text);
  EXPECT_EQ(ERROR_NO_MORE_ITEMS, RegEnumKeyExW(top.key, 1, text, &length));
  EXPECT_EQ(ERROR_ACCESS_DENIED, Delete(L"Top")) << "it has children";
  EXPECT_EQ(ERROR_SUCCESS, Delete(L"top\\alpha"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, Delete(L"Top\\Alpha"));
  EXPECT_EQ(ERROR_SUCCESS, Delete(L"Top"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegEnumKeyExW(top.key, 0, text, &length)) << "deleted since";
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegSetValueW(top.key, nullptr, REG_SZ, L"x", 0));
}

TEST_F(Registry, BadArgumentsAreRefused) {
  std::wstring deep = L"k";
  for (int i = 0; i < 32; ++i) deep += L"\\k";
  for (const std::wstring& path : {std::wstring(L"\\A"), std::wstring(L"A\\"),
                                   std::wstring(L"A\\\\B"), std::wstring(256, L'n'), deep}) {
    EXPECT_EQ(ERROR_INVALID_PARAMETER, SetDefault(path.c_str(), L"x"));
  }
  EXPECT_EQ(ERROR_SUCCESS, SetDefault(deep.c_str() + 2, L"x"));
  HKEY key = nullptr;
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegCreateKeyW(nullptr, L"A", &key));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, SetDefault(L"A", nullptr));
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyW(HKEY_CLASSES_ROOT, L"A", &key));
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(key));
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegCloseKey(key)) << "closed already";
  EXPECT_EQ(ERROR_INVALID_PARAMETER, RegSetValueW(key, nullptr, REG_SZ, L"x", 0));
}

TEST_F(Registry, ADamagedFileIsRefusedAndKept) {
  for (const std::string& text :
       {std::string("{"), std::string("[]"), std::string("{}"), std::string(5000, '['),
        std::string(R"({"format":"kiv-registry","version":2,"root":{}})"),
        std::string(R"({"format":"kiv-registry","version":"1","root":{}})"),
        std::string(R"({"format":7,"version":1,"root":{}})"),
        std::string(R"({"format":"kiv-registry","version":1,"root":{"keys":[]}})"),
        std::string(R"({"format":"kiv-registry","version":1,"root":{"values":{"a":1}}})"),
        std::string(R"({"format":"kiv-registry","version":1,"root":{"keys":{"a":7}}})")}) {
    folder_.Write("below/registry.json", text);
    EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x")) << text.substr(0, 80);
    EXPECT_EQ(L"?5", Text(L"A", L""));
    std::ifstream in(file_);
    EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(in), {}));
  }
}

TEST_F(Registry, WhatIsNoFileIsRefused) {
  folder_.Write("below", "a file where a folder should be");
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x"));
  fs::remove(folder_ / "below");
  fs::create_directories(file_);
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x"));
  fs::remove(file_);
  ASSERT_EQ(0, ::mkfifo(file_.c_str(), 0600));
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"x"));
  EXPECT_EQ(L"?5", Text(L"A", L""));
}

void WriteKeys(const std::wstring& top) {
  for (int i = 0; i < 20; ++i) SetDefault((top + L"\\k" + std::to_wstring(i)).c_str(), L"x");
}

// The codes do not tell a full disk from a damaged file.
TEST_F(Registry, AFailureSaysWhatItWas) {
  const auto says = [this](const std::string& what) {
    const std::string failure = kiv::TakeRegistryFailure();
    EXPECT_EQ(
        "the registry file '" + std::string(std::getenv("KIV_REGISTRY")) + "' cannot be " + what,
        failure);
    EXPECT_EQ("", kiv::TakeRegistryFailure());
  };
  kiv::TakeRegistryFailure();  // another test's
  EXPECT_EQ(ERROR_SUCCESS, SetDefault(L"A", L"1"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, Delete(L"B"));
  EXPECT_EQ("", kiv::TakeRegistryFailure()) << "what is not there is no failure";

  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit full{16, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"2"));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  says("written: File too large");
  EXPECT_EQ(L"1", Text(L"A", L""));

  std::ofstream(file_) << "{";
  EXPECT_EQ(L"?5", Text(L"A", L""));
  says("read: it is damaged or of a newer version");
  setenv("KIV_REGISTRY", "/dev/null/registry", 1);
  EXPECT_EQ(ERROR_ACCESS_DENIED, SetDefault(L"A", L"2"));
  says("written: Not a directory");
}

TEST_F(Registry, TwoProcessesLoseNothingOfEachOther) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    WriteKeys(L"Child");
    ::_exit(0);
  }
  std::thread second([] { WriteKeys(L"Thread"); });
  WriteKeys(L"Parent");
  second.join();
  int status = -1;
  ASSERT_EQ(child, ::waitpid(child, &status, 0));
  for (const wchar_t* top : {L"Child", L"Thread", L"Parent"}) EXPECT_EQ(20u, Children(top).size());
  EXPECT_EQ(2, std::distance(fs::directory_iterator(file_.parent_path()), {}))
      << "only the file and its lock remain";
}

}  // namespace
