#include "kiv/speed/VideoSlider.h"

#include "kiv/platform/KeyNames.h"
#include "test/speed/SpeedFixture.h"

namespace {

using test::Calls;
using test::Frames;

constexpr KivRational kFilm{30000, 1001};
constexpr KivRational k25{25, 1};

struct Slider : test::NodeOnFake<CVideoSlider> {
  Slider(const KivRational& from, const KivRational& to) {
    test::Send(*node, CommandId::SetSourceFrameRate, &from);
    test::Send(*node, CommandId::SetRenderFrameRate, &to);
    source->rate = from.numerator > 0 && from.denominator > 0 ? from : k25;
    source->log.Take();
  }
};

TEST(VideoSlider, SeeksTheNearestSourceFrame) {
  constexpr int32_t kMost = INT32_MAX;
  const struct {
    KivRational from, to;
    int32_t frame, upstream;
  } cases[] = {{k25, k25, 7, 7},         {k25, {50, 1}, 3, 2},          {{50, 1}, k25, 1, 2},
               {k25, {24, 1}, 12, 13},   {kFilm, k25, 10, 12},          {k25, {60, 1}, 239, 100},
               {k25, {0, 1}, 0, 0},      {k25, {0, 1}, 5, kMost},       {{0, 1}, k25, 5, 0},
               {{1, 0}, {1, 0}, 5, 0},   {{-25, 1}, k25, 5, -4},        {k25, {1, kMost}, 9, kMost},
               {k25, k25, kMost, kMost}, {k25, k25, -kMost, -kMost + 1}};
  for (const auto& c : cases) {
    Slider slider(c.from, c.to);
    int32_t reached = -7;
    EXPECT_EQ(S_OK, slider.node->Seek(c.frame, &reached, 1));
    EXPECT_EQ(c.upstream, slider.source->position) << c.to.numerator << " frame " << c.frame;
    EXPECT_EQ(c.frame, reached);
    EXPECT_EQ(c.frame, slider.node->GetPosition(nullptr));
    EXPECT_EQ(1, slider.source->lastMode);
  }
}

// What playing from the start shows, render frame after render frame.
const struct {
  KivRational from, to;
  Frames shown;
} kRates[] = {{k25, {24, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15, 16}},
              {k25, k25, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
              {k25, {30, 1}, {0, 1, 2, 3, 3, 4, 5, 6, 7, 8, 8, 9, 10, 11, 12, 13}},
              {k25, {50, 1}, {0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8}},
              {k25, {60, 1}, {0, 1, 1, 2, 2, 2, 3, 3, 4, 4, 4, 5, 5, 6, 6, 7}},
              {{50, 1}, k25, {0, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29}},
              {kFilm, {24, 1}, {0, 1, 2, 4, 5, 6, 7, 9, 10, 11, 12, 14, 15, 16, 17, 19}},
              {kFilm, k25, {0, 1, 2, 3, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 17, 18}},
              {kFilm, {30, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
              {kFilm, {60, 1}, {0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8}}};

TEST(VideoSlider, StepsEndOnTheSameFrameWhicheverWayTheyCame) {
  for (const auto& c : kRates) {
    SCOPED_TRACE(c.from.numerator * 1000 + c.to.numerator);
    Slider slider(c.from, c.to);
    slider.node->Seek(0, nullptr, 0);
    EXPECT_EQ(Frames(c.shown.begin() + 1, c.shown.end()), test::Play(*slider.node, 15));
    EXPECT_EQ(Frames(c.shown.rbegin() + 1, c.shown.rend()), test::Play(*slider.node, 15, -1));
    // From every seek to every frame in one skip. A skip of 0 stays where the seek went.
    for (int32_t from = 0; from < 16; ++from) {
      for (int32_t to = 0; to < 16; ++to) {
        slider.node->Seek(from, nullptr, 0);
        const int32_t sought = slider.source->position;
        int32_t moved = -7;
        EXPECT_EQ(S_OK, slider.node->Skip(to - from, &moved));
        EXPECT_EQ(to - from, moved);
        // A forward skip never steps back, also where a seek rounds up further than steps go.
        const int32_t wanted = c.shown[static_cast<size_t>(to)];
        EXPECT_EQ(to < from ? wanted : std::max(wanted, sought), slider.source->position)
            << from << " to " << to;
      }
    }
  }
}

TEST(VideoSlider, StepsOnceForEachFrameAtEqualRates) {
  Slider slider(k25, k25);
  slider.node->Seek(4, nullptr, 0);
  slider.source->log.Take();
  slider.node->Skip(1, nullptr);
  EXPECT_EQ(Calls{"Skip 1"}, test::Without("GetPosition", slider.source->log.Take()));
  EXPECT_EQ(5, slider.source->position);
}

// A frame cache tells the last frame's time for every frame beyond it.
TEST(VideoSlider, TheLastFrameRepeatsBeyondTheEndAndIsLeftAgainBackwards) {
  Slider slider(k25, {50, 1});
  slider.source->lastFrame = 3;
  slider.node->Seek(4, nullptr, 0);
  slider.source->log.Take();
  EXPECT_EQ((Frames{3, 3, 3, 3}), test::Play(*slider.node, 4));
  EXPECT_EQ((Frames{3, 3, 3, 2, 2, 1, 1, 0}), test::Play(*slider.node, 8, -1));
  test::Play(*slider.node, 20);
  EXPECT_EQ(Frames{1}, test::Play(*slider.node, 1, -18));
  slider.node->Skip(-2, nullptr);
  slider.source->log.Take();
  EXPECT_EQ(S_OK, slider.node->Skip(100, nullptr));
  EXPECT_EQ((Calls{"Skip 1", "Skip 1", "Skip 1", "Skip 1"}),
            test::Without("GetPosition", slider.source->log.Take()));
  EXPECT_EQ(100, slider.node->GetPosition(nullptr));
  slider.node->Seek(7, nullptr, 0);
  EXPECT_EQ((Frames{1}), test::Play(*slider.node, 1, -5));
}

TEST(VideoSlider, AFailureAtAnyCallLeavesThePosition) {
  for (int n = 0; n < 6; ++n) {
    Slider slider(k25, {5, 1});
    slider.node->Seek(2, nullptr, 0);
    slider.source->failAfter = n;
    int32_t moved = -7;
    const HRESULT forward = slider.node->Skip(1, &moved);
    EXPECT_EQ(n < 3 ? E_FAIL : S_OK, forward) << n;
    EXPECT_EQ(n < 3 ? 0 : 1, moved);
    EXPECT_EQ(n < 3 ? 2 : 3, slider.node->GetPosition(nullptr));
    slider.source->failAfter = 0;
    EXPECT_EQ(E_FAIL, slider.node->Skip(-1, &moved));
    EXPECT_EQ(0, moved);
    slider.source->failAfter = 0;
    EXPECT_EQ(E_FAIL, slider.node->Seek(9, &moved, 0));
    EXPECT_EQ(n < 3 ? 2 : 3, slider.node->GetPosition(nullptr));
  }
}

TEST(VideoSlider, HostileRatesNeitherHangNorOverflow) {
  const int64_t kMost = INT64_MAX;
  for (const KivRational& rate :
       {KivRational{0, 1}, {1, 0}, {0, 0}, {-25, 1}, {kMost, 1}, {1, kMost}}) {
    Slider slider(k25, rate);
    slider.source->lastFrame = 50;
    for (const int32_t count : {1, -1, INT32_MAX, INT32_MIN, INT32_MAX}) {
      EXPECT_EQ(S_OK, slider.node->Skip(count, nullptr));
    }
    EXPECT_LE(slider.source->position, 60);
    EXPECT_GE(slider.source->position, 0);
  }
}

TEST(VideoSlider, InitializeTakesTheRatesFromTheBags) {
  test::NodeOnFake<CVideoSlider> slider;
  const KivPropDecorator settings = KivCommon::CreateProperties();
  const KivPropDecorator info = KivCommon::CreateProperties();
  const KivRational to{50, 1};
  settings->SetRational(KivKey::Render::kRender_Framerate, &to);
  info->SetRational(L"Source.FrameRate.Video", &k25);
  const auto upstreamOf = [&](int32_t frame) {
    slider.node->Seek(frame, nullptr, 0);
    return slider.source->position;
  };
  slider.source->initializeResult = E_FAIL;
  EXPECT_EQ(E_FAIL, slider.node->Initialize(settings.Reference(), info.Reference()));
  EXPECT_EQ(10, upstreamOf(10));
  slider.source->initializeResult = 5;
  EXPECT_EQ(5, slider.node->Initialize(settings.Reference(), info.Reference()));
  EXPECT_EQ(5, upstreamOf(10));
  EXPECT_EQ(5, slider.node->Initialize(nullptr, info.Reference()));
  EXPECT_EQ(10, upstreamOf(10));
}

}  // namespace
