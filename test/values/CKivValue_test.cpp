#include "kiv/values/CKivValue.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cmath>
#include <limits>
#include <locale>
#include <set>
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
  ExpectRoundTrip('A', L"char", L"A");
  ExpectRoundTrip('\xE4', L"char", L"\x00E4");
  ExpectRoundTrip('\0', L"char", L"");
  ExpectRoundTrip<short>(SHRT_MIN, L"short", L"-32768");
  ExpectRoundTrip<unsigned short>(USHRT_MAX, L"unsigned short", L"65535");
  ExpectRoundTrip(INT_MIN, L"int", L"-2147483648");
  ExpectRoundTrip(UINT_MAX, L"unsigned int", L"4294967295");
  ExpectRoundTrip(KivLong{INT_MIN}, L"long", L"-2147483648");
  ExpectRoundTrip(KivULong{7}, L"unsigned long", L"7");
  ExpectRoundTrip(KivULong{UINT_MAX}, L"unsigned long", L"-1");
  ExpectRoundTrip(LLONG_MIN, L"long long", L"-9223372036854775808");
  ExpectRoundTrip(1.5f, L"float", L"1.500000");
  ExpectRoundTrip(1234567.5, L"double", L"1234567.500000");
  ExpectRoundTrip(std::wstring(L" 5, \x20ac "), L"std::wstring", L" 5, \x20ac ");
  ExpectRoundTrip(KivPoint{1, 2}, L"KivPoint", L"x:1, y:2");
  ExpectRoundTrip(KivPointF{0.5, 2}, L"KivPointF", L"x:0.500000, y:2.000000");
  ExpectRoundTrip(KivSize{1920, 1080}, L"KivSize", L"Width:1920, cy:1080");
  ExpectRoundTrip(KivSizeF{1, 2}, L"KivSizeF", L"Width:1.000000, cy:2.000000");
  ExpectRoundTrip(KivRect{1, 2, 3, 4}, L"KivRect", L"left:1, top:2, width:3, height:4");
  ExpectRoundTrip(KivRectF{0, 0, 100, 100}, L"KivRectF",
                  L"left:0.000000, top:0.000000, width:100.000000, height:100.000000");
  ExpectRoundTrip(KivRational{30000, 1001}, L"KivRational", L"[30000, 1001]: 29.9700300 ");
  ExpectRoundTrip(KivColorF{1, 0.5, 0}, L"KivColorF", L"r:1.000000, g:0.500000, b:0.000000");
  ExpectRoundTrip(GUID{0x49C50440, 0x156C, 0x41D2, {0x9B, 0x56, 0x87, 0, 0x6D, 0x5B, 0x81, 0x10}},
                  L"GUID", L"{49C50440-156C-41D2-9B56-87006D5B8110}");
  ExpectRoundTrip(KivRange{-1, 250}, L"KivRange", L"Start:-1, End:250");
}

TEST(CKivValue, EveryNativeTypeComesBack) { ExpectAllRoundTrips(); }

