// Texts that lie about sizes and nest without end.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kiv/values/CKivValue.h"

namespace {

std::wstring BlobText(const std::wstring& size, const std::wstring& data) {
  return L"uDataSize:" + size + L", bCopy:1, pData:" + data + L", pExtend:";
}

std::string BytesOf(const KivBlob& blob) {
  return blob.uDataSize ? std::string(reinterpret_cast<const char*>(blob.pData), blob.uDataSize)
                        : std::string();
}

TEST(Blob, ReadingTakesWhatTheTextHolds) {
  const std::pair<std::wstring, std::string> kCases[] = {
      {BlobText(L"2147483647", L"AQID"), "\1\2\3"},
      {BlobText(L"99999999999999", L"AQ=="), "\1"},
      {BlobText(L"1", L"AQID"), "\1\2\3"},
      {BlobText(L"0", L"AQID"), ""},
      {BlobText(L"-5", L"AQID"), ""},
      {BlobText(L"5", L""), ""},
      {L"uDataSize:5, bCopy:1", ""},
      {BlobText(L"x", L"AQID"), ""},
      {BlobText(L"3", L"\x20ac\x20ac\x20ac\x20ac"), std::string(3, '\0')},
      {L"uDataSize:3, bCopy:1, pData:AQID", "\1\2\3"}};
  for (const auto& [text, bytes] : kCases) {
    CKivValue value;
    ASSERT_EQ(0, value.FromString(L"KivBlob", text.c_str()));
    KivBlob blob;
    ASSERT_EQ(0, value.GetValue(&blob));
    EXPECT_EQ(bytes, BytesOf(blob)) << testing::PrintToString(text);
    EXPECT_EQ(1, blob.bCopy);
  }
}

TEST(Blob, IsWrittenAsOwnedWithoutItsExtension) {
  uint8_t bytes[] = {1, 2, 3};
  KivBlob blob, target;
  blob.uDataSize = 3;
  CKivValue value;
  ASSERT_EQ(0, value.SetValue(blob));
  EXPECT_EQ(L"uDataSize:3, bCopy:1, pData:, pExtend:", value.GetValueText());
  blob.pData = bytes;
  blob.pExtend[0] = L'x';
  ASSERT_EQ(0, value.SetValue(blob));
  EXPECT_EQ(L"uDataSize:3, bCopy:1, pData:AQID, pExtend:", value.GetValueText());

  target.pExtend[0] = L'k';
  ASSERT_EQ(0, value.GetValue(&target));
  ASSERT_EQ(0, value.GetValue(&target)) << "what the blob owned before is freed";
  EXPECT_EQ(L'k', target.pExtend[0]);
  KivBlob copy(target);
  EXPECT_NE(target.pData, copy.pData);
  const KivBlob moved(std::move(target));
  copy = moved;
  EXPECT_NE(moved.pData, copy.pData);
  EXPECT_EQ("\1\2\3", BytesOf(copy));
}

std::wstring Nested(int levels, const std::wstring& innermost) {
  std::wstring text;
  for (int i = 1; i < levels; ++i) text += L"t:CKivValue, v:";
  return text + innermost;
}

TEST(Nesting, IsReadUpToItsBound) {
  CKivValue value, inner;
  int number = 77;
  ASSERT_EQ(0, value.FromString(L"CKivValue", Nested(kMaxValueNesting, L"t:int, v:5")));
  EXPECT_EQ(0, value.GetValue(&number));
  EXPECT_EQ(5, number);
  for (const int levels : {kMaxValueNesting + 1, 200000}) {
    ASSERT_EQ(0, value.FromString(L"CKivValue", Nested(levels, L"t:int, v:6")));
    EXPECT_EQ(kValueUnknownType, value.GetValue(&number));
    EXPECT_EQ(5, number);
    EXPECT_TRUE(value.CarriesInterface()) << "what cannot be looked into is not trusted";
    EXPECT_EQ(0, value.GetValue(&inner));
  }
}

TEST(HostileLengths, AreBoundedOrReadInFull) {
  CKivValue value;
  ASSERT_EQ(0, value.FromString(L"CKivValue", L"t:" + std::wstring(300, L'x') + L", v:1"));
  EXPECT_EQ(L"t:" + std::wstring(259, L'x') + L", v:1", value.GetValueText());
  ASSERT_EQ(0, value.SetValue(1e308));
  EXPECT_EQ(309u + 7u, value.GetValueText().size());
  ASSERT_EQ(0, value.FromString(L"int", std::wstring(1000000, L'9')));
  EXPECT_EQ(L"2147483647", value.GetValueText());
  ASSERT_EQ(0, value.FromString(L"double", std::wstring(1000000, L'9')));
  EXPECT_EQ(L"inf", value.GetValueText());
}

}  // namespace
