// Positions outside the clip, output sizes, the proxy, and how much is decoded for a request.
#include <gtest/gtest.h>

#include <random>

#include "test/media/Clips.h"

namespace {

using kivtest::CurrentNumber;
using kivtest::MakeClip;
using kivtest::NumberAt;
using kivtest::OpenClip;

constexpr int64_t kFrame = 400'000;

struct Move {
  int64_t time;   // sought when not 0 ...
  int32_t count;  // ... and then skipped by this
  int32_t moved;
  int number;
};

TEST(DecoderPosition, IsKeptOutsideTheClip) {
  const auto decoder = OpenClip({.bFrames = 3});  // 60 frames
  const Move moves[] = {
      {0, -5, 0, 0},
      {0, 7, 2, 2},  // from -5
      {0, 57, 57, 59},
      {0, 1, 0, 59},
      {0, -1, 0, 59},
      {0, -1000, -59, 0},
      {0, INT32_MAX, 59, 59},
      {0, INT32_MIN, -59, 0},
      {70 * kFrame, 0, 0, 59},
      {0, -15, -4, 55},
      {70 * kFrame, -75, -59, 0},
      {0, 6, 1, 1},
      {INT64_MIN, 0, 0, 0},
      {60 * kFrame, 0, 0, 59},
      {-kFrame, 0, 0, 0},
      {INT64_MAX, 0, 0, 59},
  };
  for (const Move& move : moves) {
    SCOPED_TRACE("move " + std::to_string(&move - moves));
    if (move.time != 0) decoder->Seek(move.time, 0);
    int32_t moved = 12345;
    EXPECT_EQ(S_OK, decoder->Skip(move.count, &moved));
    EXPECT_EQ(move.moved, moved);
    EXPECT_EQ(move.number, CurrentNumber(decoder));
  }
}

TEST(DecoderFrames, ComeAtTheWantedSizeWithoutDecodingAgain) {
  const auto decoder = OpenClip({.bFrames = 3});
  ASSERT_EQ(30, NumberAt(decoder, 30 * kFrame));
  const int64_t decoded = kivtest::StatsOf(decoder).picturesDecoded;
  const auto sizes = decoder.As<IKivDecoderSize>();
  for (const KivSize size : {KivSize{96, 56}, KivSize{384, 224}, KivSize{101, 333}}) {
    ASSERT_EQ(S_OK, sizes->SetOutputSize(&size));
    const auto frame = kivtest::CurrentFrame(decoder);
    EXPECT_EQ(size, (KivSize{frame->GetBitmap()->GetWidth(), frame->GetBitmap()->GetHeight()}));
    EXPECT_EQ(30, kivtest::NumberOf(frame));
  }
  EXPECT_EQ(decoded, kivtest::StatsOf(decoder).picturesDecoded);
  for (const KivSize refused : {KivSize{0, 56}, KivSize{32768, 32768}}) {
    EXPECT_EQ(E_INVALIDARG, sizes->SetOutputSize(&refused));
  }
  EXPECT_EQ(E_POINTER, sizes->SetOutputSize(nullptr));
}

TEST(DecoderFrames, OfTwoDecodersOfOneSourceAreIndependent) {
  KivComPtr<IKivMediaSource> source;
  ASSERT_EQ(S_OK, KivCommon::GetInterface(kMediaSourceClassId, nullptr, 0, IKivMediaSource::kIid,
                                          source.PutVoid()));
  KivComPtr<IKivMediaDecoder> up, down;
  EXPECT_EQ(E_NOTREADY, source->GetVideoStream(0, up.Put()));
  const std::string path = MakeClip({.bFrames = 3});
  ASSERT_EQ(S_OK, source->Open(KivCommon::Char2WChar(path.c_str()).c_str(), 0));
  EXPECT_EQ(E_NOTREADY, source->GetVideoStream(1, up.Put()));
  ASSERT_EQ(S_OK, source->GetVideoStream(0, up.Put()));
  ASSERT_EQ(S_OK, source->GetVideoStream(0, down.Put()));
  source.Reset();
  for (int i = 0; i < 60; ++i) {
    EXPECT_EQ(i, NumberAt(up, i * kFrame));
    EXPECT_EQ(59 - i, NumberAt(down, (59 - i) * kFrame));
  }
}

// One decoding thread: more of them read ahead by one picture each.
TEST(DecodingWork, OfARequestEndsWithTheDistanceFromItsKeyFrame) {
  constexpr int kGroup = 20;
  constexpr int kApart = 30;
  constexpr int kReordering = 2;  // pictures the codec holds back, with three B-frames
  const auto decoder = OpenClip({.frames = 200, .gop = kGroup, .bFrames = 3}, 1);
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  KivDecoderStats before = kivtest::StatsOf(decoder);
  int frame = 0;
  for (int i = 0; i < 200; ++i) {
    // Far enough from the last request not to be taken for a step backwards.
    frame = (frame + kApart + static_cast<int>(random() % (200u - 2 * kApart))) % 200;
    ASSERT_EQ(frame, NumberAt(decoder, frame * kFrame));
    const KivDecoderStats after = kivtest::StatsOf(decoder);
    EXPECT_LE(after.picturesDecoded - before.picturesDecoded, frame % kGroup + 1 + 2 * kReordering)
        << "frame " << frame;
    EXPECT_EQ(before.picturesConverted + 1, after.picturesConverted);
    before = after;
  }
}

TEST(DecodingWork, OfReadingOnIsEveryPictureOnceAndOfSkippingGroupsNone) {
  for (const int step : {1, 12}) {
    const auto decoder = OpenClip({.gop = 6}, step == 1 ? 0 : 1);
    for (int frame = 0; frame < 60; frame += step) {
      ASSERT_EQ(frame, CurrentNumber(decoder));
      decoder->Skip(step, nullptr);
    }
    const KivDecoderStats stats = kivtest::StatsOf(decoder);
    EXPECT_EQ(60 / step, stats.picturesDecoded);
    EXPECT_EQ(60 / step, stats.picturesConverted);
    if (step == 1) {
      EXPECT_EQ(0, stats.seeks);
    }
  }
}

TEST(Proxy, ShowsTheSameMomentAtTheClipsSizeWhileItIsOn) {
  const std::string path = MakeClip({.size = {96, 56}, .rate = {50, 1}, .frames = 120});
  const std::wstring proxy = KivCommon::Char2WChar(path.c_str());
  const auto decoder = OpenClip({.bFrames = 3});
  decoder->Seek(10 * kFrame, 0);
  decoder->SetProxyPath(L"/nowhere/at/all.mp4");
  decoder->SetProxyOff(false);
  EXPECT_EQ(10, CurrentNumber(decoder)) << "a proxy that cannot be opened leaves the clip";
  decoder->SetProxyPath(proxy.c_str());
  const auto frame = kivtest::CurrentFrame(decoder);
  EXPECT_EQ(20, kivtest::NumberOf(frame));
  EXPECT_EQ(192, frame->GetBitmap()->GetWidth());
  int64_t time = 0, duration = 0;
  frame->GetTime(&time, &duration);
  EXPECT_EQ(10 * kFrame, time);
  EXPECT_EQ(kFrame, duration);
  EXPECT_EQ(10, frame.As<IKivVideoFrame>()->GetFrameIndex());
  decoder->Skip(3, nullptr);
  EXPECT_EQ(26, CurrentNumber(decoder));
  EXPECT_EQ(20, kivtest::NumberOf(frame)) << "a frame belongs to whoever read it";
  decoder->SetProxyOff(true);
  EXPECT_EQ(13, CurrentNumber(decoder));
  decoder->Skip(-4, nullptr);
  decoder->SetProxyOff(false);
  EXPECT_EQ(18, CurrentNumber(decoder));
  decoder->SetProxyPath(nullptr);
  EXPECT_EQ(9, CurrentNumber(decoder));
}

}  // namespace
