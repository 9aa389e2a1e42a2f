#include <gtest/gtest.h>

#include <string>

#include "kiv/platform/KivCommon.h"

namespace {

using KivCommon::Char2WChar;
using KivCommon::WChar2Char;

const auto kByName = [](const auto& test) { return std::string(test.param.name); };

struct TextCase {
  const char* name;
  std::string narrow;
  std::wstring wide;
};

class WellFormedText : public testing::TestWithParam<TextCase> {};

TEST_P(WellFormedText, ConvertsBothWays) {
  EXPECT_EQ(GetParam().wide, Char2WChar(GetParam().narrow.c_str()));
  EXPECT_EQ(GetParam().narrow, WChar2Char(GetParam().wide.c_str()));
}

INSTANTIATE_TEST_SUITE_P(
    Text, WellFormedText,
    testing::Values(TextCase{"Empty", "", L""}, TextCase{"Ascii", "a/b", L"a/b"},
                    TextCase{"TwoBytes", "\xc2\x80\xdf\xbf", L"\x80\x7ff"},
                    TextCase{"ThreeBytes", "\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80",
                             L"\x800\xd7ff\xe000"},
                    TextCase{"FourBytes", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", L"\x10000\x10ffff"}),
    kByName);

class MalformedNarrow : public testing::TestWithParam<TextCase> {};

TEST_P(MalformedNarrow, GivesReplacementsAndGoesOn) {
  EXPECT_EQ(GetParam().wide, Char2WChar(GetParam().narrow.c_str()));
}

INSTANTIATE_TEST_SUITE_P(
    Text, MalformedNarrow,
    testing::Values(TextCase{"LoneTrailing",
                             "a\x80"
                             "b",
                             L"a\xfffd"
                             L"b"},
                    TextCase{"CutAtEnd", "a\xe2\x82", L"a\xfffd"},
                    TextCase{"CutByAscii",
                             "\xe2\x82"
                             "c",
                             L"\xfffd"
                             L"c"},
                    TextCase{"Overlong", "\xc0\xaf", L"\xfffd\xfffd"},
                    TextCase{"OverlongThree", "\xe0\x80\xaf", L"\xfffd\xfffd\xfffd"},
                    TextCase{"Surrogate", "\xed\xa0\x80", L"\xfffd\xfffd\xfffd"},
                    TextCase{"BeyondUnicode", "\xf4\x90\x80\x80", L"\xfffd\xfffd\xfffd\xfffd"},
                    TextCase{"NoSuchByte",
                             "\xff"
                             "a",
                             L"\xfffd"
                             L"a"}),
    kByName);

TEST(MalformedWide, GivesReplacementsAndJoinsPairs) {
  const wchar_t text[] = {0xD83D, 0xDE00, L'a', 0xDC00, 0xD800, 0x110000, 0};
  EXPECT_EQ(
      "\xf0\x9f\x98\x80"
      "a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd",
      WChar2Char(text));
  EXPECT_EQ("", WChar2Char(nullptr));
  EXPECT_EQ(L"", Char2WChar(nullptr));
}

TEST(RemoveBraces, CutsToTheBuffer) {
  wchar_t buffer[8];
  KivCommon::Guid::RemoveBraces(L"{AB-CD}", buffer, 8);
  EXPECT_STREQ(L"AB-CD", buffer);
  KivCommon::Guid::RemoveBraces(L"{AB-CD}", buffer, 3);
  EXPECT_STREQ(L"AB", buffer);
  KivCommon::Guid::RemoveBraces(nullptr, buffer, 1);
  EXPECT_STREQ(L"", buffer);
  buffer[0] = L'x';
  KivCommon::Guid::RemoveBraces(L"{A}", buffer, 0);
  EXPECT_EQ(L'x', buffer[0]);
}

}  // namespace
