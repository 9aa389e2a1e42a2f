// A file read as far as needed answers as one that was read whole, and what has to be counted is.
#include "engine/media/read/FrameIndex.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <thread>

#include "engine/base/CountedObject.h"
#include "test/media/Clips.h"

namespace {

using kiv::FrameIndex;
using kivtest::MakeClip;

constexpr int kFrames = 9500;  // more packets than are read at a time

std::shared_ptr<FrameIndex> Open(const std::string& path, int64_t bytesAtOnce) {
  std::unique_ptr<kiv::MediaInput> input;
  std::shared_ptr<FrameIndex> index;
  if (Failed(kiv::MediaInput::Open(path, &input))) return nullptr;
  const int stream = input->VideoStreams().front();
  FrameIndex::Open(std::move(input), stream, {bytesAtOnce}, &index);
  return index;
}

class PartlyReadIndex : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    const std::string path = MakeClip({.codec = "mpeg4",
                                       .container = GetParam(),
                                       .size = {32, 32},
                                       .rate = {30000, 1001},
                                       .frames = kFrames,
                                       .gop = 50,
                                       .bFrames = 2});
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
  EXPECT_EQ(kFrames, partly_->FrameCount()) << "by the container";
  EXPECT_EQ(whole_->Duration(), partly_->Duration());
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
  for (int64_t frame = -100; frame < kFrames + 100; frame += 7) {
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

INSTANTIATE_TEST_SUITE_P(Clips, PartlyReadIndex, testing::Values("mp4", "mov"),
                         [](const auto& clip) { return clip.param; });

std::vector<int64_t> UnevenTimes(int frames) {
  std::vector<int64_t> times;
  for (int64_t i = 0; i < frames; ++i) times.push_back(i * 40 + (i > 4500 ? 13 * (i % 3) : 0));
  return times;
}

// Whatever a container announces: a number that is shown as a count was counted.
TEST(LargeFile, FramesThatNoTableListsAreCounted) {
  constexpr int kSome = 5000;  // more than the beginning of a listed file is
  const kivtest::ClipRecipe base{.codec = "mpeg4", .size = {32, 32}, .frames = kSome, .gop = 50};
  const auto with = [&](const auto& change) {
    kivtest::ClipRecipe recipe = base;
    change(recipe);
    return recipe;
  };
  const std::pair<const char*, kivtest::ClipRecipe> cases[] = {
      {"matroska", with([](auto& r) { r.container = "mkv"; })},
      {"piped", with([](auto& r) { r.container = "mkv", r.streamed = true; })},
      {"uneven", with([](auto& r) {
         r.container = "mkv", r.codec = "libx264", r.times = UnevenTimes(kSome);
       })},
      {"uneven_mp4", with([](auto& r) { r.codec = "libx264", r.times = UnevenTimes(kSome); })},
      {"sound", with([](auto& r) { r.container = "mkv", r.audioCodec = "pcm_s16le"; })},
      {"avi", with([](auto& r) { r.container = "avi", r.bFrames = 2; })},
      {"ts", with([](auto& r) { r.codec = "mpeg2video", r.container = "ts", r.bFrames = 2; })},
      {"ps", with([](auto& r) { r.codec = "mpeg2video", r.container = "mpg", r.bFrames = 2; })},
      {"fragments", with([](auto& r) { r.movflags = "frag_keyframe"; })},
  };
  for (const auto& [name, recipe] : cases) {
    SCOPED_TRACE(name);
    const auto index = Open(MakeClip(recipe), 0);
    ASSERT_TRUE(index);
    EXPECT_EQ(kSome, index->FrameCount());
    // Small pictures share a stamp in a program stream: their times are guesses, their number is not.
    const bool even = recipe.times.empty() && recipe.container != "mpg";
    EXPECT_EQ(even, index->IsConstantRate());
    EXPECT_EQ(kSome - 1, index->Clamp(INT64_MAX));
    EXPECT_EQ(kSome, index->FrameCount()) << "once all is read";
  }
}

// One as large as such files are, through the factory and with nothing set.
TEST(LargeFile, OfThreeHundredMebibytesIsCountedAndRead) {
  constexpr int kMany = 4300;
  const std::string path = kivtest::TemporaryPath("large.mkv");
  kivtest::EncodeClip({.codec = "rawvideo",
                       .container = "mkv",
                       .size = {256, 200},
                       .frames = kMany,
                       .streamed = true},
                      path);
  EXPECT_LT(int64_t{300} << 20, static_cast<int64_t>(std::filesystem::file_size(path)));
  const auto decoder = kivtest::OpenDecoder(path);
  ASSERT_TRUE(decoder);
  EXPECT_EQ(kMany, kivtest::InfoOf(decoder).frameCount);
  EXPECT_EQ(int64_t{kMany} * 400'000, kivtest::InfoOf(decoder).duration);
  for (const int number : {4090, 12, 4095}) {
    EXPECT_EQ(number, kivtest::NumberAt(decoder, number * int64_t{400'000}));
  }
  std::filesystem::remove(path);
}

struct StopsAtOnce : kiv::CountedObject<IKivOpenProgress> {
  HRESULT OnRead(int64_t, int64_t) override { return ++calls, E_ABORT; }
  int calls = 0;
};

TEST(LargeFile, TellsHowFarReadingIsAndCanBeGivenUp) {
  const std::string path = MakeClip({.codec = "rawvideo",
                                     .container = "nut",
                                     .pixelFormat = "bgra",
                                     .size = {1024, 1024},
                                     .frames = 20});
  const auto open = [&path](const std::function<bool(int64_t, int64_t)>& progress) {
    std::unique_ptr<kiv::MediaInput> input;
    std::shared_ptr<FrameIndex> index;
    kiv::MediaInput::Open(path, &input);
    return FrameIndex::Open(std::move(input), 0, {.progress = progress}, &index);
  };
  std::vector<int64_t> told;
  EXPECT_EQ(S_OK, open([&told](int64_t bytes, int64_t ofBytes) {
              EXPECT_LE(bytes, ofBytes);
              told.push_back(bytes);
              return true;
            }));
  EXPECT_LE(2u, told.size()) << "of 80 MB";
  EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
  const auto stopping = KivComPtr<StopsAtOnce>::Adopt(new StopsAtOnce);
  const KivPropDecorator options = KivCommon::CreateProperties();
  options->SetObject(kOpenProgressOption, stopping.Get());
  KivComPtr<IKivMediaSource> file;
  EXPECT_EQ(E_ABORT, KivCommon::GetFactory(nullptr)->OpenMediaFile(
                         file.Put(), KivCommon::Char2WChar(path.c_str()).c_str(), options.Get()));
  EXPECT_EQ(1, stopping->calls);
  EXPECT_FALSE(file);
}

}  // namespace
