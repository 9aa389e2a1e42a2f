#include "kiv/platform/OsServices.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

TEST(StringCchPrintfW, CutsAndTerminates) {
  wchar_t buffer[8];
  EXPECT_EQ(S_OK, StringCchPrintfW(buffer, 8, L"%ls-%d", L"abc", 12));
  EXPECT_STREQ(L"abc-12", buffer);
  EXPECT_EQ(S_OK, StringCchPrintfW(buffer, 8, L"%07d", 12)) << "fills the buffer exactly";
  EXPECT_STREQ(L"0000012", buffer);
  EXPECT_EQ(E_INSUFFICIENT_BUFFER, StringCchPrintfW(buffer, 8, L"%ls", L"12345678"));
  EXPECT_STREQ(L"1234567", buffer);
  EXPECT_EQ(E_INSUFFICIENT_BUFFER, StringCchPrintfW(buffer, 1, L"x"));
  EXPECT_STREQ(L"", buffer);
}

TEST(StringCchPrintfW, RefusesWhatItCannotWriteTo) {
  wchar_t buffer[2] = L"x";
  EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(buffer, 0, L"y"));
  EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(buffer, -1, L"y"));
  EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(nullptr, 2, L"y"));
  EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(buffer, 2, nullptr));
  EXPECT_STREQ(L"x", buffer);
}

TEST(CoInitialize, CountsForEachThread) {
  EXPECT_EQ(S_OK, CoInitialize(nullptr));
  EXPECT_EQ(S_FALSE, CoInitialize(nullptr));
  std::thread([] {
    CoUninitialize();  // one too many
    EXPECT_EQ(S_OK, CoInitialize(nullptr));
    CoUninitialize();
  }).join();
  CoUninitialize();
  EXPECT_EQ(S_FALSE, CoInitialize(nullptr));
  CoUninitialize();
  CoUninitialize();
  EXPECT_EQ(S_OK, CoInitialize(nullptr));
  CoUninitialize();
}

}  // namespace
