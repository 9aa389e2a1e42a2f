#include "kiv/values/TextForms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kiv/values/NumberText.h"
#include "kiv/values/TextScan.h"

namespace {

using kiv::TextScan;

template <typename T>
void ExpectForm(const T& value, const wchar_t* text) {
  std::wstring written = L"left over";
  WriteText(value, &written);
  EXPECT_EQ(text, written);
  T back;
  ReadText(text, &back);
  EXPECT_EQ(value, back) << testing::PrintToString(written);
}

TEST(TextForms, StructuresConvertBothWays) {
  ExpectForm(KivPoint{-3, 7}, L"x:-3, y:7");
  ExpectForm(KivPointF{0.5, -2.25}, L"x:0.500000, y:-2.250000");
  ExpectForm(KivSize{1920, 1080}, L"Width:1920, cy:1080");
  ExpectForm(KivSizeF{1.5, 0}, L"Width:1.500000, cy:0.000000");
  ExpectForm(KivRect{1, 2, 3, 4}, L"left:1, top:2, width:3, height:4");
  ExpectForm(KivRectF{0.125, 0.25, 1, 100},
             L"left:0.125000, top:0.250000, width:1.000000, height:100.000000");
  ExpectForm(KivRational{30000, 1001}, L"[30000, 1001]: 29.9700300 ");
  ExpectForm(KivRational{1, 0}, L"[1, 0]: inf ");
  ExpectForm(KivColorF{1, 0.5, 0.25}, L"r:1.000000, g:0.500000, b:0.250000");
  ExpectForm(KivRange{-1, std::numeric_limits<int32_t>::max()}, L"Start:-1, End:2147483647");
}

TEST(TextForms, FieldsThatAreMissingKeepTheirStartingValues) {
  KivRect rect{9, 9, 9, 9};
  ReadText(L"left:1, top:2", &rect);
  EXPECT_EQ((KivRect{1, 2, 0, 0}), rect);
  KivRational rational{9, 9};
  ReadText(L"garbage", &rational);
  EXPECT_EQ((KivRational{0, 1}), rational);
  ReadText(L"[25", &rational);
  EXPECT_EQ((KivRational{25, 1}), rational);
  KivRange range{9, 9};
  ReadText(L"Start:5; End:6", &range);
  EXPECT_EQ((KivRange{5, 0}), range);
}

TEST(TextForms, BlanksMatchAsInAScan) {
  KivSize size;
  ReadText(L"Width:  640,cy:\t480 trailing", &size);
  EXPECT_EQ((KivSize{640, 480}), size);
  ReadText(L" Width:640, cy:480", &size);
  EXPECT_EQ((KivSize{0, 0}), size) << "a literal does not skip blanks before it";
}

TEST(TextForms, LongNumbersSaturate) {
  KivPoint point;
  ReadText(L"x:99999999999, y:-99999999999999999999999999", &point);
  EXPECT_EQ((KivPoint{std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}),
            point);
  KivRational rational;
  ReadText(L"[9223372036854775808, -9223372036854775809]: ", &rational);
  EXPECT_EQ(std::numeric_limits<int64_t>::max(), rational.numerator);
  EXPECT_EQ(std::numeric_limits<int64_t>::min(), rational.denominator);
}

struct RealCase {
  const wchar_t* text;
  double value;
  const wchar_t* rest;
};

TEST(TextScanReal, ReadsWhatAScanReads) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::wstring longOnes(5000, L'1');
  const std::wstring tiny = L"0." + std::wstring(5000, L'0') + L"1";
  const RealCase kCases[] = {{L"0.5", 0.5, L""},
                             {L"  -1.25,", -1.25, L","},
                             {L"+3", 3, L""},
                             {L".5", 0.5, L""},
                             {L"5.", 5, L""},
                             {L"1e3x", 1000, L"x"},
                             {L"2e", 2, L"e"},
                             {L"0,5", 0, L",5"},
                             {L"1e999", infinity, L""},
                             {L"-1e999", -infinity, L""},
                             {L"1e-999", 0, L""},
                             {L"inf", infinity, L""},
                             {L"-Infinity", -infinity, L""},
                             {L"0x1.8p1", 3, L""},
                             {L"0xg", 0, L"xg"},
                             {L"1e99999999999999999999", infinity, L""},
                             {L"1e-99999999999999999999", 0, L""},
                             {longOnes.c_str(), infinity, L""},
                             {tiny.c_str(), 0, L""}};
  for (const RealCase& test : kCases) {
    TextScan scan(test.text);
    double value = 77;
    EXPECT_TRUE(scan.Real(&value)) << testing::PrintToString(test.text);
    EXPECT_EQ(test.value, value) << testing::PrintToString(test.text);
    EXPECT_EQ(test.rest, scan.Rest());
  }
}

TEST(TextScanReal, RefusesWhatIsNoNumber) {
  for (const wchar_t* text : {L"", L"   ", L"-", L"+-1", L"--1", L"e5", L".", L",5", L"x"}) {
    double value = 77;
    EXPECT_FALSE(TextScan(text).Real(&value)) << testing::PrintToString(text);
    EXPECT_EQ(77, value);
  }
}

TEST(TextScanReal, NanIsANumber) {
  double value = 0;
  EXPECT_TRUE(TextScan(L"nan").Real(&value));
  EXPECT_TRUE(std::isnan(value));
}

TEST(TextScanReal, FloatHasItsOwnRange) {
  float value = 0;
  EXPECT_TRUE(TextScan(L"1e39").Real(&value));
  EXPECT_EQ(std::numeric_limits<float>::infinity(), value);
  EXPECT_TRUE(TextScan(L"0.1").Real(&value));
  EXPECT_EQ(0.1f, value);
}

TEST(TextScan, NothingIsReadAfterTheFirstMismatch) {
  TextScan scan(L"a1b2");
  int64_t value = 77;
  EXPECT_TRUE(scan.Literal(L"a"));
  EXPECT_FALSE(scan.Literal(L"x"));
  EXPECT_FALSE(scan.Integer(&value));
  EXPECT_FALSE(scan.Literal(L"1"));
  EXPECT_EQ(77, value);
}

struct IntegerCase {
  const wchar_t* text;
  bool read;
  int64_t value;
};

TEST(TextScan, Integers) {
  const IntegerCase kCases[] = {{L"  42", true, 42},   {L"-7x", true, -7}, {L"+7", true, 7},
                                {L"007", true, 7},     {L"4.9", true, 4},  {L"- 7", false, 77},
                                {L"0x10", true, 0},    {L"", false, 77},   {L"a", false, 77},
                                {L"\x0663", false, 77}};
  for (const IntegerCase& test : kCases) {
    int64_t value = 77;
    EXPECT_EQ(test.read, TextScan(test.text).Integer(&value));
    EXPECT_EQ(test.value, value) << testing::PrintToString(test.text);
  }
}

TEST(NumberText, ExtremeDoublesAreWrittenInFull) {
  std::wstring text;
  kiv::AppendFixed(&text, -std::numeric_limits<double>::max(), kiv::kMaxDecimals + 9);
  EXPECT_EQ(1u + 309 + 1 + kiv::kMaxDecimals, text.size());
  text.clear();
  kiv::AppendFixed(&text, 5e-324);
  EXPECT_EQ(L"0.000000", text);
  text.clear();
  kiv::AppendFixed(&text, -0.0);
  EXPECT_EQ(L"-0.000000", text);
}

}  // namespace
