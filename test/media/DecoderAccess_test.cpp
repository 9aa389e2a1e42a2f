// Every frame of every kind of clip, in order and in any order, is the frame that was asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "test/media/Clips.h"
#include "test/support/ClipsOfEveryKind.h"
#include "test/support/LogCapture.h"

namespace {

class DecoderAccess : public testing::TestWithParam<kivtest::NamedClip> {
 protected:
  // trunc(index x 10^7 / rate), as a chain's source asks for a frame.
  int64_t TimeOf(int64_t index) const {
    return static_cast<int64_t>(static_cast<double>(index * 10'000'000) / recipe_.rate.ToDouble());
  }
  void ExpectFrame(int frame) {
    ASSERT_EQ(frame, kivtest::CurrentNumber(decoder_)) << "at " << decoder_->GetCurrentTime();
    EXPECT_EQ(TimeOf(frame), decoder_->GetCurrentTime());
  }

  const kivtest::ClipRecipe& recipe_ = GetParam().recipe;
  const KivComPtr<IKivMediaDecoder> decoder_ = kivtest::OpenClip(recipe_);
};

TEST_P(DecoderAccess, OneByOneForwardsAndBack) {
  const KivStreamInfo info = kivtest::InfoOf(decoder_);
  EXPECT_EQ(recipe_.frames, info.frameCount);
  EXPECT_EQ(recipe_.rate, info.frameRate);
  EXPECT_EQ(1, info.constantRate);
  EXPECT_EQ(recipe_.size, info.size);
  EXPECT_EQ(TimeOf(recipe_.frames), info.duration);
  EXPECT_EQ(recipe_.audioCodec.empty() ? 0 : 1, info.audioStreams);
  const int last = recipe_.frames - 1;
  int32_t moved = -1;
  for (int frame = 0; frame <= last; ++frame) {
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
    ASSERT_EQ(S_OK, decoder_->Skip(1, &moved));
    EXPECT_EQ(frame < last ? 1 : 0, moved);
  }
  for (int frame = last; frame >= 0; --frame) {
    ASSERT_EQ(S_OK, decoder_->Skip(-1, &moved));
    EXPECT_EQ(frame < last ? -1 : 0, moved) << "one step had led behind the end";
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
  }
}

TEST_P(DecoderAccess, InAnyOrder) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  int frame = 0;
  for (int i = 0; i < 60; ++i) {
    const int target = static_cast<int>(random() % static_cast<unsigned>(recipe_.frames));
    if (random() % 2 == 0) {
      ASSERT_EQ(S_OK, decoder_->Seek(TimeOf(target), static_cast<int>(random() % 2)));
    } else {
      int32_t moved = 0;
      ASSERT_EQ(S_OK, decoder_->Skip(target - frame, &moved));
      EXPECT_EQ(target - frame, moved);
    }
    frame = target;
    if (random() % 4 == 0) continue;  // several moves between two reads
    SCOPED_TRACE("step " + std::to_string(i));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(frame));
  }
}

INSTANTIATE_TEST_SUITE_P(Clips, DecoderAccess, testing::ValuesIn(kivtest::ClipsOfEveryKind()),
                         [](const auto& clip) { return std::string(clip.param.name); });

// Groups that refer to the one before: FFmpeg complains at each start in the middle.
TEST(DecoderLog, SeekingIsNoFault) {
  const auto decoder = kivtest::OpenClip({.gop = 10, .bFrames = 3, .openGop = true});
  const auto seek = [&decoder] {
    for (int frame = 55; frame > 0; frame -= 11) {
      EXPECT_EQ(frame, kivtest::NumberAt(decoder, frame * int64_t{400'000}));
    }
  };
  test::LogCapture log;
  seek();
  EXPECT_TRUE(log.lines.empty());
  kiv::SetLogLevel(LogLevel::kDetail);
  for (int i = 0; i < 5; ++i) seek();
  kiv::SetLogLevel(LogLevel::kFailure);
  const auto isComplaint = [](const auto& line) {
    return line.second.ends_with("mmco: unref short failure");
  };
  EXPECT_EQ(1, std::count_if(log.lines.begin(), log.lines.end(), isComplaint));
}

}  // namespace
