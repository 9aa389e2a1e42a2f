// Clips read to and fro within a budget: every frame is the one asked for, none is decoded more often
// than it must be, and no more memory is kept than was allowed.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "test/media/Clips.h"

namespace {

constexpr int64_t kMebibyte = int64_t{1} << 20;

KivComPtr<IKivPictureMemory> Memory() {
  KivComPtr<IKivPictureMemory> memory;
  KivCommon::GetInterface(kPictureMemoryClassId, nullptr, 1, IKivPictureMemory::kIid,
                          memory.PutVoid());
  return memory;
}

// A budget for the length of a test.
class Budget {
 public:
  explicit Budget(int64_t bytes) {
    Memory()->GetUse(&before_);
    EXPECT_EQ(S_OK, Memory()->SetLimit(bytes));
  }
  ~Budget() { Memory()->SetLimit(before_.limit); }

 private:
  KivPictureMemory before_;
};

class Walk {
 public:
  explicit Walk(const kivtest::ClipRecipe& recipe, int threads = 0)
      : decoder_(kivtest::OpenClip(recipe, threads)),
        frames_(kivtest::InfoOf(decoder_).frameCount) {}

  int Frames() const { return frames_; }
  int At() const { return at_; }
  void Expect(bool backwards) { decoder_.As<IKivReadDirection>()->ExpectBackwards(backwards); }
  KivDecoderStats Stats() const { return kivtest::StatsOf(decoder_); }
  void GoTo(int frame) {
    frame = std::clamp(frame, 0, frames_ - 1);
    decoder_->Skip(frame - at_, nullptr);
    at_ = frame;
  }
  void Read() { ASSERT_EQ(at_, kivtest::CurrentNumber(decoder_)); }
  void ReadAt(int frame) {
    GoTo(frame);
    Read();
  }
  // From the last frame to the first.
  void AllBackwards() {
    for (int frame = frames_ - 1; frame >= 0; --frame) ASSERT_NO_FATAL_FAILURE(ReadAt(frame));
  }
  // Short runs upwards, each below the one before, as a frame cache reads.
  void Spans(int length) {
    for (int start = at_; start > 0;) {
      start = std::max(start - length, 0);
      for (int i = 0; i < length; ++i) ASSERT_NO_FATAL_FAILURE(ReadAt(start + i));
    }
  }

