#include "kiv/speed/VideoShifter.h"

#include "kiv/platform/KeyNames.h"
#include "test/speed/SpeedFixture.h"

namespace {

using test::Calls;
using test::Frames;

struct Shifter : test::NodeOnFake<CVideoShifter> {
  explicit Shifter(const KivRational& speed, uint32_t mode = 0) {
    source->shownScale = 10;
    source->rate = KivRational{25, 1};
    Set(speed, mode);
  }
  void Set(const KivRational& speed, uint32_t mode = 0) {
    SpeedSettings settings{speed.numerator, speed.denominator};
    settings.interpolationMode = mode;
    test::Send(*node, CommandId::SetSpeedSettings, &settings);
    source->log.Take();
  }
  Frames From(int32_t frame, int count, int32_t step = 1) {
    EXPECT_EQ(S_OK, node->Seek(frame, nullptr, 0));
    return test::Play(*node, count, step);
  }
};

// Ten times the source frame that each frame shows, from frame 0 on; generated frames lie between.
using Plays = std::vector<std::pair<KivRational, Frames>>;

const Plays kRepeating = {
    {{4, 5}, {0, 10, 20, 30, 40, 40, 50, 60, 70, 80, 80, 90, 100}},
    {{25, 1}, {0, 250, 500, 750, 1000, 1250, 1500, 1750, 2000, 2250, 2500, 2750, 3000}}};
const Plays kGenerating = {{{1, 4}, {0, 0, 2, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27}},
                           {{2, 5}, {0, 3, 6, 10, 13, 16, 23, 26, 30, 33, 36, 43, 46}},
                           {{1, 2}, {0, 0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55}}};

TEST(VideoShifter, AStepEndsOnTheSameFrameWhicheverWayItCame) {
  test::FakeTween tween;
  for (const bool generates : {true, false}) {
    if (!generates) kiv::AlgorithmModules::Shared().Withdraw(kTweenModuleName);
    for (const auto& [speed, shown] : generates ? kGenerating : kRepeating) {
      Shifter shifter(speed);
      EXPECT_EQ(Frames(shown.begin() + 1, shown.end()), shifter.From(0, 12));
      EXPECT_EQ(Frames(shown.rbegin() + 1, shown.rend()), test::Play(*shifter.node, 12, -1));
      for (int32_t i = 0; i < 13 * 13; ++i) {
        const int32_t from = i % 13, to = i / 13;
        // Forwards it takes two source frames until it does not matter where the seek went.
        if (to >= from && (to - from) * speed.numerator < 2 * speed.denominator) continue;
        EXPECT_EQ(Frames{shown[static_cast<size_t>(to)]}, shifter.From(from, 1, to - from))
            << speed.numerator << "/" << speed.denominator << ": " << from << " to " << to;
      }
    }
  }
}

TEST(VideoShifter, FromTwentyOnItJumpsAndAtUnitSpeedPassesOn) {
  Shifter shifter({25, 1});
  int32_t reached = -7;
  shifter.node->Seek(4, &reached, 0);
  EXPECT_EQ(4, reached);
  shifter.source->log.Take();
  shifter.node->Skip(1, nullptr);
  EXPECT_EQ((Calls{"GetPosition", "Seek 125"}), shifter.source->log.Take());
  EXPECT_EQ(1, shifter.source->lastMode);
  shifter.Set({9'999'991, 10'000'000});
  for (const HRESULT result : {S_OK, E_FAIL}) {
    shifter.source->result = result;
    EXPECT_EQ(result, shifter.node->Seek(8, nullptr, 1));
    EXPECT_EQ(result, shifter.node->Skip(-3, nullptr));
    EXPECT_EQ((Calls{"Seek 8", "Skip -3"}), shifter.source->log.Take());
    EXPECT_EQ(5, shifter.node->GetPosition(nullptr));
  }
}

// Whichever call fails: the position stays, and the next seek plays as ever.
TEST(VideoShifter, AFailureAtAnyCallLeavesThePositionAndTheNodeUsable) {
  test::FakeTween tween;
  for (const KivRational& speed : {KivRational{1, 2}, {3, 1}, {25, 1}}) {
    for (int n = 0; n < 12; ++n) {
      Shifter shifter(speed);
      const Frames played = shifter.From(0, 4);
      shifter.node->Seek(9, nullptr, 0);
      shifter.source->failAfter = n;
      for (const int32_t count : {1, 4, -3, -5}) {
        const int32_t before = shifter.node->GetPosition(nullptr);
        int32_t moved = -7;
        const HRESULT hr = shifter.node->Skip(count, &moved);
        EXPECT_EQ(hr == S_OK ? count : 0, moved);
        EXPECT_EQ(before + moved, shifter.node->GetPosition(nullptr));
      }
      shifter.source->failAfter = 0;
      tween.record.log.Take();
      EXPECT_EQ(E_FAIL, shifter.node->Seek(50, nullptr, 0));
      // The pair is made anew: the upstream may stand anywhere.
      Calls rebuilt;
      if (speed.numerator < speed.denominator)
        rebuilt = {"Destroy", "Start", "Push 4x2", "Push 4x2"};
      EXPECT_EQ(rebuilt, tween.record.log.Take());
      EXPECT_NE(50, shifter.node->GetPosition(nullptr));
      EXPECT_EQ(played, shifter.From(0, 4)) << n;
    }
  }
}

TEST(VideoShifter, PicturesThatChangeTheirSizeInMidStreamGoOn) {
  test::FakeTween tween;
  Shifter shifter({1, 4});
  shifter.From(0, 6);
  shifter.source->size = {6, 2};
  for (int i = 0; i < 12; ++i) {
    shifter.node->Skip(1, nullptr);
    const auto frame = shifter.node->GetCurrentFrame(nullptr);
    EXPECT_EQ(i < 2 ? (KivSize{4, 2}) : (KivSize{6, 2}), test::SizeOf(frame)) << i;
    EXPECT_NE(-1, test::NumberIn(frame)) << i;
  }
  shifter.source->frame = test::MakeEmptyFrame();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(S_OK, shifter.node->Skip(1, nullptr));
}

TEST(VideoShifter, HostileSpeedsNeitherHangNorOverflow) {
  const test::FakeTween tween;
  for (const KivRational& speed :
       {KivRational{0, 1}, {1, 0}, {0, 0}, {-1, 2}, {-1, 0}, {INT64_MAX, 1}, {1, INT64_MAX}}) {
    Shifter shifter(speed);
    for (const int32_t frame : {0, 7, -1, INT32_MAX, INT32_MIN}) {
      EXPECT_EQ(S_OK, shifter.node->Seek(frame, nullptr, 0));
      for (const int32_t count : {1, -1, INT32_MAX, INT32_MIN, 0}) {
        EXPECT_EQ(S_OK, shifter.node->Skip(count, nullptr));
        shifter.node->GetCurrentFrame(nullptr);
      }
    }
  }
}

// However far a skip goes, or wherever other settings left the upstream.
TEST(VideoShifter, FarSkipsSeekAndEndWhereSteppingEnds) {
  test::FakeTween tween;
  for (const KivRational& speed : {KivRational{1, 2}, {2, 5}, {4, 5}, {3, 2}, {7, 1}}) {
    for (const int32_t far : {100'001, -90'000, 300'000'000}) {
      Shifter shifter(speed);
      shifter.source->shownScale = 1;
      shifter.From(100'000, 2);
      shifter.source->log.Take();
      const Frames shown = test::Play(*shifter.node, 1, far);
      EXPECT_GT(40u, shifter.source->log.Take().size()) << far;
      Shifter stepping(speed);
      stepping.source->shownScale = 1;
      EXPECT_EQ(shown[0], stepping.From(99'952 + far, 50).back())
          << speed.numerator << "/" << speed.denominator << " by " << far;
    }
    for (const int32_t astray : {INT32_MIN, -2'000'000, INT32_MAX}) {
      Shifter shifter(speed);
      shifter.From(100, 2);
      shifter.source->position = astray;
      shifter.source->log.Take();
      test::Play(*shifter.node, 1, astray < 0 ? 1 : -1);
      EXPECT_GT(40u, shifter.source->log.Take().size()) << astray;
    }
  }
}

struct Bags {
  HRESULT Initialize(Shifter& shifter) const {
    return shifter.node->Initialize(settings.Reference(), info.Reference());
  }
  void ExpectLength(int32_t total, const KivRange& range) const {
    int32_t writtenTotal = -7;
    KivRange writtenRange{-7, -7};
    info->GetInt(L"Render.TotalFrameCount.Video", &writtenTotal);
    info->GetRange(L"Render.RangeFrameNumber.Video", &writtenRange);
    EXPECT_EQ(total, writtenTotal);
    EXPECT_EQ(range, writtenRange);
  }
  KivPropDecorator settings = KivCommon::CreateProperties();
  KivPropDecorator info = KivCommon::CreateProperties();
};

TEST(VideoShifter, InitializeTurnsTheSourcesLengthIntoTheResults) {
  constexpr int32_t kMost = INT32_MAX;
  const struct {
    KivRational from, to, scale, parent;
    int32_t enabled, total, rendered;
    KivRange range;
  } cases[] = {{{30000, 1001}, {24, 1}, {2, 5}, {1, 1}, 1, 60, 120, {0, 119}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 2}, 1, 100, 400, {0, 399}},
               {{25, 1}, {25, 1}, {1, 2}, {4, 1}, 0, 100, 25, {0, 24}},
               {{25, 1}, {25, 1}, {3, 1}, {1, 1}, 1, kMost, kMost, {0, kMost}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 1}, 1, kMost - 1, kMost, {0, kMost}},
               {{25, 1}, {25, 1}, {0, 1}, {1, 1}, 1, 100, kMost, {0, kMost}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 1}, 1, 0, -7, {-7, -7}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.total);
    Shifter shifter({1, 1});
    const Bags bags;
    bags.settings->SetRational(KivKey::Render::kRender_Framerate, &c.to);
    bags.settings->SetRational(KivKey::Speed::kScale, &c.scale);
    bags.settings->SetRational(L"Speed.Scale.Parent", &c.parent);
    bags.settings->SetInt(KivKey::Speed::kEnabled, c.enabled);
    bags.info->SetRational(L"Source.FrameRate.Video", &c.from);
    bags.info->SetInt(L"Source.TotalFrameCount.Video", c.total);
    EXPECT_EQ(S_OK, bags.Initialize(shifter));
    bags.ExpectLength(c.rendered, c.range);
    EXPECT_EQ(S_OK, shifter.node->Initialize(nullptr, bags.info.Reference()));
    bags.ExpectLength(0, {0, kMost});
  }
}

TEST(VideoShifter, InitializeBringsTheModeToANewAlgorithmAndCleansUp) {
  test::FakeTween tween;
  Shifter shifter({1, 2}, 5);
  SpeedSettings record;
  test::Send(*shifter.node, CommandId::GetSpeedSettings, &record);
  EXPECT_EQ(2, record.scaleDenominator);
  EXPECT_EQ(5u, record.interpolationMode);
  const Bags bags;
  bags.settings->SetInt(KivKey::Speed::kInterpolationMode, 5);
  bags.Initialize(shifter);
  EXPECT_EQ(Calls{}, tween.record.log.Take());
  bags.settings->SetInt(KivKey::Speed::kInterpolationMode, 6);
  bags.settings->SetInt(L"CLIP.CMD.CLEANUP", 1);
  shifter.source->log.Take();
  bags.Initialize(shifter);
  EXPECT_EQ((Calls{"Flush", "Initialize"}), shifter.source->log.Take());
  EXPECT_EQ(Calls{"Start"}, tween.record.log.Take());
  EXPECT_EQ(6u, tween.record.params.interpolationMode);
}

}  // namespace
