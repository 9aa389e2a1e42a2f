// Positions outside the clip, output sizes, the proxy, and how much is decoded for a request.
#include <gtest/gtest.h>

#include <random>

#include "test/media/Clips.h"

namespace {

using kivtest::ClipRecipe;
using kivtest::CurrentNumber;
using kivtest::MakeClip;
using kivtest::OpenDecoder;

constexpr int64_t kFrame = 400'000;

ClipRecipe Grouped(int gop, int bFrames) {
  ClipRecipe recipe;
  recipe.gop = gop;
  recipe.bFrames = bFrames;
  return recipe;
}

struct Move {
  int64_t time;   // sought when not negative ...
  int32_t count;  // ... and then skipped by this
  int32_t moved;
  int number;
};

TEST(DecoderPosition, IsKeptOutsideTheClip) {
  const auto decoder = OpenDecoder(MakeClip(Grouped(12, 3)));  // 60 frames
  ASSERT_TRUE(decoder);
  const Move moves[] = {
      {-1, -5, 0, 0},
      {-1, 7, 2, 2},  // from -5
      {-1, 57, 57, 59},
      {-1, 1, 0, 59},
      {-1, -1, 0, 59},
      {-1, -1, -1, 58},
      {-1, 1000, 1, 59},
      {-1, -1000, -1, 58},
      {-1, INT32_MAX, 1, 59},
      {-1, INT32_MIN, -2, 57},
      {70 * kFrame, 0, 0, 59},
      {-1, -15, -4, 55},
      {70 * kFrame, -75, -59, 0},
      {-1, 6, 1, 1},
  };
  for (size_t i = 0; i < std::size(moves); ++i) {
    SCOPED_TRACE("move " + std::to_string(i));
    const Move& move = moves[i];
    if (move.time >= 0) decoder->Seek(move.time, 0);
    int32_t moved = 12345;
    EXPECT_EQ(S_OK, decoder->Skip(move.count, &moved));
    EXPECT_EQ(move.moved, moved);
    EXPECT_EQ(move.number, CurrentNumber(decoder.Get()));
  }
}

TEST(DecoderPosition, TimesBeforeAndBehindTheClipGiveItsEnds) {
  const auto decoder = OpenDecoder(MakeClip(Grouped(12, 3)));
  ASSERT_TRUE(decoder);
  for (const int64_t time : {INT64_MIN, int64_t{-1'000'000}, int64_t{-400'000}}) {
    decoder->Seek(time, 0);
    EXPECT_EQ(0, CurrentNumber(decoder.Get()));
  }
  for (const int64_t time : {60 * kFrame, int64_t{1} << 40, INT64_MAX}) {
    decoder->Seek(time, 1);
    EXPECT_EQ(59, CurrentNumber(decoder.Get()));
  }
}

TEST(DecoderFrames, CarryTimeAndIndexAndBelongToTheCaller) {
  const auto decoder = OpenDecoder(MakeClip(Grouped(12, 3)));
  ASSERT_TRUE(decoder);
  decoder->Seek(7 * kFrame, 0);
  KivComPtr<IKivFrame> first;
  KivComPtr<IKivFrame> again;
  ASSERT_EQ(S_OK, decoder->ReadCurrentFrame(&first));
  ASSERT_EQ(S_OK, decoder->ReadCurrentFrame(&again));
  EXPECT_NE(first->GetPixels(), again->GetPixels());
  decoder->Skip(1, nullptr);
  ASSERT_EQ(S_OK, decoder->ReadCurrentFrame(&again));
  EXPECT_EQ(7, kivtest::ReadNumber(static_cast<uint8_t*>(first->GetPixels()), 192, 112));
  int64_t time = 0;
  int64_t duration = 0;
  again->GetTime(&time, &duration);
  EXPECT_EQ(8 * kFrame, time);
  EXPECT_EQ(kFrame, duration);
  EXPECT_EQ(8, again.As<IKivVideoFrame>()->GetFrameIndex());
}

TEST(DecoderFrames, ComeAtTheWantedSizeWithoutDecodingAgain) {
  const auto decoder = OpenDecoder(MakeClip(Grouped(12, 3)));
  ASSERT_TRUE(decoder);
  decoder->Seek(30 * kFrame, 0);
  ASSERT_EQ(30, CurrentNumber(decoder.Get()));
  const int64_t decoded = kivtest::StatsOf(decoder).picturesDecoded;
  const auto sizes = decoder.As<IKivDecoderSize>();
  for (const KivSize size : {KivSize{96, 56}, KivSize{384, 224}, KivSize{101, 333}}) {
    ASSERT_EQ(S_OK, sizes->SetOutputSize(&size));
    KivComPtr<IKivFrame> frame;
    ASSERT_EQ(S_OK, decoder->ReadCurrentFrame(&frame));
    EXPECT_EQ(size.width, frame->GetBitmap()->GetWidth());
    EXPECT_EQ(size.height, frame->GetBitmap()->GetHeight());
    EXPECT_EQ(30, CurrentNumber(decoder.Get()));
  }
  EXPECT_EQ(decoded, kivtest::StatsOf(decoder).picturesDecoded);
  const KivSize refused{0, 56};
  EXPECT_EQ(E_INVALIDARG, sizes->SetOutputSize(&refused));
  EXPECT_EQ(E_POINTER, sizes->SetOutputSize(nullptr));
  KivSize source;
  EXPECT_EQ(S_OK, sizes->GetSourceSize(&source));
  EXPECT_EQ((KivSize{192, 112}), source);
}

TEST(DecoderFrames, OfTwoDecodersOfOneSourceAreIndependent) {
  KivComPtr<IKivMediaSource> source;
  ASSERT_EQ(S_OK, KivCommon::GetInterface(kMediaSourceClassId, nullptr, 0, IKivMediaSource::kIid,
                                          source.PutVoid()));
  KivComPtr<IKivMediaDecoder> decoders[2];
  EXPECT_EQ(E_NOTREADY, source->GetVideoStream(0, decoders[0].Put()));
  const std::string path = MakeClip(Grouped(12, 3));
  ASSERT_EQ(S_OK, source->Open(KivCommon::Char2WChar(path.c_str()).c_str(), 0));
  EXPECT_EQ(E_NOTREADY, source->GetVideoStream(1, decoders[0].Put()));
  EXPECT_FALSE(decoders[0]);
  for (auto& decoder : decoders) ASSERT_EQ(S_OK, source->GetVideoStream(0, decoder.Put()));
  source.Reset();
  for (int i = 0; i < 60; ++i) {
    decoders[0]->Seek(i * kFrame, 0);
    decoders[1]->Seek((59 - i) * kFrame, 0);
    EXPECT_EQ(i, CurrentNumber(decoders[0].Get()));
    EXPECT_EQ(59 - i, CurrentNumber(decoders[1].Get()));
  }
}

// One decoding thread: more of them read ahead by one picture each.
TEST(DecodingWork, OfARequestEndsWithTheDistanceFromItsKeyFrame) {
  constexpr int kGroup = 20;
  constexpr int kReordering = 2;  // pictures the codec holds back, with three B-frames
  ClipRecipe recipe = Grouped(kGroup, 3);
  recipe.frames = 200;
  const auto decoder = OpenDecoder(MakeClip(recipe), 1);
  ASSERT_TRUE(decoder);
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  KivDecoderStats before = kivtest::StatsOf(decoder);
  for (int i = 0; i < 200; ++i) {
    const int frame = static_cast<int>(random() % 200u);
    decoder->Seek(frame * kFrame, 0);
    ASSERT_EQ(frame, CurrentNumber(decoder.Get()));
    const KivDecoderStats after = kivtest::StatsOf(decoder);
    EXPECT_LE(after.picturesDecoded - before.picturesDecoded, frame % kGroup + 1 + 2 * kReordering)
        << "frame " << frame;
    EXPECT_EQ(before.picturesConverted + 1, after.picturesConverted);
    before = after;
  }
}

TEST(DecodingWork, ReadingOnDecodesEveryPictureOnce) {
  const auto decoder = OpenDecoder(MakeClip(Grouped(12, 3)));
  ASSERT_TRUE(decoder);
  for (int frame = 0; frame < 60; ++frame) {
    ASSERT_EQ(frame, CurrentNumber(decoder.Get()));
    decoder->Skip(1, nullptr);
  }
  const KivDecoderStats stats = kivtest::StatsOf(decoder);
  EXPECT_EQ(60, stats.picturesDecoded);
  EXPECT_EQ(60, stats.picturesConverted);
  EXPECT_EQ(0, stats.seeks);
}

TEST(DecodingWork, SkippingOverGroupsDecodesNoneOfTheirPictures) {
  const auto decoder = OpenDecoder(MakeClip(Grouped(6, 0)), 1);
  ASSERT_TRUE(decoder);
  for (int frame = 0; frame < 60; frame += 12) {
    ASSERT_EQ(frame, CurrentNumber(decoder.Get()));
    decoder->Skip(12, nullptr);
  }
  EXPECT_LE(kivtest::StatsOf(decoder).picturesDecoded, 5);
}

class Proxy : public testing::Test {
 protected:
  void SetUp() override {
    ClipRecipe proxy;
    proxy.size = {96, 56};
    proxy.rate = {50, 1};
    proxy.frames = 120;
    proxyPath_ = Wide(MakeClip(proxy));
    decoder_ = OpenDecoder(MakeClip(Grouped(12, 3)));
    ASSERT_TRUE(decoder_);
    decoder_->Seek(10 * kFrame, 0);
  }
  static std::wstring Wide(const std::string& path) { return KivCommon::Char2WChar(path.c_str()); }

  std::wstring proxyPath_;
  KivComPtr<IKivMediaDecoder> decoder_;
};

TEST_F(Proxy, ShowsTheSameMomentAtTheClipsSize) {
  decoder_->SetProxyPath(proxyPath_.c_str());
  decoder_->SetProxyOff(false);
  KivComPtr<IKivFrame> frame;
  ASSERT_EQ(S_OK, decoder_->ReadCurrentFrame(&frame));
  EXPECT_EQ(192, frame->GetBitmap()->GetWidth());
  EXPECT_EQ(112, frame->GetBitmap()->GetHeight());
  EXPECT_EQ(20, kivtest::ReadNumber(static_cast<uint8_t*>(frame->GetPixels()), 192, 112));
  int64_t time = 0;
  frame->GetTime(&time, nullptr);
  EXPECT_EQ(10 * kFrame, time);
  EXPECT_EQ(10, frame.As<IKivVideoFrame>()->GetFrameIndex());
}

TEST_F(Proxy, SwitchesBetweenTwoFrames) {
  decoder_->SetProxyPath(proxyPath_.c_str());
  EXPECT_EQ(10, CurrentNumber(decoder_.Get())) << "off until switched on";
  decoder_->SetProxyOff(false);
  EXPECT_EQ(20, CurrentNumber(decoder_.Get()));
  decoder_->Skip(3, nullptr);
  EXPECT_EQ(26, CurrentNumber(decoder_.Get()));
  decoder_->SetProxyOff(true);
  EXPECT_EQ(13, CurrentNumber(decoder_.Get()));
  decoder_->Skip(-4, nullptr);
  decoder_->SetProxyOff(false);
  EXPECT_EQ(18, CurrentNumber(decoder_.Get()));
  decoder_->SetProxyPath(nullptr);
  EXPECT_EQ(9, CurrentNumber(decoder_.Get()));
}

TEST_F(Proxy, ThatCannotBeOpenedLeavesTheClip) {
  decoder_->SetProxyPath(L"/nowhere/at/all.mp4");
  decoder_->SetProxyOff(false);
  EXPECT_EQ(10, CurrentNumber(decoder_.Get()));
  decoder_->SetProxyPath(proxyPath_.c_str());
  EXPECT_EQ(20, CurrentNumber(decoder_.Get()));
}

}  // namespace
