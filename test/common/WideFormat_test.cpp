#include "engine/common/WideFormat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>

namespace {

using kiv::FormatWideText;

const auto kByName = [](const auto& test) { return std::string(test.param.name); };

struct FormatCase {
  const char* name;
  std::wstring written;
  std::wstring expected;
};

class WideFormat : public testing::TestWithParam<FormatCase> {};

TEST_P(WideFormat, WritesAsInTheCLocale) { EXPECT_EQ(GetParam().expected, GetParam().written); }

INSTANTIATE_TEST_SUITE_P(
    Integers, WideFormat,
    testing::Values(FormatCase{"Signed", FormatWideText(L"%d %i", -5, 7), L"-5 7"},
                    FormatCase{"Smallest", FormatWideText(L"%d|%lld", INT_MIN, LLONG_MIN),
                               L"-2147483648|-9223372036854775808"},
                    FormatCase{"Unsigned", FormatWideText(L"%u|%llu", UINT_MAX, ULLONG_MAX),
                               L"4294967295|18446744073709551615"},
                    FormatCase{"ResultCode", FormatWideText(L"hr %08x", 0x80004005u),
                               L"hr 80004005"},
                    FormatCase{"ZerosAfterSign", FormatWideText(L"%05d", -42), L"-0042"},
                    FormatCase{"Hex", FormatWideText(L"%x %X %#x", 255, 255, 255), L"ff FF 0xff"},
                    FormatCase{"Short", FormatWideText(L"%hd %hhu", 65537, 257), L"1 1"},
                    FormatCase{"Long", FormatWideText(L"%ld", -3L), L"-3"},
                    FormatCase{"WidthAndPrecision", FormatWideText(L"[%6.3d][%-6d]", 7, 7),
                               L"[   007][7     ]"},
                    FormatCase{"Star", FormatWideText(L"[%*d][%-*d]", 4, 1, 4, 2), L"[   1][2   ]"},
                    FormatCase{"Plus", FormatWideText(L"%+d % d", 3, 3), L"+3  3"}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Doubles, WideFormat,
    testing::Values(
        FormatCase{"SixDecimals", FormatWideText(L"%f %lf", 0.5, -1.25), L"0.500000 -1.250000"},
        FormatCase{"Rational", FormatWideText(L"%.7lf", 30000.0 / 1001.0), L"29.9700300"},
        FormatCase{"NoDecimals", FormatWideText(L"%.0f", 2.5), L"2"},
        FormatCase{"Width", FormatWideText(L"[%8.2f][%08.2f]", -1.5, -1.5),
                   L"[   -1.50][-0001.50]"},
        FormatCase{"Special",
                   FormatWideText(L"%f %F [%06f]", std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::infinity(), NAN),
                   L"inf INF [   nan]"},
        FormatCase{"Scientific", FormatWideText(L"%.2e %G", 12345.0, 1e-10), L"1.23e+04 1E-10"}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Texts, WideFormat,
    testing::Values(
        FormatCase{"BothWide", FormatWideText(L"[%ls, %d] %s", L"A.cpp", 12, L"\u00e4"),
                   L"[A.cpp, 12] \u00e4"},
        FormatCase{"Narrow", FormatWideText(L"%hs", "\xc3\xa4"), L"\u00e4"},
        FormatCase{"Null", FormatWideText(L"%ls", static_cast<const wchar_t*>(nullptr)), L"(null)"},
        FormatCase{"Cut", FormatWideText(L"[%5.2ls][%-4ls]", L"abcdef", L"x"), L"[   ab][x   ]"},
        FormatCase{"Character", FormatWideText(L"%c%lc", 'a', L'\u20ac'), L"a\u20ac"},
        FormatCase{"Percent", FormatWideText(L"100%% %d", 1), L"100% 1"},
        FormatCase{"UnknownStays", FormatWideText(L"%k %d", 1), L"%k 1"},
        FormatCase{"EndsInPercent", FormatWideText(L"50%"), L"50%"},
        FormatCase{"Pointer", FormatWideText(L"%p", reinterpret_cast<void*>(0x1F)), L"0x1f"}),
    kByName);

TEST(WideFormatLimits, LargestDoubleIsWrittenInFull) {
  const std::wstring text = FormatWideText(L"%lf", 1e308);
  EXPECT_EQ(309u + 7u, text.size());
  EXPECT_EQ(L".000000", text.substr(309));
}

TEST(WideFormatLimits, HostileWidthsAreCut) {
  EXPECT_EQ(size_t{kiv::kMaxFormatWidth}, FormatWideText(L"%99999999999d", 1).size());
  EXPECT_EQ(size_t{kiv::kMaxFormatWidth}, FormatWideText(L"%*d", INT_MIN, 1).size());
  EXPECT_TRUE(FormatWideText(nullptr).empty());
}

}  // namespace
