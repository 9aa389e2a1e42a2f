#include "kiv/StreamCommon/MediaLocations.h"

#include <gtest/gtest.h>

#include "test/support/TemporaryFolder.h"

namespace {

TEST(ImageLocation, IsToldByItsEnding) {
  for (const wchar_t* image : {L"color://", L"a.JPG", L"media://x/a.PnG", L"a.HEIC", L"a.bmp",
                               L"a.bmp;*.jpg", L"dir.mov/file.tiff"}) {
    EXPECT_TRUE(IsImageLocation(image)) << testing::PrintToString(image);
  }
  const std::wstring overlong = L"a." + std::wstring(1 << 20, L'j');
  for (const wchar_t* other :
       {L"Color://red", L"color:/", L"a.jpgx", L"a.jp", L"a", L"", L"a.", L"a.jpg;",
        L"dir.jpg/file", L"a.\x0130mg", overlong.c_str(), static_cast<const wchar_t*>(nullptr)}) {
    EXPECT_FALSE(IsImageLocation(other)) << testing::PrintToString(other);
  }
}

struct MediaLocation : testing::Test {
  static bool Available(const std::wstring& location) {
    return IsMediaLocationAvailable(location.c_str());
  }
  const kiv::TemporaryFolder folder;
  const std::wstring there = folder.Write("there.mov", "x");
};

TEST_F(MediaLocation, IsAvailableWhenItExistsOrIsAColour) {
  EXPECT_TRUE(Available(there));
  EXPECT_TRUE(Available(L"media://" + there));
  EXPECT_TRUE(Available((folder / ".").wstring()));
  EXPECT_TRUE(Available(L"color://nothing/such"));
  for (const std::wstring& missing :
       {there + L"x", L"media://" + there + L"x", L"Media://" + there, std::wstring(L"COLOR://red"),
        std::wstring(), std::wstring(L"media://"), std::wstring(1 << 20, L'a')}) {
    EXPECT_FALSE(Available(missing)) << testing::PrintToString(missing.substr(0, 99));
  }
  EXPECT_FALSE(IsMediaLocationAvailable(nullptr));
}

// "/.", which changes nothing, makes the path of a file that exists as long as it has to be.
TEST_F(MediaLocation, IsNotAvailableForTheFirstPartOfItsPath) {
  std::wstring longest = folder.Write("x/there.mov", "x");
  const size_t slash = longest.rfind(L'/');
  if (longest.size() % 2 == 0) longest.insert(slash, L"/");
  while (longest.size() < 2047) longest.insert(slash, L"/.");
  ASSERT_EQ(2047U, longest.size());
  EXPECT_TRUE(Available(longest));
  EXPECT_FALSE(Available(longest + L".none"));
}

}  // namespace
