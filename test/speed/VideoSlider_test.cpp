#include "kiv/speed/VideoSlider.h"

#include <algorithm>
#include <utility>

#include "test/speed/SpeedFixture.h"

namespace {

using test::Frames;

constexpr KivRational kFilm{30000, 1001};
constexpr KivRational k25{25, 1};

struct Slider : test::NodeOnFake<CVideoSlider> {
  Slider(const KivRational& from, const KivRational& to) {
    test::Send(*node, CommandId::SetSourceFrameRate, &from);
    test::Send(*node, CommandId::SetRenderFrameRate, &to);
    source->rate = from.numerator > 0 ? from : k25;
  }
};

TEST(VideoSlider, SeeksTheNearestSourceFrame) {
  constexpr int32_t kMost = INT32_MAX;
  // Rates that are none leave both at 25.
  const struct {
    KivRational from, to;
    int32_t frame, upstream;
  } cases[] = {{k25, {50, 1}, 3, 2},  {{50, 1}, k25, 1, 2}, {k25, {24, 1}, 12, 13},
               {kFilm, k25, 10, 12},  {k25, {0, 1}, 0, 0},  {k25, {0, 1}, 5, 5},
               {{-25, 1}, k25, 5, 5}, {k25, {1, 0}, 5, 5},  {k25, {1, kMost}, 9, kMost}};
  for (const auto& c : cases) {
    Slider slider(c.from, c.to);
    int32_t reached = -7;
    EXPECT_EQ(S_OK, slider.node->Seek(c.frame, &reached, 1));
    EXPECT_EQ(c.upstream, slider.source->position) << c.to.numerator << " frame " << c.frame;
    EXPECT_EQ(c.frame, reached);
  }
}

// A frame cache tells the last frame's time for every frame beyond it.
TEST(VideoSlider, TheLastFrameRepeatsBeyondTheEndAndIsLeftAgainBackwards) {
  Slider slider(k25, {50, 1});
  slider.source->lastFrame = 3;
  slider.node->Seek(4, nullptr, 0);
  EXPECT_EQ((Frames{3, 3, 3, 3}), test::Play(*slider.node, 4));
  EXPECT_EQ((Frames{3, 3, 3, 2, 2, 1, 1, 0}), test::Play(*slider.node, 8, -1));
  test::Play(*slider.node, 20);
  EXPECT_EQ(Frames{1}, test::Play(*slider.node, 1, -18));
  for (const int32_t far : {7, 20, 9000}) {
    slider.node->Seek(far, nullptr, 0);
    EXPECT_EQ(Frames{1}, test::Play(*slider.node, 1, 2 - far)) << far;
  }
}

// As the speed node is one: each skip is a step then.
TEST(VideoSlider, StepsOverAnUpstreamWithoutTimes) {
  Slider slider(k25, k25);
  slider.source->rate.reset();
  slider.node->Seek(0, nullptr, 0);
  EXPECT_EQ((Frames{1, 2, 3}), test::Play(*slider.node, 3));
  EXPECT_EQ((Frames{2, 1, 0}), test::Play(*slider.node, 3, -1));
  EXPECT_EQ(Frames{1}, test::Play(*slider.node, 1));
}

TEST(VideoSlider, AFailureAtAnyCallLeavesThePosition) {
  for (int n = 0; n < 6; ++n) {
    Slider slider(k25, {5, 1});
    slider.node->Seek(2, nullptr, 0);
    slider.source->failAfter = n;
    int32_t moved = -7;
    EXPECT_EQ(n < 3 ? E_FAIL : S_OK, slider.node->Skip(1, &moved)) << n;
    EXPECT_EQ(n < 3 ? 0 : 1, moved);
    slider.source->failAfter = 0;
    EXPECT_EQ(E_FAIL, slider.node->Skip(-1, &moved));
    slider.source->failAfter = 0;
    EXPECT_EQ(E_FAIL, slider.node->Seek(9, &moved, 0));
    EXPECT_EQ(0, moved);
    EXPECT_EQ(n < 3 ? 2 : 3, slider.node->GetPosition(nullptr));
  }
}

TEST(VideoSlider, HostileRatesNeitherHangNorOverflow) {
  for (const KivRational& rate :
       {KivRational{0, 1}, {1, 0}, {0, 0}, {-25, 1}, {INT64_MAX, 1}, {1, INT64_MAX}}) {
    Slider slider(k25, rate);
    slider.source->lastFrame = 50;
    for (const int32_t count : {1, -1, INT32_MAX, INT32_MIN, INT32_MAX}) {
      EXPECT_EQ(S_OK, slider.node->Skip(count, nullptr));
    }
    // The last skip led far beyond the end.
    const int32_t shown = test::NumberIn(slider.node->GetCurrentFrame(nullptr));
    EXPECT_EQ(rate.numerator == INT64_MAX ? 0 : 50, shown);
    EXPECT_GT(100u, slider.source->log.Take().size());
  }
}

// A source without a decoder has no end: its times grow with every index.
TEST(VideoSlider, FarSkipsSeekAndEndWhereSteppingEnds) {
  for (const KivRational& to : {k25, kFilm, KivRational{60, 1}, KivRational{7, 1}}) {
    Slider slider(k25, to);
    slider.node->Seek(0, nullptr, 0);
    for (const int32_t far : {9000, -8500, 1'000'000, -1'000'000, INT32_MAX, INT32_MIN}) {
      slider.source->log.Take();
      slider.node->Skip(far, nullptr);
      EXPECT_GT(40u, slider.source->log.Take().size()) << to.numerator << " by " << far;
      if (std::abs(int64_t{far}) > 1'000'000) continue;
      const int32_t shown = slider.source->position;
      Slider stepping(k25, to);
      stepping.node->Seek(slider.node->GetPosition(nullptr) - 5, nullptr, 0);
      for (int i = 0; i < 5; ++i) stepping.node->Skip(1, nullptr);
      EXPECT_EQ(stepping.source->position, shown) << to.numerator << " by " << far;
    }
  }
}

// 5,000 frames of 100 ms, then 5,000 of 10 ms: the mean rate says little of where a time lies.
TEST(VideoSlider, FarSkipsGoByTheTimesOfUnevenFrames) {
  Slider slider({200, 11}, k25);
  slider.source->lastFrame = 9999;
  slider.source->timeAt = [](int32_t index) {
    const int64_t slow = std::min(index, 5000), fast = std::max(index - 5000, 0);
    return slow * 1'000'000 + fast * 100'000;
  };
  slider.node->Seek(0, nullptr, 0);
  for (const auto& [step, frame] : {std::pair{12'000, 4800}, {750, 5998}, {-12'000, 300}}) {
    slider.source->log.Take();
    slider.node->Skip(step, nullptr);
    EXPECT_EQ(frame, slider.source->position) << "by " << step;
    EXPECT_GT(3000u, slider.source->log.Take().size());
  }
}

// The upstream was left far away by other settings: no step goes after it one by one.
TEST(VideoSlider, AnUpstreamFarFromThePositionIsSought) {
  for (const int32_t astray : {INT32_MAX, 2'000'000, -2'000'000, INT32_MIN}) {
    for (const int32_t step : {1, -1}) {
      Slider slider(k25, k25);
      slider.node->Seek(100, nullptr, 0);
      slider.source->position = astray;
      slider.source->log.Take();
      slider.node->Skip(step, nullptr);
      EXPECT_GT(10'000u, slider.source->log.Take().size());
      if (step > 0 && astray > 0) continue;  // it is past the wanted frame already
      EXPECT_EQ(100 + step, slider.source->position) << astray;
    }
  }
}

}  // namespace
