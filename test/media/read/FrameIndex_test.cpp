// A file read as far as needed answers as one that was read whole.
#include "engine/media/read/FrameIndex.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "test/media/Clips.h"

namespace {

using kiv::FrameIndex;

constexpr int kFrames = 9500;  // more packets than are read at a time

std::shared_ptr<FrameIndex> Open(const std::string& path, int64_t bytesAtOnce) {
  std::unique_ptr<kiv::MediaInput> input;
  std::shared_ptr<FrameIndex> index;
  if (Failed(kiv::MediaInput::Open(path, &input))) return nullptr;
  const int stream = input->VideoStreams().front();
  FrameIndex::Open(std::move(input), stream, bytesAtOnce, &index);
  return index;
}

class PartlyReadIndex : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    kivtest::ClipRecipe recipe{.codec = "mpeg4",
                               .container = GetParam(),
                               .size = {32, 32},
                               .rate = {30000, 1001},
                               .frames = kFrames,
                               .gop = 50};
    if (recipe.container == "irregular") {
      recipe.codec = "libx264";
      recipe.container = "mkv";
      for (int64_t i = 0; i < kFrames; ++i) {
        recipe.times.push_back(i * 40 + (i > 7000 ? 13 * (i % 3) : 0));
      }
    } else if (recipe.container != "mkv") {
      recipe.bFrames = 2;
    }
    const std::string path = MakeClip(recipe);
    whole_ = Open(path, INT64_MAX);
    partly_ = Open(path, 0);
    ASSERT_TRUE(whole_ && partly_);
  }

  void ExpectSameFrame(int64_t frame) {
    const kiv::FrameRoute route = partly_->RouteTo(frame);
    EXPECT_EQ(whole_->RouteTo(frame).key, route.key) << frame;
    EXPECT_EQ(whole_->RouteTo(frame).target, route.target) << frame;
    EXPECT_EQ(whole_->FrameOf(route.target), partly_->FrameOf(route.target)) << frame;
    EXPECT_EQ(whole_->TimeOf(frame).key, partly_->TimeOf(frame).key) << frame;
  }

  std::shared_ptr<FrameIndex> whole_;
  std::shared_ptr<FrameIndex> partly_;
};

TEST_P(PartlyReadIndex, AnswersTheSameInAnyOrder) {
  EXPECT_EQ(kFrames, whole_->FrameCount());
  EXPECT_NEAR(kFrames, static_cast<double>(partly_->FrameCount()), 1000) << "by the container";
  EXPECT_LT(partly_->KeyCount(), 100) << "nothing but the beginning has been read";
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  ExpectSameFrame(10);
  ExpectSameFrame(5000);
  for (int i = 0; i < 300; ++i) ExpectSameFrame(static_cast<int64_t>(random() % kFrames));
  EXPECT_EQ(kFrames - 1, partly_->Clamp(INT64_MAX));
  EXPECT_EQ(kFrames, partly_->FrameCount());
  EXPECT_EQ(whole_->KeyCount(), partly_->KeyCount());
  EXPECT_EQ(whole_->Duration(), partly_->Duration());
  EXPECT_EQ(whole_->IsConstantRate(), partly_->IsConstantRate());
  // Beyond the ends of an irregular clip averages count, and they differ.
  const int64_t beyond = whole_->IsConstantRate() ? 100 : 0;
  for (int64_t frame = -beyond; frame < kFrames + beyond; frame += 7) {
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
        const auto frame = static_cast<int64_t>(random() % kFrames);
        EXPECT_EQ(frame, partly_->FrameOf(partly_->RouteTo(frame).target));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

INSTANTIATE_TEST_SUITE_P(Clips, PartlyReadIndex, testing::Values("mp4", "mkv", "avi", "irregular"),
                         [](const auto& clip) { return clip.param; });

}  // namespace
