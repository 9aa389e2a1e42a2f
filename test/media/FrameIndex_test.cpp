// A file read as far as needed answers as one that was read whole.
#include "engine/media/FrameIndex.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "test/media/Clips.h"

namespace {

using kiv::FrameIndex;
using kivtest::ClipRecipe;
using kivtest::MakeClip;

// More packets than are read at a time.
ClipRecipe LongClip(const char* codec, const char* container, int bFrames) {
  ClipRecipe recipe;
  recipe.codec = codec;
  recipe.container = container;
  recipe.size = {32, 32};
  recipe.rate = {30000, 1001};
  recipe.frames = 9500;
  recipe.gop = 50;
  recipe.bFrames = bFrames;
  return recipe;
}

// Regular for a while, then no longer.
ClipRecipe TurningIrregular() {
  ClipRecipe recipe = LongClip("libx264", "mkv", 0);
  for (int64_t i = 0; i < recipe.frames; ++i) {
    recipe.times.push_back(i * 40 + (i > 7000 ? 13 * (i % 3) : 0));
  }
  return recipe;
}

std::shared_ptr<FrameIndex> Open(const std::string& path, int64_t bytesAtOnce) {
  std::unique_ptr<kiv::MediaInput> input;
  std::shared_ptr<FrameIndex> index;
  if (Failed(kiv::MediaInput::Open(path, &input))) return nullptr;
  const int stream = input->VideoStreams().front();
  FrameIndex::Open(std::move(input), stream, bytesAtOnce, &index);
  return index;
}

class PartlyReadIndex : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    const ClipRecipe recipes[] = {LongClip("mpeg4", "mp4", 2), LongClip("mpeg4", "mkv", 0),
                                  LongClip("mpeg4", "avi", 2), TurningIrregular()};
    path_ = MakeClip(recipes[GetParam()]);
    whole_ = Open(path_, INT64_MAX);
    partly_ = Open(path_, 0);
    ASSERT_TRUE(whole_ && partly_);
  }

  void ExpectSameFrame(int64_t frame) {
    const kiv::FrameRoute route = partly_->RouteTo(frame);
    EXPECT_EQ(whole_->RouteTo(frame).key, route.key) << frame;
    EXPECT_EQ(whole_->RouteTo(frame).target, route.target) << frame;
    EXPECT_EQ(whole_->FrameOf(route.target), partly_->FrameOf(route.target)) << frame;
    EXPECT_EQ(whole_->TimeOf(frame).key, partly_->TimeOf(frame).key) << frame;
  }

  std::string path_;
  std::shared_ptr<FrameIndex> whole_;
  std::shared_ptr<FrameIndex> partly_;
};

TEST_P(PartlyReadIndex, KnowsTheCountFromTheContainerAtFirst) {
  EXPECT_EQ(9500, whole_->FrameCount());
  EXPECT_NEAR(9500, static_cast<double>(partly_->FrameCount()), 1000);
  EXPECT_LT(partly_->KeyCount(), 100) << "nothing but the beginning has been read";
  EXPECT_EQ(9499, partly_->Clamp(INT64_MAX));
  EXPECT_EQ(9500, partly_->FrameCount());
  EXPECT_EQ(whole_->KeyCount(), partly_->KeyCount());
  EXPECT_EQ(whole_->Duration(), partly_->Duration());
}

TEST_P(PartlyReadIndex, AnswersTheSameInAnyOrder) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  ExpectSameFrame(10);
  ExpectSameFrame(5000);
  for (int i = 0; i < 300; ++i) ExpectSameFrame(static_cast<int64_t>(random() % 9500));
  partly_->Clamp(INT64_MAX);
  for (int64_t frame = -5; frame < 9600; frame += 7) {
    EXPECT_EQ(whole_->IsConstantRate(), partly_->IsConstantRate());
    if (!whole_->IsConstantRate() && frame > 9499) break;  // averages differ beyond the end
    if (!whole_->IsConstantRate() && frame < 0) continue;
    const kiv::FrameTime time = partly_->TimeOf(frame);
    EXPECT_EQ(whole_->TimeOf(frame).time, time.time) << frame;
    EXPECT_EQ(frame, partly_->FrameAtTime(time.time));
  }
}

TEST_P(PartlyReadIndex, ServesSeveralThreads) {
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 3; ++seed) {
    threads.emplace_back([this, seed] {
      std::mt19937 random(seed);
      for (int i = 0; i < 200; ++i) {
        const auto frame = static_cast<int64_t>(random() % 9500);
        const kiv::FrameRoute route = partly_->RouteTo(frame);
        EXPECT_EQ(frame, partly_->FrameOf(route.target));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

std::string NameOfCase(const testing::TestParamInfo<int>& info) {
  const char* const names[] = {"mp4", "mkv", "avi", "turning_irregular"};
  return names[info.param];
}

INSTANTIATE_TEST_SUITE_P(Clips, PartlyReadIndex, testing::Values(0, 1, 2, 3), NameOfCase);

// A raw stream without its beginning: frames are counted as they come out.
TEST(SequentialStream, LearnsHowManyFramesItHas) {
  ClipRecipe recipe;
  recipe.container = "h264";
  recipe.bFrames = 2;
  const std::vector<uint8_t> whole = kivtest::ReadFile(MakeClip(recipe));
  const std::string path = kivtest::TemporaryPath("cut.h264");
  kivtest::WriteFile(path,
                     {whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 3), whole.end()});
  const auto decoder = kivtest::OpenDecoder(path);
  ASSERT_TRUE(decoder);
  const int first = kivtest::CurrentNumber(decoder.Get());
  ASSERT_GT(first, 0);
  decoder->Seek(INT64_MAX, 0);
  EXPECT_EQ(59, kivtest::CurrentNumber(decoder.Get()));
  const int count = kivtest::InfoOf(decoder).frameCount;
  EXPECT_EQ(60 - first, count);
  decoder->Seek((count - 4) * 400'000, 0);
  EXPECT_EQ(56, kivtest::CurrentNumber(decoder.Get()));
  decoder->Seek(0, 0);
  EXPECT_EQ(first, kivtest::CurrentNumber(decoder.Get()));
}

}  // namespace
