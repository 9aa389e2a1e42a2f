#include "kiv/StreamCommon/Streamer.h"

#include <gtest/gtest.h>

#include <climits>

#include "kiv/StreamCommon/VideoStreamer.h"
#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"
#include "test/support/LogCapture.h"
#include "test/support/NodeOnFake.h"

namespace {

using test::Calls;
using test::Send;

struct Streamer : testing::Test {
  void Attach() { Send(*node, CommandId::SetDecoder, decoder->AsUnknown()); }

  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivComPtr<CStreamer> node{new CStreamer(nullptr)};
};

TEST_F(Streamer, WorksOnThePositionAloneWithoutADecoder) {
  int64_t time = 5;
  EXPECT_EQ(0, node->GetPosition(&time));
  EXPECT_EQ(0, time);
  int32_t value = 0;
  EXPECT_EQ(S_OK, node->Skip(3, &value));
  EXPECT_EQ(3, value);
  EXPECT_EQ(S_OK, node->Seek(50, &value, 1));
  EXPECT_EQ(50, value);
  EXPECT_EQ(50, node->GetPosition(&time));
  EXPECT_EQ(20'000'000, time);
  int32_t status = 77;
  EXPECT_FALSE(node->GetCurrentFrame(&status));
  EXPECT_EQ(77, status);
}

TEST_F(Streamer, SeeksTheDecoderInTimeAndOnlyWhenItMoves) {
  Attach();
  node->Seek(0, nullptr, 0);
  node->Seek(5, nullptr, 1);
  decoder->seekResult = E_FAIL;
  EXPECT_EQ(S_OK, node->Seek(5, nullptr, 0));
  EXPECT_EQ(S_OK, node->Seek(6, nullptr, 7));
  EXPECT_EQ(6, node->GetPosition(nullptr));
  EXPECT_EQ((Calls{"Seek 0 mode 0", "Seek 2000000 mode 1", "Seek 2400000 mode 7"}),
            decoder->log.Calls());
}

TEST_F(Streamer, SkipsTheDecoderAndAdvancesWhateverItAnswers) {
  Attach();
  int32_t moved = 0;
  decoder->skipResult = E_FAIL;
  EXPECT_EQ(S_OK, node->Skip(3, &moved));
  EXPECT_EQ(3, moved);
  decoder->skipResult = S_FALSE;
  EXPECT_EQ(S_FALSE, node->Skip(2, nullptr));
  EXPECT_EQ(5, node->GetPosition(nullptr));
  EXPECT_EQ((Calls{"Skip 3", "Skip 2"}), decoder->log.Calls());
  node->Skip(INT_MAX, nullptr);
  EXPECT_EQ(INT_MAX, node->GetPosition(nullptr));
}

TEST_F(Streamer, AsksTheDecoderForTheTimeOnlyWhenItIsWanted) {
  Attach();
  decoder->time = 123456;
  int64_t time = 0;
  node->GetPosition(nullptr);
  EXPECT_EQ(Calls{}, decoder->log.Calls());
  EXPECT_EQ(0, node->GetPosition(&time));
  EXPECT_EQ(123456, time);
}

TEST_F(Streamer, WritesTheIndexIntoEveryFrame) {
  Attach();
  int32_t status = 77;
  KivComPtr<IKivFrame> frame = node->GetCurrentFrame(&status);
  EXPECT_EQ(0, test::IndexOf(frame));
  EXPECT_EQ(0, status);
  node->Seek(12, nullptr, 0);
  frame = node->GetCurrentFrame(nullptr);
  EXPECT_EQ(12, test::IndexOf(frame));
  EXPECT_EQ(12, test::NumberIn(frame));
}

TEST_F(Streamer, PassesFramesOnThatHaveNoIndex) {
  Attach();
  const auto plain = KivComPtr<IKivFrame>::Adopt(new test::PlainFrame);
  decoder->frame = plain;
  EXPECT_EQ(plain, node->GetCurrentFrame(nullptr));
  decoder->frame.Reset();
  decoder->makesFrames = false;
  decoder->readResult = S_FALSE;
  int32_t status = 77;
  EXPECT_FALSE(node->GetCurrentFrame(&status));
  EXPECT_EQ(S_FALSE, status);
}

TEST_F(Streamer, LogsAFailedReadAndReportsStatusOne) {
  Attach();
  decoder->readResult = E_UNSUPPORTED;
  test::LogCapture log;
  int32_t status = 77;
  EXPECT_FALSE(node->GetCurrentFrame(&status));
  EXPECT_EQ(1, status);
  ASSERT_EQ(1u, log.Lines().size());
  EXPECT_EQ(LogLevel::kFailure, log.Lines()[0].level);
  EXPECT_NE(std::string::npos,
            log.Lines()[0].text.find("CStreamer::GetCurrentFrame: hr 80060003  [Streamer.cpp, "));
}

TEST_F(Streamer, FlushForgetsThePositionAndLeavesTheDecoder) {
  Attach();
  node->Seek(5, nullptr, 0);
  decoder->log.Take();
  EXPECT_EQ(S_OK, node->Flush());
  EXPECT_EQ(0, node->GetPosition(nullptr));
  EXPECT_EQ(Calls{}, decoder->log.Take());
  node->Seek(0, nullptr, 0);
  EXPECT_EQ((Calls{"Seek 0 mode 0"}), decoder->log.Calls());
}

TEST_F(Streamer, HoldsOneDecoderAndGivesItBack) {
  Attach();
  EXPECT_EQ(2u, decoder->References());
  const auto second = test::FakeDecoder::Make();
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetDecoder, second->AsUnknown()));
  EXPECT_EQ(1u, decoder->References());
  EXPECT_EQ(2u, second->References());
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetDecoder));
  EXPECT_EQ(1u, second->References());
  Attach();
  node.Reset();
  EXPECT_EQ(1u, decoder->References());
}

TEST_F(Streamer, AnObjectThatIsNoDecoderDetaches) {
  Attach();
  const auto other = test::FakeNode::Make();
  EXPECT_EQ(E_NOINTERFACE, Send(*node, CommandId::SetDecoder, static_cast<IUnknown*>(other.Get())));
  EXPECT_EQ(1u, decoder->References());
  EXPECT_EQ(1u, other->References());
}

struct TimeCase {
  KivRational rate;
  int32_t index;
  int64_t time;
};
struct StreamerTime : testing::TestWithParam<TimeCase> {};

TEST_P(StreamerTime, IsTheTruncatedStartOfTheFrame) {
  const KivComPtr<CVideoStreamer> node(new CVideoStreamer(nullptr));
  Send(*node, CommandId::SetSourceFrameRate, &GetParam().rate);
  EXPECT_EQ(GetParam().time, node->FrameToTime(GetParam().index));
}

INSTANTIATE_TEST_SUITE_P(
    Rates, StreamerTime,
    testing::Values(TimeCase{{25, 1}, 1, 400'000}, TimeCase{{30000, 1001}, 1, 333'666},
                    TimeCase{{30000, 1001}, 30, 10'010'000}, TimeCase{{24000, 1001}, 1, 417'083},
                    TimeCase{{120, 1}, 1, 83'333}, TimeCase{{25, 1}, -5, -2'000'000},
                    TimeCase{{0, 1}, 1, INT64_MAX}, TimeCase{{0, 1}, -1, INT64_MIN},
                    TimeCase{{0, 1}, 0, 0}, TimeCase{{0, 0}, 7, 0}, TimeCase{{25, 0}, 7, 0},
                    TimeCase{{1, INT64_MAX}, INT_MAX, INT64_MAX}));

}  // namespace
