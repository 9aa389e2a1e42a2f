#include "engine/registry/PathService.h"

#include <gtest/gtest.h>

#include <string>

#include "kiv/platform/KivCommon.h"
#include "test/support/TemporaryFolder.h"

namespace kiv {
namespace {

class PathService : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* file : {"root/clips/a.mp4", "root/c.mp4", "here/b.mp4", "here/clips/a.mp4"}) {
      folder_.Write(file, "x");
    }
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_ / "here");
    SetMediaRoot((folder_ / "root").wstring());
    KivCommon::GetInterface(kPathServiceClassId, nullptr, 0, IKivPathService::kIid,
                            service_.PutVoid());
  }
  void TearDown() override {
    SetMediaRoot(L"");
    std::filesystem::current_path(previous_);
  }

  std::wstring Translated(const wchar_t* location) const {
    wchar_t buffer[2048] = {};
    EXPECT_EQ(S_OK, service_->TranslateLocation(location, buffer, 2048));
    return buffer;
  }

  TemporaryFolder folder_;
  std::filesystem::path previous_;
  KivComPtr<IKivPathService> service_;
};

TEST_F(PathService, LocationsStandForPaths) {
  const std::wstring root = (folder_ / "root").wstring();
  const std::pair<const wchar_t*, std::wstring> kCases[] = {
      {L"media://clips/a.mp4", root + L"/clips/a.mp4"},
      {L"media://none.mp4", root + L"/none.mp4"},
      {L"media://b.mp4", L"b.mp4"},  // is only here
      {L"media://x/../clips/./a.mp4", root + L"/x/../clips/./a.mp4"},
      {L"media:///etc/passwd", L"/etc/passwd"},
      {L"clips/a.mp4", L"clips/a.mp4"},
      {L"c.mp4", root + L"/c.mp4"},  // is not here
      {L"none.mp4", L"none.mp4"},
      {L"/no/such/file", L"/no/such/file"},
      {L"../root/../none", L"../root/../none"},
      {L"color://#ff0000", L"color://#ff0000"},
      {L"Media://clips/a.mp4", L"Media://clips/a.mp4"},
      {L"", L""}};
  for (const auto& [location, expected] : kCases) EXPECT_EQ(expected, Translated(location));
  SetMediaRoot(L"");
  EXPECT_EQ(L"a/b.mp4", Translated(L"media://a/b.mp4")) << "without a root";
}

TEST_F(PathService, NothingLeavesTheMediaRoot) {
  for (const wchar_t* const location : {L"media://..", L"media://clips/../../here/b.mp4",
                                        L"media://./..//../x", L"media://clips/.././../x"}) {
    wchar_t buffer[16] = L"untouched";
    EXPECT_EQ(E_INVALIDARG, service_->TranslateLocation(location, buffer, 16)) << location;
    EXPECT_STREQ(L"untouched", buffer);
  }
}

TEST_F(PathService, TextsFitOrAreRefusedAndNamedValuesComeAndGo) {
  wchar_t buffer[] = L"untouched";
  EXPECT_EQ(E_NOTFOUND, service_->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 9));
  EXPECT_EQ(E_INVALIDARG, service_->TranslateLocation(L"/abcdef", buffer, 0));
  EXPECT_EQ(E_POINTER, service_->TranslateLocation(L"/abcdef", nullptr, 4));
  EXPECT_EQ(E_INVALIDARG, service_->TranslateLocation(nullptr, buffer, 4));
  EXPECT_STREQ(L"untouched", buffer);
  EXPECT_EQ(E_INSUFFICIENT_BUFFER, service_->TranslateLocation(L"/abcdef", buffer, 7));
  EXPECT_STREQ(L"untouched", buffer) << "a path that is cut names another file";
  EXPECT_EQ(S_OK, service_->TranslateLocation(L"/abcdef", buffer, 8));
  EXPECT_STREQ(L"/abcdef", buffer);
  SetNamedValue(kMissingPictureName, L"/a.jpg");
  EXPECT_EQ(S_OK, service_->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 9));
  EXPECT_STREQ(L"/a.jpg", buffer);
  EXPECT_EQ(E_INSUFFICIENT_BUFFER, service_->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 6));
  ClearNamedValue(kMissingPictureName);
  EXPECT_EQ(E_NOTFOUND, service_->GetNamedValue(L"NOT_FOUND_JPEG_PATH", buffer, 9));
}

}  // namespace
}  // namespace kiv
