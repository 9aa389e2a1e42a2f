#include "engine/common/PathService.h"

#include <gtest/gtest.h>

#include <string>

#include "kiv/platform/KivCommon.h"
#include "test/common/TemporaryFolder.h"

namespace kiv {
namespace {

KivComPtr<IKivPathService> Service() {
  KivComPtr<IKivPathService> service;
  KivCommon::GetInterface(kPathServiceClassId, nullptr, 0, IKivPathService::kIid,
                          service.PutVoid());
  return service;
}

struct LocationCase {
  const char* name;
  std::wstring location;
  std::wstring expected;  // ROOT and HERE stand for the media root and the current folder
};

class Location : public testing::TestWithParam<LocationCase> {
 protected:
  void SetUp() override {
    folder_.Write("root/clips/a.mp4", "x");
    folder_.Write("here/b.mp4", "x");
    folder_.Write("here/clips/a.mp4", "x");
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_ / "here");
    SetMediaRoot((folder_ / "root").wstring());
  }
  void TearDown() override {
    SetMediaRoot(L"");
    std::filesystem::current_path(previous_);
  }

  std::wstring Expected() const {
    const std::wstring& text = GetParam().expected;
    return text.starts_with(L"ROOT") ? (folder_ / "root").wstring() + text.substr(4) : text;
  }

  TemporaryFolder folder_;
  std::filesystem::path previous_;
};

TEST_P(Location, StandsForAPath) {
  wchar_t buffer[2048] = {};
  ASSERT_EQ(S_OK, Service()->TranslateLocation(GetParam().location.c_str(), buffer, 2048));
  EXPECT_EQ(Expected(), buffer);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, Location,
    testing::Values(LocationCase{"MediaUnderTheRoot", L"media://clips/a.mp4", L"ROOT/clips/a.mp4"},
                    LocationCase{"MediaThatIsNowhere", L"media://none.mp4", L"ROOT/none.mp4"},
                    LocationCase{"MediaThatIsOnlyHere", L"media://b.mp4", L"b.mp4"},
                    LocationCase{"MediaWithDotsInside", L"media://x/../clips/./a.mp4",
                                 L"ROOT/x/../clips/./a.mp4"},
                    LocationCase{"MediaWithAnAbsolutePath", L"media:///etc/passwd", L"/etc/passwd"},
                    LocationCase{"PlainThatIsHere", L"clips/a.mp4", L"clips/a.mp4"},
                    LocationCase{"PlainThatIsNowhere", L"none.mp4", L"none.mp4"},
                    LocationCase{"PlainAbsolute", L"/no/such/file", L"/no/such/file"},
                    LocationCase{"PlainThatClimbs", L"../root/../none", L"../root/../none"},
                    LocationCase{"ColourIsHandedOn", L"color://#ff0000", L"color://#ff0000"},
                    LocationCase{"SchemeInOtherCase", L"Media://clips/a.mp4",
                                 L"Media://clips/a.mp4"},
                    LocationCase{"Nothing", L"", L""}),
    [](const auto& test) { return test.param.name; });

TEST_F(Location, ARelativePathIsSoughtUnderTheRootWhenItIsNotHere) {
  folder_.Write("root/c.mp4", "x");
  wchar_t buffer[2048] = {};
  ASSERT_EQ(S_OK, Service()->TranslateLocation(L"c.mp4", buffer, 2048));
  EXPECT_EQ((folder_ / "root").wstring() + L"/c.mp4", buffer);
}

TEST_F(Location, NothingLeavesTheMediaRoot) {
  for (const wchar_t* const location :
       {L"media://..", L"media://../here/b.mp4", L"media://clips/../../here/b.mp4",
        L"media://./..//../x", L"media://clips/.././../x"}) {
    wchar_t buffer[16] = L"untouched";
    EXPECT_EQ(E_INVALIDARG, Service()->TranslateLocation(location, buffer, 16)) << location;
    EXPECT_STREQ(L"untouched", buffer);
  }
}

TEST(PathService, WithoutARootALocationIsTheNakedPath) {
  wchar_t buffer[64] = {};
  ASSERT_EQ(S_OK, Service()->TranslateLocation(L"media://a/b.mp4", buffer, 64));
  EXPECT_STREQ(L"a/b.mp4", buffer);
}

TEST(PathService, NamedValuesComeAndGo) {
  const auto service = Service();
  wchar_t buffer[32] = L"untouched";
  EXPECT_EQ(E_NOTFOUND, service->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 32));
  EXPECT_STREQ(L"untouched", buffer);
  SetNamedValue(kMissingPictureName, L"/pictures/none.jpg");
  EXPECT_EQ(S_OK, service->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 32));
  EXPECT_STREQ(L"/pictures/none.jpg", buffer);
  ClearNamedValue(kMissingPictureName);
  EXPECT_EQ(E_NOTFOUND, service->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 32));
}

TEST(PathService, TextsAreCutToTheBufferAndTerminated) {
  wchar_t buffer[] = L"######";
  EXPECT_EQ(S_OK, Service()->TranslateLocation(L"/abcdef", buffer, 4));
  EXPECT_EQ(std::wstring(L"/ab\0##", 6), std::wstring(buffer, 6));
  EXPECT_EQ(E_INVALIDARG, Service()->TranslateLocation(L"/abcdef", buffer, 0));
  EXPECT_EQ(E_POINTER, Service()->TranslateLocation(L"/abcdef", nullptr, 4));
  EXPECT_EQ(E_INVALIDARG, Service()->TranslateLocation(nullptr, buffer, 4));
  EXPECT_EQ(E_INVALIDARG, Service()->GetNamedValue(nullptr, buffer, 4));
  EXPECT_EQ(std::wstring(L"/ab\0##", 6), std::wstring(buffer, 6));
}

}  // namespace
}  // namespace kiv