// Writes numbers as a German desktop does.
struct GermanNumbers : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};
struct GermanWideNumbers : std::numpunct<wchar_t> {
  wchar_t do_decimal_point() const override { return L','; }
  wchar_t do_thousands_sep() const override { return L'.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(CKivValue, TheProcessLocaleDoesNotMatter) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed
  const std::locale german(std::locale(std::locale::classic(), new GermanNumbers),
                           new GermanWideNumbers);
  const std::locale old = std::locale::global(german);
  ExpectAllRoundTrips();
  std::locale::global(old);
  std::setlocale(LC_ALL, before.c_str());
}

struct TextCase {
  const char* name;
  const wchar_t* typeName;
  const wchar_t* text;
  std::wstring stored;
};

const auto kByName = [](const auto& test) { return std::string(test.param.name); };

class FromString : public testing::TestWithParam<TextCase> {};

TEST_P(FromString, StoresTheCanonicalText) {
  CKivValue value;
  ASSERT_EQ(0, value.FromString(GetParam().typeName, GetParam().text));
  EXPECT_EQ(GetParam().typeName, value.GetTypeName());
  EXPECT_EQ(GetParam().stored, value.GetValueText());
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, FromString,
    testing::Values(TextCase{"Blanks", L"int", L"  42", L"42"},
                    TextCase{"Double", L"double", L"1", L"1.000000"},
                    TextCase{"Unparsable", L"int", L"forty", L"0"},
                    TextCase{"UnparsableDouble", L"double", L"", L"0.000000"},
                    TextCase{"Comma", L"double", L"0,5", L"0.000000"},
                    TextCase{"TooLong", L"int", L"99999999999999999999999", L"2147483647"},
                    TextCase{"TooLow", L"int", L"-99999999999999999999999", L"-2147483648"},
                    TextCase{"ShortRange", L"short", L"70000", L"32767"},
                    TextCase{"NegativeUnsigned", L"unsigned int", L"-1", L"4294967295"},
                    TextCase{"LongIs32Bits", L"long", L"4294967296", L"2147483647"},
                    TextCase{"LongLong", L"long long", L"4294967296", L"4294967296"},
                    TextCase{"Float", L"float", L"0.1", L"0.100000"},
                    TextCase{"Infinity", L"double", L"1e999", L"inf"},
                    TextCase{"Nan", L"double", L"nan", L"nan"}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Characters, FromString,
    testing::Values(TextCase{"Char", L"char", L"AB", L"A"}, TextCase{"Blank", L"char", L" A", L" "},
                    TextCase{"NoSuchChar", L"char", L"\x20ac", L""},
                    TextCase{"UnsignedReadsANumber", L"unsigned char", L"65", L"A"},
                    TextCase{"UnsignedReadsNoLetter", L"unsigned char", L"A", L""},
                    TextCase{"UnsignedSaturates", L"unsigned char", L"300", L"\xff"},
                    TextCase{"Text", L"std::wstring", L"  as it is ", L"  as it is "}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Structures, FromString,
    testing::Values(
        TextCase{"Partial", L"KivRect", L"left:1, top:2", L"left:1, top:2, width:0, height:0"},
        TextCase{"Rational", L"KivRational", L"[25, 1]: anything", L"[25, 1]: 25.0000000 "},
        TextCase{"Guid", L"GUID", L"{49c50440-156c-41d2-9b56-87006d5b8110}",
                 L"{49C50440-156C-41D2-9B56-87006D5B8110}"},
        TextCase{"MalformedGuid", L"GUID", L"{49C50440-156C-41D2-9B56-87006D5B811}",
                 L"{00000000-0000-0000-0000-000000000000}"},
        TextCase{"GuidGoesOn", L"GUID", L"{49C50440-156C-41D2-9B56-87006D5B8110}x",
                 L"{00000000-0000-0000-0000-000000000000}"},
        TextCase{"EmptyBlob", L"KivBlob", L"uDataSize:0, bCopy:0, pData:, pExtend:",
                 L"uDataSize:0, bCopy:1, pData:, pExtend:"},
        TextCase{"Blob", L"KivBlob", L"uDataSize:3, bCopy:0, pData:AQID, pExtend:note",
                 L"uDataSize:3, bCopy:1, pData:AQID, pExtend:"},
        TextCase{"Nested", L"CKivValue", L"t:int, v: 5, v:6", L"t:int, v: 5, v:6"},
        TextCase{"NestedGarbage", L"CKivValue", L"garbage", L"t:, v:"}),
    kByName);

TEST(CKivValue, AnUnknownTypeNameChangesNothing) {
  CKivValue value;
  value.SetValue(5);
  for (const wchar_t* name : {L"bool", L"Int", L"int ", L"", L"unsigned long long", L"wstring"}) {
    EXPECT_EQ(kValueUnknownType, value.FromString(name, L"1"));
    EXPECT_EQ(L"int", value.GetTypeName());
    EXPECT_EQ(L"5", value.GetValueText());
  }
}

TEST(CKivValue, AnotherTypeThanTheStoredOneIsRefused) {
  CKivValue value;
  double number = 77;
  EXPECT_EQ(kValueUnknownType, value.GetValue(&number)) << "a fresh value has no type";
  value.SetValue(5);
  EXPECT_EQ(kValueUnknownType, value.GetValue(&number));
  KivLong sameWidth{77};
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

TEST(CKivValue, CopiesAreIndependent) {
  CKivValue a;
  a.SetValue(5);
  CKivValue b(a);
  a.SetValue(std::wstring(L"other"));
  EXPECT_EQ(L"5", b.GetValueText());
  b = a;
  b = *&b;
  EXPECT_EQ(L"std::wstring", b.GetTypeName());
  EXPECT_EQ(L"other", b.GetValueText());
}

TEST(CKivValue, TheTypesStandInTheirFixedOrder) {
  EXPECT_STREQ(L"char", kiv::kValueTypeNames[0]);
  EXPECT_STREQ(L"double", kiv::kValueTypeNames[10]);
  EXPECT_STREQ(L"CKivPtr<IUnknown>", kiv::kValueTypeNames[22]);
  EXPECT_STREQ(L"CKivValue", kiv::kValueTypeNames[24]);
  EXPECT_EQ(25u,
            std::set<std::wstring>(std::begin(kiv::kValueTypeNames), std::end(kiv::kValueTypeNames))
                .size());
}

TEST(NestedValue, IsReadByItsOwnTypeThroughEveryLevel) {
  CKivValue number, outer, outermost;
  number.SetValue(0.5);
  ASSERT_EQ(0, outer.SetValue(number));
  EXPECT_EQ(L"t:double, v:0.500000", outer.GetValueText());
  ASSERT_EQ(0, outermost.SetValue(outer));
  EXPECT_EQ(L"t:CKivValue, v:t:double, v:0.500000", outermost.GetValueText());
  double back = 0;
  EXPECT_EQ(0, outermost.GetValue(&back));
  EXPECT_EQ(0.5, back);
  int wrong = 77;
  EXPECT_EQ(kValueUnknownType, outermost.GetValue(&wrong));
  EXPECT_EQ(77, wrong);
}

TEST(NestedValue, ComesOutAsAValue) {
  CKivValue number, outer, inner;
  number.SetValue<unsigned char>(65);
  outer.SetValue(number);
  ASSERT_EQ(0, outer.GetValue(&inner));
  EXPECT_EQ(L"unsigned char", inner.GetTypeName());
  EXPECT_EQ(L"A", inner.GetValueText());
  ASSERT_EQ(0, outer.FromString(L"CKivValue", L"t:bool, v:1"));
  EXPECT_EQ(kValueUnknownType, outer.GetValue(&inner));
  EXPECT_EQ(L"A", inner.GetValueText());
}

TEST(NestedValue, AValueCanBePutIntoItself) {
  CKivValue value;
  value.SetValue(5);
  EXPECT_EQ(0, value.SetValue(value));
  EXPECT_EQ(L"t:int, v:5", value.GetValueText());
}

}  // namespace
