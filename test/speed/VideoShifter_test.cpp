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
  int32_t Shown() { return test::NumberIn(node->GetCurrentFrame(nullptr)); }
};

// Ten times the source frame that each frame shows, from frame 0 on; generated frames lie between.
struct PlayCase {
  KivRational speed;
  Frames shown;
};

const PlayCase kRepeating[] = {
    {{1, 4}, {0, 10, 10, 10, 10, 20, 20, 20, 20, 30, 30, 30, 30}},
    {{2, 5}, {0, 10, 10, 20, 20, 20, 30, 30, 40, 40, 40, 50, 50}},
    {{1, 2}, {0, 10, 10, 20, 20, 30, 30, 40, 40, 50, 50, 60, 60}},
    {{4, 5}, {0, 10, 20, 30, 40, 40, 50, 60, 70, 80, 80, 90, 100}},
    {{1, 1}, {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120}},
    {{3, 2}, {0, 10, 30, 40, 60, 70, 90, 100, 120, 130, 150, 160, 180}},
    {{3, 1}, {0, 30, 60, 90, 120, 150, 180, 210, 240, 270, 300, 330, 360}},
    {{7, 1}, {0, 70, 140, 210, 280, 350, 420, 490, 560, 630, 700, 770, 840}},
    {{25, 1}, {0, 250, 500, 750, 1000, 1250, 1500, 1750, 2000, 2250, 2500, 2750, 3000}}};

const PlayCase kGenerating[] = {{{1, 4}, {0, 0, 2, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27}},
                                {{2, 5}, {0, 3, 6, 10, 13, 16, 23, 26, 30, 33, 36, 43, 46}},
                                {{1, 2}, {0, 0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55}}};

void ExpectPlays(const PlayCase& c) {
  SCOPED_TRACE(static_cast<double>(c.speed.numerator) / static_cast<double>(c.speed.denominator));
  const Frames& shown = c.shown;
  Shifter shifter(c.speed);
  EXPECT_EQ(Frames(shown.begin() + 1, shown.end()), shifter.From(0, 12));
  EXPECT_EQ(Frames(shown.rbegin() + 1, shown.rend()), test::Play(*shifter.node, 12, -1));
  EXPECT_EQ(Frames(shown.begin() + 1, shown.end()), test::Play(*shifter.node, 12));
  // In one skip from every seek to every frame. Forwards it takes two source frames until it does
  // not matter any more where the seek went.
  for (int32_t from = 0; from <= 12; ++from) {
    for (int32_t to = 0; to <= 12; ++to) {
      if (to >= from && (to - from) * c.speed.numerator < 2 * c.speed.denominator) continue;
      EXPECT_EQ(Frames{shown[static_cast<size_t>(to)]}, shifter.From(from, 1, to - from))
          << from << " to " << to;
    }
  }
}

TEST(VideoShifter, WithoutInterpolationUpstreamFramesRepeatOrAreLeftOut) {
  const test::NoTween none;
  for (const PlayCase& c : kRepeating) ExpectPlays(c);
}

TEST(VideoShifter, InSlowMotionGeneratedFramesComeBetween) {
  const test::FakeTween tween;
  for (const PlayCase& c : kGenerating) ExpectPlays(c);
}