 private:
  const KivComPtr<IKivMediaDecoder> decoder_;
  const int frames_;
  int at_ = 0;
};

struct CacheCase {
  const char* name;
  kivtest::ClipRecipe recipe;
  int64_t budget;  // bytes
};

void PrintTo(const CacheCase& value, std::ostream* out) { *out << value.name; }

// A plain picture of these sizes takes about 40 kB, or 380 kB, a packed one 128 kB.
constexpr KivSize kLarge{640, 368};

const CacheCase kCases[] = {
    {"nothing_to_keep_in", {.bFrames = 3}, 0},
    {"two_pictures", {.bFrames = 3}, 100'000},
    {"half_a_group", {.gop = 24, .bFrames = 3}, 500'000},
    {"a_group_and_a_half", {.gop = 24, .bFrames = 3}, 1'500'000},
    {"everything", {.bFrames = 3}, 64 * kMebibyte},
    {"packed_part", {.size = kLarge, .gop = 250, .bFrames = 3}, 2 * kMebibyte},
    {"packed_whole", {.size = kLarge, .gop = 250, .bFrames = 3}, 20 * kMebibyte},
    {"packed_10_bits", {.pixelFormat = "yuv420p10le", .size = kLarge, .gop = 30}, 3 * kMebibyte},
    {"open_groups", {.gop = 10, .bFrames = 3, .openGop = true}, 700'000},
    {"hevc", {.codec = "libx265", .gop = 20, .bFrames = 4, .openGop = true}, 700'000},
    {"ts", {.container = "ts", .bFrames = 3, .openGop = true}, 700'000},
    {"no_stamps", {.container = "h264", .bFrames = 3}, 700'000},
    {"intra",
     {.codec = "mjpeg", .container = "avi", .pixelFormat = "yuvj420p", .gop = 1},
     1'000'000},
    {"changing_step", {.bFrames = 2, .times = {0, 40, 80, 180, 200, 260}}, 700'000},
};

class PictureCache : public testing::TestWithParam<CacheCase> {
 protected:
  void TearDown() override {
    KivPictureMemory use;
    Memory()->GetUse(&use);
    EXPECT_EQ(0, use.bytesNow) << "a closed clip keeps nothing";
  }
  const Budget budget_{GetParam().budget};
};

TEST_P(PictureCache, EveryFrameInEveryPattern) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  Walk walk(GetParam().recipe);
  walk.Expect(random() % 2 == 0);
  ASSERT_NO_FATAL_FAILURE(walk.AllBackwards());
  for (int i = 0; i < 40; ++i) {
    const int far = static_cast<int>(random() % static_cast<unsigned>(walk.Frames()));
    const int near = static_cast<int>(random() % 7) - 3;
    const int kind = static_cast<int>(random() % 5);
    SCOPED_TRACE("part " + std::to_string(i) + " of kind " + std::to_string(kind));
    if (kind == 0) walk.ReadAt(far);
    if (kind == 1) walk.ReadAt(walk.At() + near);
    for (int step = 0; kind == 2 && step < far / 2; ++step) walk.ReadAt(walk.At() - 1);
    for (int step = 0; kind == 3 && step < far / 2; ++step) walk.ReadAt(walk.At() + 1);
    if (kind == 4) walk.Spans(2 + far % 12);
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_LE(walk.Stats().cacheBytesNow, GetParam().budget);
  }
  EXPECT_LE(walk.Stats().cacheBytesAtMost, GetParam().budget);
}

INSTANTIATE_TEST_SUITE_P(Clips, PictureCache, testing::ValuesIn(kCases),
                         [](const auto& clip) { return std::string(clip.param.name); });

// With one decoding thread nothing is decoded beside what is asked for.
TEST(PictureCacheCost, OneDecodeForEveryFrameWhenGroupsFit) {
  for (const int gop : {1, 12, 20, 60}) {
    SCOPED_TRACE(gop);
    const Budget budget(16 * kMebibyte);
    Walk steps({.gop = gop, .bFrames = 3}, 1);
    steps.Expect(true);
    ASSERT_NO_FATAL_FAILURE(steps.AllBackwards());
    EXPECT_LE(steps.Stats().picturesDecoded, 63);
    Walk spans({.gop = gop, .bFrames = 3}, 1);
    spans.Expect(true);
    spans.GoTo(60);
    ASSERT_NO_FATAL_FAILURE(spans.Spans(7));
    EXPECT_LE(spans.Stats().picturesDecoded, 63);
  }
}

// Sixty frames in one group, memory for a third of them: three passes of 60, 40 and 20 pictures.
TEST(PictureCacheCost, AsFewPassesAsTheMemoryAllows) {
  const kivtest::ClipRecipe recipe{.gop = 250, .bFrames = 3};
  int64_t everything = 0;
  {
    Walk measure(recipe, 1);
    measure.Expect(true);
    ASSERT_NO_FATAL_FAILURE(measure.AllBackwards());
    everything = measure.Stats().cacheBytesAtMost;
  }
  const Budget budget(everything * 24 / 60);
  Walk walk(recipe, 1);
  walk.Expect(true);
  ASSERT_NO_FATAL_FAILURE(walk.AllBackwards());
  EXPECT_LE(walk.Stats().picturesDecoded, 60 + 40 + 20 + 10);
  EXPECT_GE(walk.Stats().picturesPassedOver, 40);
}

TEST(PictureCacheCost, ScrubbingInAGroupDecodesItOnce) {
  const Budget budget(16 * kMebibyte);
  Walk walk({.frames = 120, .gop = 40, .bFrames = 3}, 1);
  ASSERT_NO_FATAL_FAILURE(walk.ReadAt(75));
  for (int frame = 75; frame >= 45; --frame) ASSERT_NO_FATAL_FAILURE(walk.ReadAt(frame));
  for (int frame = 45; frame <= 75; ++frame) ASSERT_NO_FATAL_FAILURE(walk.ReadAt(frame));
  // The group before is being decoded ahead until it is there.
  for (int frame = 75; frame >= 0; --frame) ASSERT_NO_FATAL_FAILURE(walk.ReadAt(frame));
  const int64_t decoded = walk.Stats().picturesDecoded;
  const int64_t served = walk.Stats().picturesFromMemory;
  for (int round = 0; round < 3; ++round) {
    for (int frame = 0; frame <= 75; ++frame) ASSERT_NO_FATAL_FAILURE(walk.ReadAt(frame));
    for (int frame = 75; frame >= 0; --frame) ASSERT_NO_FATAL_FAILURE(walk.ReadAt(frame));
  }
  EXPECT_EQ(decoded, walk.Stats().picturesDecoded);
  EXPECT_EQ(served + 6 * 76, walk.Stats().picturesFromMemory);
}

TEST(PictureCacheCost, ForwardsNothingIsKept) {
  Walk walk({.bFrames = 3}, 1);
  for (int frame = 0; frame < 60; ++frame) ASSERT_NO_FATAL_FAILURE(walk.ReadAt(frame));
  EXPECT_EQ(0, walk.Stats().cacheBytesAtMost);
  EXPECT_EQ(60, walk.Stats().picturesDecoded);
}

// The first clip has the memory to itself until the second one comes.
TEST(PictureCacheThreads, ClipsShareTheBudget) {
  const kivtest::ClipRecipe recipe{.gop = 60, .bFrames = 3};
  const Budget budget(1'600'000);
  Walk first(recipe);
  first.Expect(true);
  ASSERT_NO_FATAL_FAILURE(first.AllBackwards());
  EXPECT_GT(first.Stats().cacheBytesAtMost, 1'200'000);
  Walk second(recipe);
  second.Expect(true);
  ASSERT_NO_FATAL_FAILURE(second.AllBackwards());
  EXPECT_GT(second.Stats().cacheBytesNow, 700'000);
  EXPECT_GT(first.Stats().cacheBytesNow, 700'000);
  KivPictureMemory use;
  Memory()->GetUse(&use);
  EXPECT_LE(use.bytesNow, 1'600'000);
  EXPECT_EQ(S_OK, Memory()->SetLimit(400'000));
  Memory()->GetUse(&use);
  EXPECT_LE(use.bytesNow, 400'000) << "a smaller budget acts at once";
  EXPECT_EQ(E_INVALIDARG, Memory()->SetLimit(-1));
  EXPECT_EQ(E_POINTER, Memory()->GetUse(nullptr));
}

// Several clips at once, the budget moving under them, and clips closed while they decode ahead.
TEST(PictureCacheThreads, ReadersBudgetAndClosingAtOnce) {
  const Budget budget(2 * kMebibyte);
  const kivtest::ClipRecipe recipe{.gop = 30, .bFrames = 3};
  kivtest::MakeClip(recipe);
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&recipe, i] {
      for (int round = 0; round < 3; ++round) {
        Walk walk(recipe);
        walk.Expect(i != 0);
        for (int frame = 59; frame > 10 * i; frame -= 1 + i) walk.ReadAt(frame);
        walk.ReadAt(12);
        walk.ReadAt(11);
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(S_OK, Memory()->SetLimit((i % 5) * 500'000));
    std::this_thread::yield();
  }
  for (std::thread& reader : readers) reader.join();
}

}  // namespace
