// Backwards through the whole chain, on clips whose frames carry their numbers.
#include <random>

#include "test/cache/ReverseClip.h"

namespace {

using test::kCache;
using test::kReverse;
using test::kSource;

struct ReverseChain : testing::Test, test::ReverseClip {};

constexpr KivRange kRanges[] = {{0, 59}, {10, 40}, {59, 59}, {0, 25}};
constexpr int32_t kSpanSizes[] = {0, 2, 3, 20, 200, INT32_MAX, -1};

// Long groups with B-frames, open groups, and every frame a group of its own.
kivtest::ClipRecipe Recipe(int kind) {
  kivtest::ClipRecipe recipe;
  recipe.gop = kind == 2 ? 1 : 60 / (kind + 1);
  recipe.bFrames = kind == 2 ? 0 : 2;
  recipe.openGop = kind == 1;
  recipe.rate = kind == 1 ? KivRational{30000, 1001} : KivRational{25, 1};
  return recipe;
}

TEST_F(ReverseChain, EveryStepAndSeekShowsTheMirroredFrame) {
  const unsigned seed = std::random_device()();
  std::minstd_rand random(seed);
  for (const int32_t spanSize : kSpanSizes) {
    for (int kind = 0; kind < 3; ++kind) {
      Open(Recipe(kind), spanSize);
      for (const KivRange& range : kRanges) {
        SCOPED_TRACE(testing::Message() << "span " << spanSize << " clip " << kind << " range "
                                        << range.start << " seed " << seed);
        Reverse(1, range);
        const int32_t length = range.end - range.start + 1;
        ASSERT_EQ(range.end, ShownAt(range.start));
        for (int32_t k = 1; k < length; ++k) {
          render->Skip(1, nullptr);
          ASSERT_EQ(range.end - k, Shown());
          ASSERT_EQ(range.start + k, render->GetPosition());
        }
        for (int seek = 0; seek < 12; ++seek) {
          const auto k = static_cast<int32_t>(random() % static_cast<unsigned>(length));
          ASSERT_EQ(range.end - k, ShownAt(range.start + k));
          if (k < 3) continue;
          render->Skip(-3, nullptr);
          ASSERT_EQ(range.end - k + 3, Shown());
        }
        Reverse(0, range);
        ASSERT_EQ(33, ShownAt(33));
        ASSERT_EQ(34, (render->Skip(1, nullptr), Shown()));
      }
    }
  }
}

TEST_F(ReverseChain, RebuildingAndCleaningUpInMidFillLosesNothing) {
  Open(Recipe(0), 20);
  Reverse(1, {0, 59});
  EXPECT_EQ(59, ShownAt(0));
  int64_t time = 0;
  frame->GetTime(&time, nullptr);
  EXPECT_EQ(400'000, time);  // of a total that the stream's facts have to give
  render->Seek(20, nullptr, 1);
  EXPECT_EQ(S_OK, render->Cleanup());
  EXPECT_EQ(39, ShownAt(20));
  render->Seek(40, nullptr, 1);
  test::Build(*facade, {kSource, kCache, kReverse});
  Reverse(1, {0, 59});
  render->Seek(3, nullptr, 1);
}

}  // namespace
