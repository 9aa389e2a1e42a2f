#include "kiv/values/CKivValue.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <locale>
#include <string>

namespace {

// Sets a native value, expects its name and text, and reads it back.
template <typename T>
void ExpectRoundTrip(const T& native, const wchar_t* typeName, const std::wstring& text) {
  CKivValue value;
  ASSERT_EQ(0, value.SetValue(native));
  EXPECT_EQ(typeName, value.GetTypeName());
  EXPECT_EQ(text, value.GetValueText());
  T back{};
  ASSERT_EQ(0, value.GetValue(&back));
  EXPECT_EQ(native, back) << testing::PrintToString(typeName);
}

void ExpectAllRoundTrips() {
  ExpectRoundTrip('\xE4', L"char", L"\x00E4");
  ExpectRoundTrip('\0', L"char", L"");
  ExpectRoundTrip<short>(SHRT_MIN, L"short", L"-32768");
  ExpectRoundTrip<unsigned short>(USHRT_MAX, L"unsigned short", L"65535");
  ExpectRoundTrip(INT_MIN, L"int", L"-2147483648");
  ExpectRoundTrip(UINT_MAX, L"unsigned int", L"4294967295");
  ExpectRoundTrip(KivLong{INT_MIN}, L"long", L"-2147483648");
  ExpectRoundTrip(KivULong{UINT_MAX}, L"unsigned long", L"-1");
  ExpectRoundTrip(LLONG_MIN, L"long long", L"-9223372036854775808");
  ExpectRoundTrip(1.5f, L"float", L"1.500000");
  ExpectRoundTrip(1234567.5, L"double", L"1234567.500000");
  ExpectRoundTrip(-0.0, L"double", L"-0.000000");
  ExpectRoundTrip(std::wstring(L" 5, \x20ac "), L"std::wstring", L" 5, \x20ac ");
  ExpectRoundTrip(KivPoint{-3, INT_MAX}, L"KivPoint", L"x:-3, y:2147483647");
  ExpectRoundTrip(KivPointF{0.5, -2.25}, L"KivPointF", L"x:0.500000, y:-2.250000");
  ExpectRoundTrip(KivSize{1920, 1080}, L"KivSize", L"Width:1920, cy:1080");
  ExpectRoundTrip(KivSizeF{1, 2}, L"KivSizeF", L"Width:1.000000, cy:2.000000");
  ExpectRoundTrip(KivRect{1, 2, 3, 4}, L"KivRect", L"left:1, top:2, width:3, height:4");
  ExpectRoundTrip(KivRectF{0.125, 0.25, 1, 100}, L"KivRectF",
                  L"left:0.125000, top:0.250000, width:1.000000, height:100.000000");
  ExpectRoundTrip(KivRational{30000, 1001}, L"KivRational", L"[30000, 1001]: 29.9700300 ");
  ExpectRoundTrip(KivRational{1, 0}, L"KivRational", L"[1, 0]: inf ");
  ExpectRoundTrip(KivRational{-1, 0}, L"KivRational", L"[-1, 0]: -inf ");
  ExpectRoundTrip(KivRational{0, 0}, L"KivRational", L"[0, 0]: nan ");
  ExpectRoundTrip(KivColorF{1, 0.5, 0}, L"KivColorF", L"r:1.000000, g:0.500000, b:0.000000");
  ExpectRoundTrip(GUID{0x49C50440, 0x156C, 0x41D2, {0x9B, 0x56, 0x87, 0, 0x6D, 0x5B, 0x81, 0x10}},
                  L"GUID", L"{49C50440-156C-41D2-9B56-87006D5B8110}");
  ExpectRoundTrip(KivRange{-1, 250}, L"KivRange", L"Start:-1, End:250");
}

// Writes numbers as a German desktop does.
template <typename Char>
struct GermanNumbers : std::numpunct<Char> {
  Char do_decimal_point() const override { return ','; }
  Char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(CKivValue, EveryNativeTypeComesBackInAnyLocale) {
  ExpectAllRoundTrips();
  const std::string before = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed
  const std::locale german(std::locale(std::locale::classic(), new GermanNumbers<char>),
                           new GermanNumbers<wchar_t>);
  const std::locale old = std::locale::global(german);
  ExpectAllRoundTrips();
  std::locale::global(old);
  std::setlocale(LC_ALL, before.c_str());
}

struct TextCase {
  const wchar_t *typeName, *text, *stored;
};

TEST(CKivValue, FromStringStoresTheCanonicalText) {
  const TextCase kCases[] = {{L"int", L"  42", L"42"},
                             {L"int", L"forty", L"0"},
                             {L"int", L"-99999999999999999999999", L"-2147483648"},
                             {L"short", L"70000", L"32767"},
                             {L"unsigned int", L"-1", L"4294967295"},
                             {L"long", L"4294967296", L"2147483647"},
                             {L"long long", L"4294967296", L"4294967296"},
                             {L"double", L"0,5", L"0.000000"},
                             {L"double", L"nan", L"nan"},
                             {L"double", L" -1.25,", L"-1.250000"},
                             {L"double", L"+.5e1x", L"5.000000"},
                             {L"double", L"-Infinity", L"-inf"},
                             {L"double", L"0x1.8p1", L"3.000000"},
                             {L"double", L"0xg", L"0.000000"},
                             {L"double", L"1e99999999999999999999", L"inf"},
                             {L"double", L"13e9223372036854775807", L"inf"},
                             {L"float", L"1e39", L"inf"},
                             {L"char", L" A", L" "},
                             {L"char", L"\x20ac", L""},
                             {L"unsigned char", L"65", L"A"},
                             {L"unsigned char", L"A", L""},
                             {L"unsigned char", L"300", L"\xff"},
                             {L"std::wstring", L"  as it is ", L"  as it is "},
                             {L"KivRect", L"left:1, top:2", L"left:1, top:2, width:0, height:0"},
                             {L"KivSize", L"Width:  640,cy:\t480 trailing", L"Width:640, cy:480"},
                             {L"KivSize", L" Width:640, cy:480", L"Width:0, cy:0"},
                             {L"KivRational", L"[25", L"[25, 1]: 25.0000000 "},
                             {L"KivRange", L"Start:5; End:6", L"Start:5, End:0"},
                             {L"GUID", L"{49c50440-156c-41d2-9b56-87006d5b8110}",
                              L"{49C50440-156C-41D2-9B56-87006D5B8110}"},
                             {L"GUID", L"{49C50440-156C-41D2-9B56-87006D5B811}",
                              L"{00000000-0000-0000-0000-000000000000}"},
                             {L"GUID", L"{49C50440-156C-41D2-9B56-87006D5B8110}x",
                              L"{00000000-0000-0000-0000-000000000000}"},
                             {L"KivBlob", L"uDataSize:3, bCopy:0, pData:AQID, pExtend:note",
                              L"uDataSize:3, bCopy:1, pData:AQID, pExtend:"},
                             {L"CKivValue", L"t:int, v: 5, v:6", L"t:int, v: 5, v:6"},
                             {L"CKivValue", L"garbage", L"t:, v:"}};
  for (const TextCase& test : kCases) {
    CKivValue value;
    ASSERT_EQ(0, value.FromString(test.typeName, test.text));
    EXPECT_EQ(test.typeName, value.GetTypeName());
    EXPECT_EQ(test.stored, value.GetValueText()) << testing::PrintToString(test.text);
  }
}

TEST(CKivValue, UnknownAndOtherTypesAreRefusedAndChangeNothing) {
  CKivValue value;
  double number = 77;
  KivLong sameWidth{77};
  EXPECT_EQ(kValueUnknownType, value.GetValue(&number)) << "a fresh value has no type";
  value.SetValue(5);
  for (const wchar_t* name : {L"bool", L"Int", L"int ", L"", L"unsigned long long"}) {
    EXPECT_EQ(kValueUnknownType, value.FromString(name, L"1"));
  }
  EXPECT_EQ(L"int", value.GetTypeName());
  EXPECT_EQ(L"5", value.GetValueText());
  EXPECT_EQ(kValueUnknownType, value.GetValue(&number));
  EXPECT_EQ(kValueUnknownType, value.GetValue(&sameWidth));
  EXPECT_EQ(kValueUnknownType, value.GetValue(static_cast<int*>(nullptr)));
  EXPECT_EQ(77, number);
  EXPECT_EQ(77, sameWidth.value);
}

TEST(CKivValue, EqualsComparesTheTextsOnly) {
  CKivValue a, b;
  a.SetValue(5);
  b.SetValue(KivLong{5});
  EXPECT_TRUE(a.Equals(b));
  b.SetValue(5.0);
  EXPECT_FALSE(a.Equals(b));
}

TEST(NestedValue, IsReadThroughEveryLevel) {
  CKivValue value, inner;
  value.SetValue(0.5);
  ASSERT_EQ(0, value.SetValue(value)) << "into itself";
  ASSERT_EQ(0, value.SetValue(CKivValue(value)));
  EXPECT_EQ(L"t:CKivValue, v:t:double, v:0.500000", value.GetValueText());
  double back = 0;
  EXPECT_EQ(0, value.GetValue(&back));
  EXPECT_EQ(0.5, back);
  int wrong = 77;
  EXPECT_EQ(kValueUnknownType, value.GetValue(&wrong));
  EXPECT_EQ(77, wrong);
  ASSERT_EQ(0, value.GetValue(&inner));
  EXPECT_EQ(L"CKivValue", inner.GetTypeName());
  EXPECT_EQ(L"t:double, v:0.500000", inner.GetValueText());
  ASSERT_EQ(0, value.FromString(L"CKivValue", L"t:bool, v:1"));
  EXPECT_EQ(kValueUnknownType, value.GetValue(&inner));
  EXPECT_EQ(L"t:double, v:0.500000", inner.GetValueText());
  ASSERT_EQ(0, value.FromString(L"CKivValue", L"t:unsigned char, v:A"));
  ASSERT_EQ(0, value.GetValue(&inner));
  EXPECT_EQ(L"A", inner.GetValueText()) << "written, not read as a number";
}

}  // namespace