TEST(VideoShifter, ASlowSeekFeedsAPairAndStepsMoveItOn) {
  test::FakeTween tween;
  Shifter shifter({1, 2});
  int32_t reached = -7;
  shifter.node->Seek(20, &reached, 1);
  EXPECT_EQ(20, reached);
  EXPECT_EQ((Calls{"Seek 10", "GetCurrentFrame", "Skip 1", "GetCurrentFrame"}),
            shifter.source->log.Take());
  EXPECT_EQ((Calls{"Start", "Push 4x2", "Push 4x2"}), tween.record.log.Take());
  EXPECT_EQ(100, shifter.Shown());
  shifter.node->Skip(3, nullptr);
  // Nobody asked for the pair's last frame, so it is read to make way for the next.
  EXPECT_EQ((Calls{"Read 0", "Read 1", "Push 4x2"}), tween.record.log.Take());
  int32_t status = -7;
  const auto frame = shifter.node->GetCurrentFrame(&status);
  EXPECT_EQ(110, test::NumberIn(frame));
  EXPECT_EQ(0, status);
  shifter.node->Skip(1, nullptr);
  EXPECT_EQ(frame, shifter.node->GetCurrentFrame(nullptr));
  EXPECT_EQ(115, test::NumberIn(frame));
  int64_t time = 0;
  frame->GetTime(&time, nullptr);
  EXPECT_EQ(12 * 400'000, time);
}

TEST(VideoShifter, FastMotionStepsUpstreamAndJumpsFromTwentyOn) {
  Shifter shifter({5, 2});
  shifter.node->Seek(4, nullptr, 0);
  shifter.source->log.Take();
  shifter.node->Skip(1, nullptr);
  EXPECT_EQ((Calls{"Skip 1", "Skip 1"}), test::Without("GetPosition", shifter.source->log.Take()));
  shifter.Set({25, 1});
  shifter.node->Skip(1, nullptr);
  EXPECT_EQ((Calls{"GetPosition", "Seek 150"}), shifter.source->log.Take());
  EXPECT_EQ(1, shifter.source->lastMode);
}

TEST(VideoShifter, WithinAMillionthOfUnitSpeedCallsPassThrough) {
  test::FakeTween tween;
  Shifter shifter({1, 2});
  shifter.From(0, 2);
  shifter.Set({9'999'991, 10'000'000});
  for (const HRESULT result : {S_OK, E_FAIL}) {
    shifter.source->result = result;
    EXPECT_EQ(result, shifter.node->Seek(8, nullptr, 1));
    EXPECT_EQ(result, shifter.node->Skip(-3, nullptr));
    EXPECT_EQ((Calls{"Seek 8", "Skip -3"}), shifter.source->log.Take());
    EXPECT_EQ(5, shifter.node->GetPosition(nullptr));
  }
  // The count and the algorithm of the slow motion before are still there.
  tween.record.log.Take();
  shifter.node->GetCurrentFrame(nullptr);
  EXPECT_EQ(Calls{"Read 1"}, tween.record.log.Take());
  shifter.Set({1, 1});
  EXPECT_EQ(50, shifter.Shown());
}

TEST(VideoShifter, WithoutAnUpstreamItOnlyCounts) {
  const KivComPtr<CVideoShifter> node(new CVideoShifter(nullptr, nullptr));
  SpeedSettings slow{1, 2};
  EXPECT_EQ(S_OK, test::Send(*node, CommandId::SetSpeedSettings, &slow));
  int32_t moved = 0;
  EXPECT_EQ(S_OK, node->Seek(4, &moved, 0));
  EXPECT_EQ(S_OK, node->Skip(2, &moved));
  EXPECT_EQ(2, moved);
  EXPECT_EQ(6, node->GetPosition(nullptr));
  EXPECT_EQ(nullptr, node->GetCurrentFrame(&moved));
  EXPECT_EQ(S_OK, node->Flush());
}

// Whichever call fails: the code comes back, the position stays, and the next seek plays as ever.
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
        EXPECT_TRUE(hr == S_OK || hr == E_FAIL);
        EXPECT_EQ(hr == S_OK ? count : 0, moved);
        EXPECT_EQ(before + moved, shifter.node->GetPosition(nullptr));
      }
      shifter.source->failAfter = 0;
      int32_t reached = -7;
      EXPECT_EQ(E_FAIL, shifter.node->Seek(50, &reached, 0));
      EXPECT_EQ(0, reached);
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
  const int64_t kMost = INT64_MAX;
  for (const bool interpolates : {true, false}) {
    const test::FakeTween tween;
    if (!interpolates) kiv::AlgorithmModules::Shared().Withdraw(kTweenModuleName);
    for (const KivRational& speed :
         {KivRational{0, 1}, {1, 0}, {0, 0}, {-1, 2}, {-3, 1}, {-1, 0}, {kMost, 1}, {1, kMost}}) {
      Shifter shifter(speed);
      for (const int32_t frame : {0, 7, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(S_OK, shifter.node->Seek(frame, nullptr, 0));
        shifter.node->GetCurrentFrame(nullptr);
        for (const int32_t count : {1, -1, INT32_MAX, INT32_MIN, 0}) {
          EXPECT_EQ(S_OK, shifter.node->Skip(count, nullptr));
        }
        shifter.node->GetCurrentFrame(nullptr);
      }
    }
  }
}

