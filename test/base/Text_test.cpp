#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

#include "engine/base/WideFormat.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/OsServices.h"

namespace {

using kiv::FormatWideText;
using KivCommon::Char2WChar;
using KivCommon::WChar2Char;

struct TextCase {
  const char* narrow;
  const wchar_t* wide;
};

TEST(TextConversion, WellFormedTextConvertsBothWays) {
  for (const TextCase& test :
       {TextCase{"", L""}, TextCase{"a/\xc2\x80\xdf\xbf", L"a/\x80\x7ff"},
        TextCase{"\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80", L"\x800\xd7ff\xe000"},
        TextCase{"\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", L"\x10000\x10ffff"}}) {
    EXPECT_EQ(test.wide, Char2WChar(test.narrow));
    EXPECT_EQ(test.narrow, WChar2Char(test.wide));
  }
}

// What cannot be read gives replacements, and the reading goes on.
TEST(TextConversion, MalformedTextGivesReplacements) {
  for (const TextCase& test :
       {TextCase{"\x80z", L"\xfffdz"}, TextCase{"a\xe2\x82", L"a\xfffd"},
        TextCase{"\xe2\x82z", L"\xfffdz"}, TextCase{"\xffz", L"\xfffdz"},
        TextCase{"\xc0\xaf", L"\xfffd\xfffd"}, TextCase{"\xe0\x80\xaf", L"\xfffd\xfffd\xfffd"},
        TextCase{"\xed\xa0\x80", L"\xfffd\xfffd\xfffd"},
        TextCase{"\xf4\x90\x80\x80", L"\xfffd\xfffd\xfffd\xfffd"}}) {
    EXPECT_EQ(test.wide, Char2WChar(test.narrow));
  }
  const wchar_t text[] = {0xD83D, 0xDE00, L'z', 0xDC00, 0xD800, 0x110000, 0};
  EXPECT_EQ("\xf0\x9f\x98\x80z\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd", WChar2Char(text))
      << "pairs are joined";
  EXPECT_EQ("", WChar2Char(nullptr));
  EXPECT_EQ(L"", Char2WChar(nullptr));
}

TEST(RemoveBraces, CutsToTheBuffer) {
  wchar_t buffer[8] = L"xxxxxxx";
  KivCommon::Guid::RemoveBraces(L"{A}", buffer, 0);
  EXPECT_STREQ(L"xxxxxxx", buffer);
  KivCommon::Guid::RemoveBraces(L"{AB-CD}", buffer, 8);
  EXPECT_STREQ(L"AB-CD", buffer);
  KivCommon::Guid::RemoveBraces(L"{AB-CD}", buffer, 3);
  EXPECT_STREQ(L"AB", buffer);
  KivCommon::Guid::RemoveBraces(nullptr, buffer, 1);
  EXPECT_STREQ(L"", buffer);
}

TEST(WideFormat, WritesAsInTheCLocale) {
  const std::pair<std::wstring, const wchar_t*> kCases[] = {
      {FormatWideText(L"%d|%lld|%i|%ld", INT_MIN, LLONG_MIN, 7, -3L),
       L"-2147483648|-9223372036854775808|7|-3"},
      {FormatWideText(L"%u|%llu", UINT_MAX, ULLONG_MAX), L"4294967295|18446744073709551615"},
      {FormatWideText(L"hr %08x %05d", 0x80004005u, -42), L"hr 80004005 -0042"},
      {FormatWideText(L"%x %X %#x", 255, 255, 255), L"ff FF 0xff"},
      {FormatWideText(L"%hd %hhu", 65537, 257), L"1 1"},
      {FormatWideText(L"[%6.3d][%-6d][%*d][%-*d]", 7, 7, 4, 1, 4, 2),
       L"[   007][7     ][   1][2   ]"},
      {FormatWideText(L"%+d % d", 3, 3), L"+3  3"},
      {FormatWideText(L"%.7lf %f %.0f", 30000.0 / 1001.0, 0.5, 2.5), L"29.9700300 0.500000 2"},
      {FormatWideText(L"[%8.2f][%08.2f]", -1.5, -1.5), L"[   -1.50][-0001.50]"},
      {FormatWideText(L"%f %F [%06f]", HUGE_VAL, HUGE_VAL, NAN), L"inf INF [   nan]"},
      {FormatWideText(L"%.2e %G", 12345.0, 1e-10), L"1.23e+04 1E-10"},
      {FormatWideText(L"[%ls, %d] %s %hs", L"A.cpp", 12, L"\u00e4", "\xc3\xa4"),
       L"[A.cpp, 12] \u00e4 \u00e4"},
      {FormatWideText(L"%ls", static_cast<const wchar_t*>(nullptr)), L"(null)"},
      {FormatWideText(L"[%5.2ls][%-4ls]", L"abcdef", L"x"), L"[   ab][x   ]"},
      {FormatWideText(L"%c%lc", 'a', L'\u20ac'), L"a\u20ac"},
      {FormatWideText(L"100%% %k %d %", 1), L"100% %k 1 %"},
      {FormatWideText(L"%p", reinterpret_cast<void*>(0x1F)), L"0x1f"}};
  for (const auto& [written, expected] : kCases) EXPECT_EQ(expected, written);
}

TEST(WideFormat, HostileWidthsAreCut) {
  EXPECT_EQ(size_t{kiv::kMaxFormatWidth}, FormatWideText(L"%99999999999d", 1).size());
  EXPECT_EQ(size_t{kiv::kMaxFormatWidth}, FormatWideText(L"%*d", INT_MIN, 1).size());
  EXPECT_EQ(309u + 7u, FormatWideText(L"%lf", 1e308).size()) << "in full";
  EXPECT_TRUE(FormatWideText(nullptr).empty());
}

TEST(StringCchPrintfW, CutsTerminatesAndRefuses) {
  wchar_t buffer[8];
  EXPECT_EQ(S_OK, StringCchPrintfW(buffer, 8, L"%ls-%03d", L"abc", 12)) << "fills it exactly";
  EXPECT_STREQ(L"abc-012", buffer);
  EXPECT_EQ(E_INSUFFICIENT_BUFFER, StringCchPrintfW(buffer, 8, L"%ls", L"12345678"));
  for (const int32_t size : {0, -1}) {
    EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(buffer, size, L"y"));
  }
  EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(nullptr, 2, L"y"));
  EXPECT_EQ(E_INVALIDARG, StringCchPrintfW(buffer, 2, nullptr));
  EXPECT_STREQ(L"1234567", buffer);
}

}  // namespace
