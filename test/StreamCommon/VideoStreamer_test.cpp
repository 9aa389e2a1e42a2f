#include "kiv/StreamCommon/VideoStreamer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>

#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"
#include "test/support/NodeOnFake.h"

namespace {

using test::Calls;
using test::Send;

struct VideoStreamer : testing::Test {
  void Attach() { Send(*node, CommandId::SetDecoder, decoder->AsUnknown()); }
  KivSize ScaledSize() {
    KivSize size{-1, -1};
    EXPECT_EQ(S_OK, Send(*node, CommandId::GetScaledSize, &size));
    return size;
  }

  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivComPtr<CVideoStreamer> node{new CVideoStreamer(nullptr)};
};

TEST_F(VideoStreamer, TellsANewDecoderPathSwitchAndSizeInThisOrder) {
  const KivSize size{1920, 1080};
  const KivRational half{1, 2};
  Send(*node, CommandId::SetOutputSize, &size);
  Send(*node, CommandId::SetDecodeScale, &half);
  Attach();
  EXPECT_EQ((Calls{"SetProxyOff 1", "SetOutputSize 960x540"}), decoder->log.Take());
  Send(*node, CommandId::SetProxyPath, L"/p.mov");
  Send(*node, CommandId::SetProxyEnabled, 1);
  decoder->log.Take();
  Attach();
  EXPECT_EQ((Calls{"SetProxyPath /p.mov", "SetProxyOff 0", "SetOutputSize 960x540"}),
            decoder->log.Calls());
}

TEST_F(VideoStreamer, TakesADecoderThatHasNoSize) {
  decoder->answersSize = false;
  Attach();
  const KivRational half{1, 2};
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetDecodeScale, &half));
  EXPECT_EQ(Calls{"SetProxyOff 1"}, decoder->log.Calls());
}

TEST_F(VideoStreamer, ANewScaleReachesTheDecoderAndAnEqualOneDoesNot) {
  Attach();
  decoder->log.Take();
  const KivRational half{1, 2}, same{2, 4}, third{1, 3};
  Send(*node, CommandId::SetDecodeScale, &half);
  EXPECT_EQ((KivSize{640, 360}), ScaledSize());
  Send(*node, CommandId::SetDecodeScale, &same);
  Send(*node, CommandId::SetDecodeScale, &third);
  EXPECT_EQ((Calls{"SetOutputSize 640x360", "SetOutputSize 427x240"}), decoder->log.Calls());
}

TEST_F(VideoStreamer, ANewOutputSizeWaitsForTheNextDecoder) {
  Attach();
  decoder->log.Take();
  const KivSize size{100, 50};
  EXPECT_EQ(S_OK, Send(*node, CommandId::SetOutputSize, &size));
  EXPECT_EQ(size, ScaledSize());
  EXPECT_EQ(Calls{}, decoder->log.Calls());
}

struct ScaleCase {
  KivSize size;
  KivRational scale;
  KivSize scaled;
};
struct VideoStreamerScale : testing::TestWithParam<ScaleCase> {};

TEST_P(VideoStreamerScale, IsRoundedAndSaturated) {
  const KivComPtr<CVideoStreamer> node(new CVideoStreamer(nullptr));
  Send(*node, CommandId::SetOutputSize, &GetParam().size);
  Send(*node, CommandId::SetDecodeScale, &GetParam().scale);
  KivSize scaled{-1, -1};
  Send(*node, CommandId::GetScaledSize, &scaled);
  EXPECT_EQ(GetParam().scaled, scaled);
}

