#include "kiv/StreamCommon/MediaLocations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "kiv/platform/KivCommon.h"
#include "test/support/FakeFilter.h"

namespace {

struct ImageCase {
  const wchar_t* location;
  bool isImage;
};
struct ImageLocation : testing::TestWithParam<ImageCase> {};

TEST_P(ImageLocation, IsToldByItsEnding) {
  EXPECT_EQ(GetParam().isImage, IsImageLocation(GetParam().location));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ImageLocation,
    testing::Values(ImageCase{L"color://", true}, ImageCase{L"color://ff00ff", true},
                    ImageCase{L"Color://red", false}, ImageCase{L"COLOR://red.txt", false},
                    ImageCase{L"color:/", false}, ImageCase{L"a.jpg", true},
                    ImageCase{L"a.JPG", true}, ImageCase{L"media://x/a.PnG", true},
                    ImageCase{L"a.jpgx", false}, ImageCase{L"a.jp", false},
                    ImageCase{L"a.tar.gz", false}, ImageCase{L"a", false}, ImageCase{L"", false},
                    ImageCase{L".", false}, ImageCase{L"a.", false}, ImageCase{L"a.HEIC", true},
                    ImageCase{L"a.heic", true}, ImageCase{L"a.bmp", true},
                    ImageCase{L"a.bmp;*.jpg", true}, ImageCase{L"a.png;*.bmp", true},
                    ImageCase{L"a.x;y", false}, ImageCase{L"dir.jpg/file", false},
                    ImageCase{L"dir.mov/file.tiff", true}, ImageCase{L"a.\x0130mg", false},
                    ImageCase{nullptr, false}));

TEST(ImageLocationEnding, SpansEntriesInListOrderOnly) {
  EXPECT_FALSE(IsImageLocation(L"a.jpg;"));
  EXPECT_FALSE(IsImageLocation((L"a." + std::wstring(1 << 20, L'j')).c_str()));
}

class MediaLocation : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "kiv-location-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(name.data()));
    folder_ = name;
    std::ofstream(folder_ / "there.mov") << "x";
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::wstring In(const char* name) const {
    return KivCommon::Char2WChar((folder_ / name).c_str());
  }
  static bool Available(const std::wstring& location) {
    return IsMediaLocationAvailable(location.c_str());
  }

  std::filesystem::path folder_;
};

TEST_F(MediaLocation, IsAvailableWhenItExistsWithOrWithoutScheme) {
  EXPECT_TRUE(Available(In("there.mov")));
  EXPECT_TRUE(Available(L"media://" + In("there.mov")));
  EXPECT_TRUE(Available(In(".")));
  EXPECT_FALSE(Available(In("missing.mov")));
  EXPECT_FALSE(Available(L"media://" + In("missing.mov")));
  EXPECT_FALSE(Available(L"Media://" + In("there.mov")));
}

TEST_F(MediaLocation, AColourIsAlwaysAvailable) {
  EXPECT_TRUE(Available(L"color://"));
  EXPECT_TRUE(Available(L"color://nothing/such"));
  EXPECT_FALSE(Available(L"COLOR://red"));
}

TEST_F(MediaLocation, NothingIsNotAvailable) {
  EXPECT_FALSE(IsMediaLocationAvailable(nullptr));
  EXPECT_FALSE(Available(L""));
  EXPECT_FALSE(Available(L"media://"));
}

TEST_F(MediaLocation, WithoutAPathServiceOnlyColoursAreAvailable) {
  const test::SwappedClass none(kPathServiceClassId, nullptr);
  EXPECT_FALSE(Available(In("there.mov")));
  EXPECT_TRUE(Available(L"color://red"));
}

TEST_F(MediaLocation, OverlongLocationsAreNotAvailable) {
  EXPECT_FALSE(Available(std::wstring(1 << 20, L'a')));
}

}  // namespace