TEST(VideoShifter, TheSpeedRecordIsTakenAndGivenAndNullIsNot) {
  Shifter shifter({-2, 5}, 77);
  SpeedSettings record;
  record.reverse = 9;
  test::Send(*shifter.node, CommandId::GetSpeedSettings, &record);
  EXPECT_EQ(-2, record.scaleNumerator);
  EXPECT_EQ(5, record.scaleDenominator);
  EXPECT_EQ(77u, record.interpolationMode);
  EXPECT_EQ(9u, record.reverse);
  shifter.source->result = 3;
  shifter.source->log.Take();
  for (const CommandId id : {CommandId::SetSourceFrameRate, CommandId::SetRenderFrameRate,
                             CommandId::GetSpeedSettings, CommandId::SetSpeedSettings}) {
    EXPECT_EQ(3, test::Send(*shifter.node, id, static_cast<SpeedSettings*>(nullptr)));
  }
  EXPECT_EQ((Calls{"Command 0x9C7", "Command 0x9C8", "Command 0x9CC", "Command 0x9CD"}),
            shifter.source->log.Take());
}

struct Bags {
  HRESULT Initialize(Shifter& shifter) {
    return shifter.node->Initialize(settings.Reference(), info.Reference());
  }
  int32_t Total() const {
    int32_t total = -7;
    info->GetInt(L"Render.TotalFrameCount.Video", &total);
    return total;
  }
  KivRange Range() const {
    KivRange range{-7, -7};
    info->GetRange(L"Render.RangeFrameNumber.Video", &range);
    return range;
  }
  KivPropDecorator settings = KivCommon::CreateProperties();
  KivPropDecorator info = KivCommon::CreateProperties();
};

TEST(VideoShifter, InitializeTurnsTheSourcesLengthIntoTheResults) {
  const test::NoTween none;
  constexpr int32_t kMost = INT32_MAX;
  const struct {
    KivRational from, to, scale, parent;
    int32_t enabled, total, rendered;
    KivRange range;
  } cases[] = {{{25, 1}, {25, 1}, {1, 2}, {1, 1}, 1, 100, 200, {0, 199}},
               {{25, 1}, {60, 1}, {3, 2}, {1, 1}, 1, 100, 160, {0, 159}},
               {{30000, 1001}, {24, 1}, {2, 5}, {1, 1}, 1, 60, 120, {0, 119}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 2}, 1, 100, 400, {0, 399}},
               {{25, 1}, {25, 1}, {1, 2}, {4, 1}, 0, 100, 25, {0, 24}},
               {{25, 1}, {25, 1}, {3, 1}, {1, 1}, 1, kMost, kMost, {0, kMost}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 1}, 1, kMost - 1, kMost, {0, kMost}},
               {{25, 1}, {25, 1}, {0, 1}, {1, 1}, 1, 100, kMost, {0, kMost}},
               {{25, 1}, {25, 1}, {-1, 2}, {1, 1}, 1, 100, -200, {0, -201}},
               {{25, 1}, {0, 1}, {1, 1}, {1, 1}, 1, 100, 0, {0, -1}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 1}, 1, 0, -7, {-7, -7}},
               {{25, 1}, {25, 1}, {1, 2}, {1, 1}, 1, -5, -7, {-7, -7}}};
  for (const auto& c : cases) {
    Shifter shifter({1, 1});
    const Bags bags;
    bags.settings->SetRational(KivKey::Render::kRender_Framerate, &c.to);
    bags.settings->SetRational(KivKey::Speed::kScale, &c.scale);
    bags.settings->SetRational(L"Speed.Scale.Parent", &c.parent);
    bags.settings->SetInt(KivKey::Speed::kEnabled, c.enabled);
    bags.info->SetRational(L"Source.FrameRate.Video", &c.from);
    bags.info->SetInt(L"Source.TotalFrameCount.Video", c.total);
    EXPECT_EQ(S_OK, Bags(bags).Initialize(shifter));
    EXPECT_EQ(c.rendered, bags.Total()) << c.total;
    EXPECT_EQ(c.range, bags.Range()) << c.total;
    EXPECT_EQ(S_OK, shifter.node->Initialize(nullptr, bags.info.Reference()));
    EXPECT_EQ(0, bags.Total());
    EXPECT_EQ((KivRange{0, kMost}), bags.Range());
    EXPECT_EQ(E_POINTER, shifter.node->Initialize(bags.settings.Reference(), nullptr));
    shifter.source->initializeResult = E_OUTOFMEMORY;
    EXPECT_EQ(E_OUTOFMEMORY, Bags(bags).Initialize(shifter));
  }
}

TEST(VideoShifter, InitializeBringsTheModeToANewAlgorithmAndCleansUp) {
  test::FakeTween tween;
  Shifter shifter({1, 2}, 5);
  Bags bags;
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
  shifter.From(0, 1);
  const auto held = shifter.node->GetCurrentFrame(nullptr);
  shifter.node->Flush();
  EXPECT_NE(held, shifter.node->GetCurrentFrame(nullptr));
}

}  // namespace
