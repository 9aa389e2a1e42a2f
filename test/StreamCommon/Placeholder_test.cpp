#include "test/StreamCommon/StreamFixture.h"
#include "test/support/LogCapture.h"

namespace {

using test::Calls;
using test::NumberIn;
using test::SizeOf;

struct MissingMedia : test::MissingMediaFixture {};

TEST_F(MissingMedia, AFailedLookupIsFinal) {
  EXPECT_FALSE(MissingMediaImage());
  HavePicture();
  paths->log.Take();
  EXPECT_FALSE(MissingMediaImage());
  EXPECT_EQ(Calls{}, paths->log.Take());
  ForgetMissingMediaImage();
  EXPECT_EQ((KivSize{2, 1}), SizeOf(MissingMediaImage()));
}

TEST_F(MissingMedia, TakesStillPicturesThatExistOnly) {
  HavePicture("picture.mov");
  EXPECT_FALSE(MissingMediaImage());
  for (const std::wstring& path : {std::wstring(L"color://red"), (folder / "no.ppm").wstring()}) {
    ForgetMissingMediaImage();
    paths->value = path;
    EXPECT_FALSE(MissingMediaImage());
  }
  ForgetMissingMediaImage();
  const test::SwappedClass none(kPathServiceClassId, nullptr);
  EXPECT_FALSE(MissingMediaImage());
}

struct Placeholder : test::MissingMediaFixture {};

TEST_F(Placeholder, IsATransparentFrameOfTheClipsSizeStampedWithIndexAndTime) {
  UseRate({30000, 1001});
  node->Seek(30, nullptr, 0);
  const KivComPtr<IKivFrame> frame = Pull();
  EXPECT_EQ((KivSize{1280, 720}), SizeOf(frame));
  EXPECT_EQ(0, NumberIn(frame));
  EXPECT_EQ(30, test::IndexOf(frame));
  int64_t time = 0, duration = 0;
  frame->GetTime(&time, &duration);
  EXPECT_EQ(10'010'000, time);
  EXPECT_EQ(333'666, duration);
  EXPECT_EQ(E_FAIL, status);
}

TEST_F(Placeholder, IsOneFrameRestampedAndClearedEachTime) {
  const KivComPtr<IKivFrame> first = Pull();
  first->GetBitmap()->Fill(9);
  node->Seek(4, nullptr, 0);
  EXPECT_EQ(first, Pull());
  EXPECT_EQ(4, test::IndexOf(first));
  EXPECT_EQ(0, NumberIn(first));
  node->Flush();
  EXPECT_NE(first, Pull());
}

TEST_F(Placeholder, TellsWhyThereIsNoPicture) {
  Attach();
  decoder->frame = nullptr;
  decoder->readResult = S_FALSE;
  EXPECT_EQ(0, NumberIn(Pull()));
  EXPECT_EQ(S_FALSE, status);
  decoder->frame = test::MakeEmptyFrame();
  decoder->readResult = S_OK;
  EXPECT_EQ(0, NumberIn(Pull()));
  EXPECT_EQ(0, status);
  test::LogCapture log;
  decoder->readResult = E_UNSUPPORTED;
  EXPECT_EQ(0, NumberIn(Pull()));
  EXPECT_EQ(1, status);
  ASSERT_EQ(1u, log.lines.size());
  EXPECT_EQ(LogLevel::kFailure, log.lines[0].first);
  EXPECT_NE(std::string::npos,
            log.lines[0].second.find("CStreamer::GetCurrentFrame: hr 80060003  [Streamer.cpp, "));
}

TEST_F(Placeholder, CannotBeMadeWithoutASizeOrWithAHugeOne) {
  test::LogCapture log;
  UseSize({0, 720});
  EXPECT_FALSE(Pull());
  EXPECT_EQ(77, status);
  UseSize({1280, -1});
  EXPECT_FALSE(Pull());
  EXPECT_TRUE(log.lines.empty());
  for (const KivSize size : {KivSize{INT32_MAX, INT32_MAX}, KivSize{32768, 32768}}) {
    UseSize(size);
    EXPECT_FALSE(Pull()) << size.width;
  }
  // The log names the unscaled size.
  UseSize({1, 2});
  UseScale({1, 100});
  EXPECT_FALSE(Pull());
  ASSERT_EQ(3u, log.lines.size());
  EXPECT_EQ(LogLevel::kCreation, log.lines[2].first);
  EXPECT_NE(std::string::npos,
            log.lines[2].second.find(
                "Failed to create transparent frame,  size(1, 2)  [VideoStreamer.cpp, "));
}

TEST_F(Placeholder, IsTheMissingMediaPictureResizedByTheFilter) {
  HavePicture();
  UseSize({64, 36});
  UseScale({1, 2});
  node->Seek(3, nullptr, 0);
  const KivComPtr<IKivFrame> frame = Pull();
  EXPECT_EQ((KivSize{32, 18}), SizeOf(frame));
  EXPECT_EQ(4321, NumberIn(frame));
  EXPECT_EQ(3, test::IndexOf(frame));
  EXPECT_EQ(E_FAIL, status);
  EXPECT_EQ(Calls{"CreateFilter 2C6E0B5D-7F43-4A91-8D0A-3B5E94F1C6D2"}, manager->log.Take());
  const std::string first = "SetFirstInput " + std::to_string(NumberIn(MissingMediaImage()));
  EXPECT_EQ((Calls{"SetRects", "SetRunMode 0", "SetInputCount 1", first, "SetSecondInput null",
                   "Run 32x18", "ReadOutput"}),
            filter->log.Take());
  const KivRectF whole{0, 0, 1, 1};
  EXPECT_EQ(whole, filter->firstRect);
  EXPECT_EQ(whole, filter->secondRect);
}

TEST_F(Placeholder, TheMissingMediaPictureSurvivesANewSizeAndFollowsTheScaleOfADecoder) {
  HavePicture();
  const KivComPtr<IKivFrame> first = Pull();
  UseSize({10, 10});
  UseScale({1, 2});  // no decoder: the placeholder stays
  EXPECT_EQ(first, Pull());
  EXPECT_EQ(1u, manager->log.Take().size());
  node->Flush();
  EXPECT_EQ((KivSize{5, 5}), SizeOf(Pull()));
  Attach();
  decoder->readResult = E_FAIL;
  UseScale({1, 1});
  EXPECT_EQ((KivSize{10, 10}), SizeOf(Pull()));
}

TEST_F(Placeholder, FallsBackToTheTransparentFrameWhenTheFilterFails) {
  HavePicture();
  filter->readResult = E_FAIL;
  EXPECT_EQ(0, NumberIn(Pull()));
  filter->readResult = S_OK;
  filter->runResult = E_FAIL;
  EXPECT_EQ(0, NumberIn(Pull()));
  manager->filter.Reset();
  EXPECT_EQ(0, NumberIn(Pull()));
}

}  // namespace
