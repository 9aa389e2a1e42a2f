// Texts that lie about sizes and nest without end.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include "kiv/values/CKivValue.h"

namespace {

std::wstring BlobText(const std::wstring& size, const std::wstring& data) {
  return L"uDataSize:" + size + L", bCopy:1, pData:" + data + L", pExtend:";
}

struct BlobCase {
  const char* name;
  std::wstring text;
  std::string bytes;
};

const auto kByName = [](const auto& test) { return std::string(test.param.name); };

class BlobReading : public testing::TestWithParam<BlobCase> {};

TEST_P(BlobReading, TakesWhatTheTextHolds) {
  CKivValue value;
  ASSERT_EQ(0, value.FromString(L"KivBlob", GetParam().text));
  KivBlob blob;
  ASSERT_EQ(0, value.GetValue(&blob));
  ASSERT_EQ(GetParam().bytes.size(), blob.uDataSize);
  EXPECT_EQ(1, blob.bCopy);
  if (blob.uDataSize > 0) {
    EXPECT_EQ(0, std::memcmp(GetParam().bytes.data(), blob.pData, blob.uDataSize));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Blobs, BlobReading,
    testing::Values(BlobCase{"Plain", BlobText(L"3", L"AQID"), "\1\2\3"},
                    BlobCase{"AnnouncesFar", BlobText(L"2147483647", L"AQID"), "\1\2\3"},
                    BlobCase{"AnnouncesFarther", BlobText(L"99999999999999", L"AQ=="), "\1"},
                    BlobCase{"AnnouncesTooFew", BlobText(L"1", L"AQID"), "\1\2\3"},
                    BlobCase{"AnnouncesNone", BlobText(L"0", L"AQID"), ""},
                    BlobCase{"Negative", BlobText(L"-5", L"AQID"), ""},
                    BlobCase{"EmptyData", BlobText(L"5", L""), ""},
                    BlobCase{"NoData", L"uDataSize:5, bCopy:1", ""},
                    BlobCase{"NoNumber", BlobText(L"x", L"AQID"), ""},
                    BlobCase{"WideData", BlobText(L"3", L"\x20ac\x20ac\x20ac\x20ac"),
                             std::string(3, '\0')},
                    BlobCase{"NothingAfterData", L"uDataSize:3, bCopy:1, pData:AQID", "\1\2\3"}),
    kByName);

TEST(Blob, IsWrittenAsOwnedWithoutItsExtension) {
  uint8_t bytes[] = {1, 2, 3};
  KivBlob blob;
  blob.pData = bytes;
  blob.uDataSize = 3;
  blob.pExtend[0] = L'x';
  CKivValue value;
  ASSERT_EQ(0, value.SetValue(blob));
  EXPECT_EQ(L"uDataSize:3, bCopy:1, pData:AQID, pExtend:", value.GetValueText());

  KivBlob target;
  target.pExtend[0] = L'k';
  ASSERT_EQ(0, value.GetValue(&target));
  ASSERT_EQ(0, value.GetValue(&target)) << "what the blob owned before is freed";
  EXPECT_EQ(L'k', target.pExtend[0]);
  EXPECT_NE(bytes, target.pData);
  EXPECT_EQ(3u, target.uDataSize);
}

TEST(Blob, WithoutDataKeepsItsAnnouncedSize) {
  KivBlob blob;
  blob.uDataSize = 9;
  CKivValue value;
  ASSERT_EQ(0, value.SetValue(blob));
  EXPECT_EQ(L"uDataSize:9, bCopy:1, pData:, pExtend:", value.GetValueText());
}

TEST(Blob, CopiesOwnTheirBytesAndMovesHandThemOver) {
  KivBlob blob;
  blob.Adopt(KivBlob::AllocateBytes(2), 2);
  std::memcpy(blob.pData, "ab", 2);
  KivBlob copy(blob);
  EXPECT_NE(blob.pData, copy.pData);
  EXPECT_EQ(0, std::memcmp("ab", copy.pData, 2));
  const uint8_t* const bytes = blob.pData;
  const KivBlob moved(std::move(blob));
  EXPECT_EQ(bytes, moved.pData);
  copy = moved;
  EXPECT_NE(bytes, copy.pData);
  EXPECT_EQ(0, std::memcmp("ab", copy.pData, 2));
}

std::wstring Nested(int levels, const std::wstring& innermost) {
  std::wstring text;
  for (int i = 1; i < levels; ++i) text += L"t:CKivValue, v:";
  return text + innermost;
}

TEST(Nesting, IsReadUpToItsBound) {
  CKivValue value;
  int number = 77;
  ASSERT_EQ(0, value.FromString(L"CKivValue", Nested(kMaxValueNesting, L"t:int, v:5")));
  EXPECT_EQ(0, value.GetValue(&number));
  EXPECT_EQ(5, number);
  number = 77;
  ASSERT_EQ(0, value.FromString(L"CKivValue", Nested(kMaxValueNesting + 1, L"t:int, v:5")));
  EXPECT_EQ(kValueUnknownType, value.GetValue(&number));
  EXPECT_EQ(77, number);
  EXPECT_TRUE(value.CarriesInterface()) << "what cannot be looked into is not trusted";
}

TEST(Nesting, AVeryDeepTextIsHarmless) {
  CKivValue value, inner;
  double number = 77;
  ASSERT_EQ(0, value.FromString(L"CKivValue", Nested(200000, L"t:double, v:1")));
  EXPECT_EQ(kValueUnknownType, value.GetValue(&number));
  EXPECT_EQ(0, value.GetValue(&inner));
  EXPECT_EQ(77, number);
}

TEST(Nesting, TheTypeNameIsBounded) {
  CKivValue value;
  ASSERT_EQ(0, value.FromString(L"CKivValue", L"t:" + std::wstring(300, L'x') + L", v:1"));
  EXPECT_EQ(L"t:" + std::wstring(259, L'x') + L", v:1", value.GetValueText());
}

TEST(HugeNumbers, AreWrittenInFull) {
  CKivValue value;
  ASSERT_EQ(0, value.SetValue(1e308));
  const std::wstring text = value.GetValueText();
  EXPECT_EQ(309u + 7u, text.size());
  double back = 0;
  EXPECT_EQ(0, value.GetValue(&back));
  EXPECT_EQ(1e308, back);
  ASSERT_EQ(0, value.FromString(L"int", std::wstring(1000000, L'9')));
  EXPECT_EQ(L"2147483647", value.GetValueText());
  ASSERT_EQ(0, value.FromString(L"double", std::wstring(1000000, L'9')));
  EXPECT_EQ(L"inf", value.GetValueText());
}

}  // namespace