INSTANTIATE_TEST_SUITE_P(
    Values, VideoStreamerScale,
    testing::Values(ScaleCase{{1280, 720}, {1, 1}, {1280, 720}}, ScaleCase{{1, 1}, {1, 3}, {0, 0}},
                    ScaleCase{{1, 1}, {1, 2}, {1, 1}}, ScaleCase{{1921, 3}, {1, 2}, {961, 2}},
                    ScaleCase{{-3, 0}, {1, 1}, {-2, 0}},  // truncation rounds these upwards
                    ScaleCase{{1280, 0}, {1, 0}, {INT_MAX, 0}},
                    ScaleCase{{1280, -1}, {INT64_MAX, 1}, {INT_MAX, INT_MIN}},
                    ScaleCase{{1280, 720}, {0, 1}, {0, 0}},
                    // By cross-multiplication 0/0 equals every scale: nothing changes.
                    ScaleCase{{1280, 720}, {0, 0}, {1280, 720}}));

TEST_F(VideoStreamer, NullRecordsAreRefusedAndChangeNothing) {
  for (const CommandId id :
       {CommandId::SetSourceFrameRate, CommandId::SetProxyPath, CommandId::GetProxyPath,
        CommandId::GetProxyEnabled, CommandId::GetScaledSize, CommandId::SetOutputSize,
        CommandId::SetDecodeScale}) {
    const HRESULT hr = Send(*node, id, static_cast<void*>(nullptr), 10);
    // A command that travels on answers with the upstream's result.
    EXPECT_EQ(id == CommandId::SetSourceFrameRate ? S_OK : E_POINTER, hr);
  }
  EXPECT_EQ((KivSize{1280, 720}), ScaledSize());
  EXPECT_EQ(400'000, node->FrameToTime(1));
}

// Which ids the source answers itself. All others leave the record as it was.
TEST_F(VideoStreamer, LeavesTheCommandsOfOtherNodesAlone) {
  constexpr uint32_t kOthers[] = {0x9C6, 0x9C8, 0x9C9, 0x9CA, 0x9CB, 0x9CC, 0x9CD, 0x9CE,
                                  0x9EF, 0x9F0, 0x9F1, 0x9F2, 0x9F3, 0x9F4, 0x9F5, 0x9F6,
                                  0x9F7, 0x9F8, 0x9F9, 0x9FA, 0x9FB, 0x9FC, 0xA02};
  Attach();
  decoder->log.Take();
  for (const uint32_t id : kOthers) {
    unsigned char record[2048];
    std::fill(std::begin(record), std::end(record), static_cast<unsigned char>(0x5A));
    EXPECT_EQ(S_OK, node->ProcessCommand(id, reinterpret_cast<uintptr_t>(record), 0)) << id;
    EXPECT_EQ(2048, std::count(std::begin(record), std::end(record), 0x5A)) << id;
  }
  EXPECT_EQ(Calls{}, decoder->log.Calls());
  EXPECT_EQ(32u, std::size(kCommandTable));
  EXPECT_EQ(32u - 9u, std::size(kOthers));
}

TEST_F(VideoStreamer, HandsOutDecodedFramesWithStatusZero) {
  Attach();
  decoder->readResult = S_FALSE;
  node->Seek(7, nullptr, 0);
  int32_t status = 77;
  const KivComPtr<IKivFrame> frame = node->GetCurrentFrame(&status);
  EXPECT_EQ(7, test::NumberIn(frame));
  EXPECT_EQ(7, test::IndexOf(frame));
  EXPECT_EQ(0, status);
}

TEST_F(VideoStreamer, AFrameWithoutIndexReportsItsQuery) {
  Attach();
  decoder->frame = KivComPtr<IKivFrame>::Adopt(new test::PlainFrame);
  int32_t status = 77;
  EXPECT_EQ(decoder->frame, node->GetCurrentFrame(&status));
  EXPECT_EQ(E_NOINTERFACE, status);
}

TEST_F(VideoStreamer, ReportsTheRequestedCountAsMoved) {
  Attach();
  int32_t moved = 0;
  EXPECT_EQ(S_OK, node->Skip(4, &moved));
  EXPECT_EQ(4, moved);
  EXPECT_EQ(S_OK, node->Skip(4, nullptr));
}

}  // namespace
