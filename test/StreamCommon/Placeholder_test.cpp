#include <gtest/gtest.h>

#include "kiv/StreamCommon/VideoStreamer.h"
#include "test/StreamCommon/MissingMediaFixture.h"
#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"
#include "test/support/LogCapture.h"
#include "test/support/NodeOnFake.h"

namespace {

using test::Calls;
using test::NumberIn;
using test::Send;
using test::SizeOf;

class Placeholder : public test::MissingMediaFixture {
 protected:
  void Attach() { Send(*node_, CommandId::SetDecoder, decoder_->AsUnknown()); }
  void UseSize(const KivSize& size) { Send(*node_, CommandId::SetOutputSize, &size); }
  void UseScale(const KivRational& scale) { Send(*node_, CommandId::SetDecodeScale, &scale); }
  KivComPtr<IKivFrame> Pull() {
    status_ = 77;
    return node_->GetCurrentFrame(&status_);
  }

  KivComPtr<test::FakeDecoder> decoder_ = test::FakeDecoder::Make();
  KivComPtr<CVideoStreamer> node_{new CVideoStreamer(nullptr)};
  int32_t status_ = 77;
};

TEST_F(Placeholder, IsATransparentFrameOfTheClipsSizeStampedWithIndexAndTime) {
  const KivRational rate{30000, 1001};
  Send(*node_, CommandId::SetSourceFrameRate, &rate);
  node_->Seek(30, nullptr, 0);
  const KivComPtr<IKivFrame> frame = Pull();
  EXPECT_EQ((KivSize{1280, 720}), SizeOf(frame));
  EXPECT_EQ(0, NumberIn(frame));
  EXPECT_EQ(30, test::IndexOf(frame));
  int64_t time = 0, duration = 0;
  frame->GetTime(&time, &duration);
  EXPECT_EQ(10'010'000, time);
  EXPECT_EQ(333'666, duration);
  EXPECT_EQ(E_FAIL, status_);
}

TEST_F(Placeholder, IsOneFrameRestampedAndClearedEachTime) {
  const KivComPtr<IKivFrame> first = Pull();
  first->GetBitmap()->Fill(9);
  node_->Seek(4, nullptr, 0);
  EXPECT_EQ(first, Pull());
  EXPECT_EQ(4, test::IndexOf(first));
  EXPECT_EQ(0, NumberIn(first));
}

TEST_F(Placeholder, TellsWhyThereIsNoPicture) {
  Attach();
  decoder_->makesFrames = false;
  decoder_->readResult = S_FALSE;
  EXPECT_TRUE(Pull());
  EXPECT_EQ(S_FALSE, status_);
  decoder_->frame = test::MakeEmptyFrame();
  decoder_->readResult = S_OK;
  EXPECT_EQ(0, NumberIn(Pull()));
  EXPECT_EQ(0, status_);
  decoder_->readResult = E_UNSUPPORTED;
  EXPECT_EQ(0, NumberIn(Pull()));
  EXPECT_EQ(1, status_);
  EXPECT_TRUE(node_->GetCurrentFrame(nullptr));
}

TEST_F(Placeholder, GoesWithAFlush) {
  const KivComPtr<IKivFrame> first = Pull();
  node_->Flush();
  EXPECT_NE(first, Pull());
}

TEST_F(Placeholder, FollowsTheScaleOfAnAttachedDecoder) {
  Attach();
  decoder_->readResult = E_FAIL;
  const KivComPtr<IKivFrame> first = Pull();
  UseScale({1, 2});
  const KivComPtr<IKivFrame> second = Pull();
  EXPECT_EQ((KivSize{640, 360}), SizeOf(second));
  EXPECT_NE(first, second);
}

TEST_F(Placeholder, CannotBeMadeWithoutASize) {
  test::LogCapture log;
  UseSize({0, 720});
  EXPECT_FALSE(Pull());
  EXPECT_EQ(77, status_);
  UseSize({1280, -1});
  EXPECT_FALSE(Pull());
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(Placeholder, LogsTheUnscaledSizeOfAFrameThatCannotBeMade) {
  test::LogCapture log;
  UseSize({1, 2});
  UseScale({1, 100});
  EXPECT_FALSE(Pull());
  EXPECT_EQ(77, status_);
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(LogLevel::kCreation, log.Lines()[0].level);
  EXPECT_NE(std::string::npos,
            log.Lines()[0].text.find(
                "Failed to create transparent frame,  size(1, 2)  [VideoStreamer.cpp, "));
}

TEST_F(Placeholder, HugeSizesGiveNoFrameAndNoMemory) {
  UseSize({INT32_MAX, INT32_MAX});
  UseScale({INT64_MAX, 1});
  EXPECT_FALSE(Pull());
}

TEST_F(Placeholder, IsTheMissingMediaPictureResizedByTheFilter) {
  paths_->value = WritePicture();
  UseSize({64, 36});
  UseScale({1, 2});
  node_->Seek(3, nullptr, 0);
  const KivComPtr<IKivFrame> frame = Pull();
  EXPECT_EQ((KivSize{32, 18}), SizeOf(frame));
  EXPECT_EQ(4321, NumberIn(frame));
  EXPECT_EQ(3, test::IndexOf(frame));
  EXPECT_EQ(E_FAIL, status_);
  EXPECT_EQ(Calls{"CreateFilter 2C6E0B5D-7F43-4A91-8D0A-3B5E94F1C6D2"}, manager_->log.Calls());
  EXPECT_EQ((Calls{"SetRects", "SetRunMode 0", "SetInputCount 1", "SetFirstInput",
                   "SetSecondInput null", "Run 32x18", "ReadOutput"}),
            filter_->log.Calls());
  const KivRectF whole{0, 0, 1, 1};
  EXPECT_EQ(whole, filter_->firstRect);
  EXPECT_EQ(whole, filter_->secondRect);
  EXPECT_EQ(NumberIn(MissingMediaImage()), filter_->firstInputNumber);
}

TEST_F(Placeholder, TheMissingMediaPictureIsMadeOnceAndSurvivesANewSize) {
  paths_->value = WritePicture();
  const KivComPtr<IKivFrame> first = Pull();
  UseSize({10, 10});
  EXPECT_EQ(first, Pull());
  UseScale({1, 2});  // no decoder: the placeholder stays
  EXPECT_EQ(first, Pull());
  EXPECT_EQ(1u, manager_->log.Calls().size());
  node_->Flush();
  EXPECT_EQ((KivSize{5, 5}), SizeOf(Pull()));
}

TEST_F(Placeholder, TheMissingMediaPictureFollowsTheScaleOfAnAttachedDecoder) {
  paths_->value = WritePicture();
  Attach();
  decoder_->readResult = E_FAIL;
  EXPECT_EQ((KivSize{1280, 720}), SizeOf(Pull()));
  UseScale({1, 2});
  EXPECT_EQ((KivSize{640, 360}), SizeOf(Pull()));
}

struct FilterFault {
  const char* name;
  void (*cause)(test::FakeFilter& filter, test::FakeFilterManager& manager);
};
class PlaceholderFault : public Placeholder, public testing::WithParamInterface<FilterFault> {};

TEST_P(PlaceholderFault, FallsBackToTheTransparentFrame) {
  paths_->value = WritePicture();
  GetParam().cause(*filter_, *manager_);
  const KivComPtr<IKivFrame> frame = Pull();
  EXPECT_EQ((KivSize{1280, 720}), SizeOf(frame));
  EXPECT_EQ(0, NumberIn(frame));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, PlaceholderFault,
    testing::Values(FilterFault{"noFilter", [](auto&, auto& m) { m.filter.Reset(); }},
                    FilterFault{"failedRun", [](auto& f, auto&) { f.runResult = E_FAIL; }},
                    FilterFault{"failedRead", [](auto& f, auto&) { f.readResult = E_FAIL; }}),
    [](const auto& c) { return std::string(c.param.name); });

}  // namespace
