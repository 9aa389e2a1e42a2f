#include "kiv/keyframes/KeyFrameJson.h"

#include <gtest/gtest.h>

#include <locale>

#include "kiv/keyframes/KeyFrameParam.h"
#include "kiv/platform/KivCommon.h"
#include "test/support/Ledger.h"

namespace {

using Param = KivComPtr<CKivKeyFrameParam>;

Param NewParam() { return Param(new CKivKeyFrameParam); }

std::wstring TextOf(CKivKeyFrameParam& param) {
  std::wstring text;
  EXPECT_TRUE(param.ToJson(&text));
  return text;
}

constexpr wchar_t kEmpty[] =
    LR"({"FrameRateDen":1,"FrameRateNum":25,"dataType":0,"params":null,"splineDegree":0,"splineType":0})"
    L"\n";
constexpr wchar_t kRise[] =
    LR"({"FrameRateDen":1,"FrameRateNum":25,"dataType":2,"params":[)"
    LR"({"index":0,"valueType":"double","valueValue":"0.500000"},)"
    LR"({"index":30,"valueType":"double","valueValue":"1.000000"}],"splineDegree":3,"splineType":2})"
    L"\n";

TEST(KeyFrameJson, TheTextIsWrittenByteForByte) {
  const Param param = NewParam();
  EXPECT_EQ(kEmpty, TextOf(*param));
  const KeyFrameDouble frames[] = {{30, 1}, {0, 0.5}};
  for (const KeyFrameDouble& frame : frames) param->AddKeyFrame(&frame);
  const KeyFrameSpline spline{3, 2};
  param->SetSpline(&spline);
  EXPECT_EQ(kRise, TextOf(*param));
}

std::wstring FrameText(const std::wstring& index, const std::wstring& type,
                       const std::wstring& value) {
  return L"{\"index\":" + index + L",\"valueType\":\"" + type + L"\",\"valueValue\":\"" + value +
         L"\"}";
}

std::wstring DocumentOf(const std::wstring& frames, const std::wstring& dataType = L"1") {
  return L"{\"FrameRateDen\":1001,\"FrameRateNum\":30000,\"dataType\":" + dataType +
         L",\"params\":[" + frames + L"],\"splineDegree\":-1,\"splineType\":7}\n";
}

// One keyframe of each type that a document can hold, in descending order.
std::wstring DocumentOfAllTypes() {
  const std::wstring kFrames[][2] = {
      {L"char", L"\\u00e9"},
      {L"unsigned char", L"65"},
      {L"unsigned char", L"53"},
      {L"short", L"-32768"},
      {L"unsigned short", L"65535"},
      {L"int", L"-2147483648"},
      {L"unsigned int", L"4294967295"},
      {L"long", L"-5"},
      {L"unsigned long", L"-1"},
      {L"long long", L"-9223372036854775808"},
      {L"float", L"0.500000"},
      {L"double", L"1234567.250000"},
      {L"std::wstring", L"\\u4f60\\ud83d\\ude00 \\\"\\n\\\\"},
      {L"KivPoint", L"x:-1, y:2"},
      {L"KivPointF", L"x:-1.500000, y:2.000000"},
      {L"KivSize", L"Width:1920, cy:1080"},
      {L"KivSizeF", L"Width:0.500000, cy:1.000000"},
      {L"KivRect", L"left:1, top:2, width:3, height:4"},
      {L"KivRectF", L"left:0.100000, top:0.200000, width:0.300000, height:1000.400000"},
      {L"KivRational", L"[30000, 1001]: 29.9700300 "},
      {L"KivColorF", L"r:0.000000, g:0.500000, b:1.000000"},
      {L"KivBlob", L"uDataSize:3, bCopy:1, pData:AQID, pExtend:"},
      {L"GUID", L"{91C71611-4D48-41AF-888D-0D4AA3A768FE}"},
      {L"KivRange", L"Start:-3, End:9"},
      {L"CKivValue", L"t:int, v:5"},
      {L"", L""}};
  std::wstring frames;
  int index = 5;
  for (const auto& [type, value] : kFrames) {
    frames += (frames.empty() ? L"" : L",") + FrameText(std::to_wstring(index), type, value);
    index -= 1000;
  }
  return DocumentOf(frames);
}

struct GermanNumbers : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(KeyFrameJson, EveryTypeComesBackInAnyLocale) {
  const std::wstring document = DocumentOfAllTypes();
  const std::locale german(std::locale::classic(), new GermanNumbers);
  for (const std::locale& locale : {std::locale::classic(), german}) {
    const std::locale before = std::locale::global(locale);
    const Param param = NewParam();
    EXPECT_EQ(1, param->FromJson(document));
    EXPECT_EQ(document, TextOf(*param));
    EXPECT_FALSE(param->IsChanged());
    std::locale::global(before);
  }
}

TEST(KeyFrameJson, ReadingAppendsAsTheKeyframesCome) {
  const Param param = NewParam();
  const KeyFrameDouble frame{7, 3};
  param->AddKeyFrame(&frame);
  EXPECT_EQ(1, param->FromJson(L"{\"params\":{\"b\":" + FrameText(L"9", L"double", L"1") +
                               L",\"c\":{\"valueType\":\"double\"},\"d\":{}},\"new\":[[]]}"));
  EXPECT_EQ(L"{\"FrameRateDen\":0,\"FrameRateNum\":0,\"dataType\":0,\"params\":[" +
                FrameText(L"7", L"double", L"3.000000") + L"," +
                FrameText(L"9", L"double", L"1.000000") + L"," +
                FrameText(L"0", L"double", L"0.000000") + L"," + FrameText(L"0", L"", L"") +
                L"],\"splineDegree\":0,\"splineType\":0}\n",
            TextOf(*param));
  double value = 0;
  EXPECT_FALSE(param->GetValueAt(8, &value));  // no kind: nothing between
  EXPECT_EQ(1, param->FromJson(DocumentOf(FrameText(L"1", L"bool", L"1"))));
  EXPECT_EQ(5, param->GetKeyFrameCount());
}

TEST(KeyFrameJson, WrongDocumentsAreRefusedWhole) {
  const std::wstring good = FrameText(L"1", L"double", L"1");
  const std::wstring longest(2047, L'x');
  const std::wstring kDocuments[] = {
      L"", L"null", L"7", L"[]", L"{", L"{}{}", L"{\"params\":[,]}", L"not JSON",
      DocumentOf(good, L"\"2\""), DocumentOf(good, L"2.5"), DocumentOf(good, L"2147483648"),
      DocumentOf(good, L"true"), DocumentOf(good, L"null"), DocumentOf(good, L"[2]"),
      L"{\"params\":3}", L"{\"params\":\"x\"}", DocumentOf(good + L",4"),
      DocumentOf(good + L",null"), DocumentOf(good + L",[]"),
      DocumentOf(good + L"," + FrameText(L"\"1\"", L"double", L"1")),
      DocumentOf(good + L"," + FrameText(L"1e99", L"double", L"1")),
      DocumentOf(good + L",{\"valueType\":5}"), DocumentOf(good + L",{\"valueValue\":{}}"),
      DocumentOf(FrameText(L"1", L"std::wstring", longest + L"x")),
      DocumentOf(FrameText(L"1", longest + L"x", L"")),
      // Its own text, with all its marks, would be longer than the one given.
      DocumentOf(FrameText(L"1", L"CKivValue", L", v:" + std::wstring(2043, L'x'))),
      DocumentOf(FrameText(L"1", L"CKivPtr<IUnknown>", L"Interface:0x0")),
      DocumentOf(FrameText(L"1", L"CKivValue", L"t:CKivPtr<IUnknown>, v:Interface:0x1")),
      std::wstring(500000, L'['),
      L"{\"a\":" + std::wstring(40, L'[') + std::wstring(40, L']') + L"}",
      L"{\"a\":[" + std::wstring(3 << 20, L',') + L"]}",
      L"{}" + std::wstring(kiv::kMaxKeyFrameDocument, L' ')};
  const Param param = NewParam();
  ASSERT_EQ(1, param->FromJson(kRise));
  for (const std::wstring& document : kDocuments) {
    EXPECT_EQ(0, param->FromJson(document))
        << KivCommon::WChar2Char(document.substr(0, 300).c_str());
    ASSERT_EQ(kRise, TextOf(*param));
  }
  EXPECT_EQ(1, param->FromJson(DocumentOf(FrameText(L"1", L"std::wstring", longest))));
}

// The same number written with a fraction of zero, or with an exponent.
TEST(KeyFrameJson, WholeNumbersMayBeWrittenAsReals) {
  const Param param = NewParam();
  ASSERT_EQ(1, param->FromJson(
                   L"{\"FrameRateDen\":1.0,\"FrameRateNum\":25.0,\"dataType\":2.0,\"params\":["
                   L"{\"index\":-0.0,\"valueType\":\"double\",\"valueValue\":\"0.5\"},"
                   L"{\"index\":3e1,\"valueType\":\"double\",\"valueValue\":\"1\"}],"
                   L"\"splineDegree\":3.0,\"splineType\":2}"));
  EXPECT_EQ(kRise, TextOf(*param));
}

// Keyframes of one `frame` text, so many that one more is refused.
void ExpectWhatIsTakenIsWritten(const std::wstring& frame, int32_t most) {
  const auto documentOf = [&frame](int32_t count) {
    std::wstring frames;
    for (int32_t i = 0; i < count; ++i) frames += (i == 0 ? L"" : L",") + frame;
    return L"{\"params\":[" + frames + L"]}";
  };
  const Param param = NewParam();
  EXPECT_EQ(0, param->FromJson(documentOf(most + 1)));
  EXPECT_EQ(0, param->GetKeyFrameCount());
  ASSERT_EQ(1, param->FromJson(documentOf(most)));
  std::wstring written;
  EXPECT_TRUE(param->ToJson(&written));
  EXPECT_EQ(0, param->FromJson(L"{\"params\":[" + frame + L"]}")) << "together they are too many";
  EXPECT_EQ(most, param->GetKeyFrameCount());
  EXPECT_EQ(1, NewParam()->FromJson(written));
}

// A document has room for 2,097,152 parts; a written keyframe takes four of them, the rest seven.
TEST(KeyFrameJson, WhatIsTakenHasRoomForItsPartsWhenItIsWritten) {
  ExpectWhatIsTakenIsWritten(L"{}", 524286);
}

// And for 33,554,432 characters: a text of one in two bytes is written as six.
TEST(KeyFrameJson, WhatIsTakenHasRoomForItsCharactersWhenItIsWritten) {
  ExpectWhatIsTakenIsWritten(
      L"{\"valueType\":\"std::wstring\",\"valueValue\":\"" + std::wstring(2047, L'\u00e9') + L"\"}",
      2719);
}

struct LoadCase {
  const wchar_t* text;  // null: none
  int32_t size;         // of none is stored when below -1
  int32_t result, count;
};

TEST(KeyFrameJson, LoadReplacesByWhatTheBagHolds) {
  const int32_t length = static_cast<int32_t>(std::size(kRise));
  const LoadCase kCases[] = {{kRise, length, 1, 2},      {kRise, INT32_MAX, 1, 2},
                             {kRise, length - 2, 1, 2},  // all but the line feed
                             {kRise, 20, 0, 0},          {kRise, -1, 0, 0},
                             {nullptr, INT32_MAX, 0, 0}, {kRise, -2, 1, 0},
                             {L"no document", 12, 0, 0}};
  for (const LoadCase& c : kCases) {
    const KivPropDecorator bag = KivCommon::CreateProperties();
    if (c.text) bag->SetString(L"Zoom.Serialize", c.text);
    if (c.size >= -1) bag->SetInt(L"Zoom.Serialize.Size", c.size);
    const Param param = NewParam();
    const KeyFrameDouble frame{7, 3};
    param->AddKeyFrame(&frame);
    param->ClearChanged();
    EXPECT_EQ(c.result, param->Load(L"Zoom", bag.Reference())) << c.size;
    EXPECT_EQ(c.count, param->GetKeyFrameCount()) << c.size;
    EXPECT_FALSE(param->IsChanged());
    EXPECT_EQ(0, param->Load(L"Zoom", nullptr));
    EXPECT_EQ(c.count, param->GetKeyFrameCount());
  }
}

}  // namespace
