#include <algorithm>
#include <numeric>
#include <random>
#include <thread>

#include "test/session/SessionFixture.h"

namespace {

using namespace kiv::session;
using kivtest::BytesOf;
using kivtest::NumberOf;

ClipOptions With(const std::function<void(ClipOptions&)>& change) {
  ClipOptions options;
  change(options);
  return options;
}

ClipOptions BackwardsAtHalfSpeed() {
  return With([](ClipOptions& options) {
    options.reverse = true;
    options.speed = Rational{1, 2};
  });
}

struct Way {
  const char* name;
  std::function<void(ClipOptions&)> options;
  int32_t frames;
};

const Way kWays[] = {
    {"as it is", [](ClipOptions&) {}, 60},
    {"backwards", [](ClipOptions& o) { o.reverse = true; }, 60},
    {"half speed",
     [](ClipOptions& o) {
       o.speed = Rational{1, 2};
     },
     120},
    {"backwards at half speed",
     [](ClipOptions& o) {
       o.reverse = true;
       o.speed = Rational{1, 2};
     },
     120},
    {"30 frames a second",
     [](ClipOptions& o) {
       o.frameRate = Rational{30, 1};
     },
     72},
    {"double speed at 50 frames a second",
     [](ClipOptions& o) {
       o.speed = Rational{2, 1};
       o.frameRate = Rational{50, 1};
     },
     60},
    {"cut",
     [](ClipOptions& o) {
       o.crop = Region{0.25, 0.25, 0.5, 0.5};
     },
     60},
    {"backwards and cut",
     [](ClipOptions& o) {
       o.reverse = true;
       o.crop = Region{0.5, 0, 0.5, 1};
     },
     60},
};

class ClipWay : public testing::TestWithParam<Way> {};

// What a clip shows at a number cannot depend on what was asked for before.
TEST_P(ClipWay, ShowsInAnyOrderWhatPlayingShows) {
  ClipOptions options;
  GetParam().options(options);
  Clip player = Clip::Open(kivtest::Numbered(), options);
  ASSERT_EQ(GetParam().frames, player.FrameCount());
  const FrameRange all = player.Frames();
  const std::vector<Frame> played(all.begin(), all.end());
  ASSERT_EQ(static_cast<size_t>(GetParam().frames), played.size());

  std::vector<int32_t> order(played.size());
  std::iota(order.begin(), order.end(), 0);
  std::vector<int32_t> backwards(order.rbegin(), order.rend());
  std::shuffle(order.begin(), order.end(), std::mt19937(7));
  order.insert(order.end(), backwards.begin(), backwards.end());
  Clip clip = Clip::Open(kivtest::Numbered(), options);
  for (const int32_t index : order) {
    const Frame frame = clip.At(index);
    const Frame& expected = played[static_cast<size_t>(index)];
    ASSERT_EQ(index, frame.Index());
    ASSERT_EQ(expected.SourceFrame(), frame.SourceFrame()) << index;
    ASSERT_EQ(expected.SourceTime(), frame.SourceTime()) << index;
    ASSERT_EQ(expected.Time(), frame.Time()) << index;
    ASSERT_TRUE(BytesOf(expected) == BytesOf(frame)) << "frame " << index;
  }
}

INSTANTIATE_TEST_SUITE_P(Ways, ClipWay, testing::ValuesIn(kWays), [](const auto& instance) {
  std::string name = instance.param.name;
  std::erase_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
  return name;
});

TEST(ClipFrames, SayWhatTheyAre) {
  Clip clip = Clip::Open(kivtest::Numbered());
  EXPECT_EQ((Size{192, 112}), clip.Info().size);
  EXPECT_EQ((Rational{25, 1}), clip.FrameRate());
  EXPECT_EQ((std::vector<int32_t>{0, 12, 24, 36, 48}), clip.Info().keyFrames);
  for (const int32_t index : {0, 59, 30}) {
    const Frame frame = clip.At(index);
    EXPECT_EQ(index, NumberOf(frame));
    EXPECT_EQ(index, frame.Index());
    EXPECT_EQ(index, frame.SourceFrame());
    EXPECT_EQ(index * int64_t{400'000}, frame.Time());
    EXPECT_EQ(index * int64_t{400'000}, frame.SourceTime());
    EXPECT_EQ((Size{192, 112}), frame.Size());
    EXPECT_EQ(192 * 4, frame.Stride());
    EXPECT_FALSE(frame.IsGenerated());
  }
}

// The clip's own pictures stand at every second place, from the last one on; between them lie new ones.
TEST(ClipFrames, ComeBackwardsAtHalfSpeed) {
  Clip clip = Clip::Open(kivtest::Numbered(), BackwardsAtHalfSpeed());
  std::vector<int32_t> own;
  int32_t generated = 0;
  for (const Frame& frame : clip.Frames()) {
    EXPECT_EQ(frame.Index() * int64_t{400'000}, frame.Time());
    EXPECT_EQ(frame.SourceFrame() < 0, frame.IsGenerated());
    if (frame.IsGenerated()) {
      ++generated;
      continue;
    }
    EXPECT_EQ(frame.SourceFrame(), NumberOf(frame));
    EXPECT_EQ(frame.SourceFrame() * int64_t{400'000}, frame.SourceTime());
    if (own.empty() || own.back() != frame.SourceFrame()) own.push_back(frame.SourceFrame());
  }
  std::vector<int32_t> expected(60);
  std::iota(expected.rbegin(), expected.rend(), 0);
  EXPECT_EQ(expected, own);
  EXPECT_EQ(59, generated);
}

TEST(ClipFrames, AreRepeatedWithoutInterpolationInThatClipAlone) {
  ClipOptions options = BackwardsAtHalfSpeed();
  Clip before = Clip::Open(kivtest::Numbered(), options);
  options.interpolation = Interpolation::kOff;
  Clip repeating = Clip::Open(kivtest::Numbered(), options);
  for (const Frame& frame : repeating.Frames()) {
    EXPECT_FALSE(frame.IsGenerated());
    EXPECT_EQ(std::max(59 - (frame.Index() + 1) / 2, 0), NumberOf(frame)) << frame.Index();
    EXPECT_EQ(NumberOf(frame), frame.SourceFrame());
  }
  options.interpolation = Interpolation::kFlow;
  Clip after = Clip::Open(kivtest::Numbered(), options);
  for (Clip* const clip : {&before, &after}) {
    int generated = 0;
    for (const Frame& frame : clip->Frames({0, 9})) generated += frame.IsGenerated() ? 1 : 0;
    EXPECT_GE(generated, 4);
  }
}

TEST(ClipFrames, AreCutToTheRegion) {
  ClipOptions options;
  options.crop = Region{0.25, 0.25, 0.5, 0.5};
  Clip cut = Clip::Open(kivtest::Numbered(), options);
  Clip whole = Clip::Open(kivtest::Numbered());
  const Frame part = cut.At(7), all = whole.At(7);
  ASSERT_EQ((Size{96, 56}), part.Size());
  for (int row = 0; row < 56; ++row) {
    ASSERT_EQ(0, std::memcmp(part.Pixels() + row * part.Stride(),
                             all.Pixels() + (28 + row) * all.Stride() + ptrdiff_t{48} * 4, 96 * 4))
        << row;
  }
}

TEST(ClipFrames, StayWhenOthersArePulledAndTheClipIsGone) {
  for (const bool isSlow : {false, true}) {
    std::vector<Frame> frames;
    std::vector<std::string> bytes;
    {
      ClipOptions options;
      if (isSlow) options = BackwardsAtHalfSpeed();
      Clip clip = Clip::Open(kivtest::Numbered(), options);
      for (const Frame& frame : clip.Frames({0, 30})) {
        frames.push_back(frame);
        bytes.push_back(BytesOf(frame));
      }
    }
    for (size_t i = 0; i < frames.size(); ++i) ASSERT_TRUE(bytes[i] == BytesOf(frames[i])) << i;
  }
  EXPECT_EQ(nullptr, Frame().Pixels());
}

TEST(ClipFrames, AreScaled) {
  Clip clip = Clip::Open(kivtest::Numbered());
  const Frame frame = clip.At(20);
  const Frame half = frame.Scaled({96, 56});
  EXPECT_EQ((Size{96, 56}), half.Size());
  EXPECT_EQ(20, NumberOf(half));
  EXPECT_EQ(20, half.SourceFrame());
  EXPECT_TRUE(BytesOf(frame) == BytesOf(frame.Scaled({192, 112})));
  for (const Size size : {Size{0, 56}, Size{96, -1}, Size{1 << 30, 1 << 30}}) {
    EXPECT_EQ(ErrorCode::kInvalidArgument, kivtest::CodeOf([&] { return frame.Scaled(size); }));
  }
  EXPECT_EQ(ErrorCode::kInvalidArgument, kivtest::CodeOf([] { return Frame().Scaled({4, 4}); }));
}

TEST(ClipRanges, HoldTheFramesOfTheirSpan) {
  Clip clip = Clip::Open(kivtest::Numbered());
  const auto numbersOf = [&clip](const FrameSpan& span) {
    std::vector<int> numbers;
    for (const Frame& frame : clip.Frames(span)) numbers.push_back(NumberOf(frame));
    return numbers;
  };
  EXPECT_EQ((std::vector<int>{12, 13, 14}), numbersOf({12, 14}));
  EXPECT_EQ((std::vector<int>{58, 59}), numbersOf({58, {}}));
  EXPECT_EQ((std::vector<int>{0}), numbersOf({0, 0}));
  EXPECT_EQ(60, clip.Frames().Count());
  EXPECT_EQ(12, clip.Frames({12, 14}).First());
  for (const FrameSpan& span : {FrameSpan{60, {}}, FrameSpan{0, 60}, FrameSpan{-1, 3}}) {
    EXPECT_EQ(ErrorCode::kOutOfRange, kivtest::CodeOf([&] { return clip.Frames(span); }));
  }
  EXPECT_EQ(ErrorCode::kInvalidArgument, kivtest::CodeOf([&] { return clip.Frames({9, 8}); }));
}

TEST(ClipTimes, GoByTheRate) {
  ClipOptions options;
  options.frameRate = Rational{30, 1};
  const Clip clip = Clip::Open(kivtest::Numbered(), options);
  EXPECT_EQ(0, clip.TimeOf(0));
  EXPECT_EQ(333'333, clip.TimeOf(1));
  EXPECT_EQ(10'000'000, clip.TimeOf(30));
  for (const int32_t index : {0, 1, 29, 30, 71}) {
    EXPECT_EQ(index, clip.IndexAt(clip.TimeOf(index)));
    EXPECT_EQ(std::max(index - 1, 0), clip.IndexAt(clip.TimeOf(index) - 1));
  }
  EXPECT_EQ(0, clip.IndexAt(INT64_MIN));
  EXPECT_EQ(71, clip.IndexAt(INT64_MAX));
}

TEST(ClipTimes, FollowAVariableRate) {
  Clip clip = Clip::Open(kivtest::Uneven());
  ASSERT_EQ(12, clip.FrameCount());
  for (int32_t i = 0; i < 12; ++i) {
    const int64_t expected = kivtest::kUnevenMilliseconds[static_cast<size_t>(i)] * 10'000;
    EXPECT_EQ(expected, clip.TimeOf(i));
    EXPECT_EQ(expected, clip.At(i).Time());
    EXPECT_EQ(expected, clip.At(i).SourceTime());
    EXPECT_EQ(i, NumberOf(clip.At(i)));
    EXPECT_EQ(i, clip.IndexAt(expected));
    EXPECT_EQ(i, clip.IndexAt(expected + 399'999));
  }
}

// One rule for numbers that the result does not have, whether the rate is steady or not.
TEST(ClipTimes, AreOfTheFirstOrLastFrameBeyondTheClip) {
  for (const std::string& path : {kivtest::Numbered(), kivtest::Uneven()}) {
    const Clip clip = Clip::Open(path);
    EXPECT_EQ(clip.TimeOf(0), clip.TimeOf(-3));
    EXPECT_EQ(clip.TimeOf(clip.FrameCount() - 1), clip.TimeOf(clip.FrameCount() + 5));
  }
}

TEST(ClipThreads, TwoClipsPlayAtOnce) {
  const auto play = [](bool reverse, std::vector<int>* numbers) {
    ClipOptions options;
    options.reverse = reverse;
    Clip clip = Clip::Open(kivtest::Numbered(), options);
    for (const Frame& frame : clip.Frames()) numbers->push_back(NumberOf(frame));
  };
  std::vector<int> forwards, backwards, expected(60);
  kivtest::Numbered();  // made before
  std::thread one(play, false, &forwards), two(play, true, &backwards);
  one.join();
  two.join();
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(expected, forwards);
  std::reverse(expected.begin(), expected.end());
  EXPECT_EQ(expected, backwards);
}

TEST(ClipThreads, AClipMovesToAnotherPlaceAndThread) {
  Clip clip = Clip::Open(kivtest::Numbered());
  EXPECT_EQ(5, NumberOf(clip.At(5)));
  Clip moved = std::move(clip);
  int number = -1;
  std::thread([&] { number = NumberOf(moved.At(6)); }).join();
  EXPECT_EQ(6, number);
  ClipOptions options;
  options.reverse = true;
  moved = Clip::Open(kivtest::Numbered(), options);
  EXPECT_EQ(53, NumberOf(moved.At(6)));
}

}  // namespace
