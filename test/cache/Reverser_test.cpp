#include <gtest/gtest.h>

#include <string>

#include "kiv/cache/VideoReverse.h"
#include "kiv/platform/KeyNames.h"
#include "test/support/FakeNode.h"

namespace {

using test::Calls;
using test::Send;

struct Reverser : testing::Test {
  void Set(uint32_t reverse, KivRange range) {
    SpeedSettings speed;
    speed.reverse = reverse;
    speed.reverseStart = range.start;
    speed.reverseEnd = range.end;
    Send(*chain.node, CommandId::SetSpeedSettings, &speed);
    chain.source->log.Take();
  }
  KivComPtr<IKivFrame> Retimed(int64_t time, int64_t duration) {
    chain.source->frame = test::MakeFrame(1);
    chain.source->frame->SetTime(time, duration);
    return chain.node->GetCurrentFrame(nullptr);
  }
  static int64_t TimeOf(const KivComPtr<IKivFrame>& frame) {
    int64_t time = -1;
    frame->GetTime(&time, nullptr);
    return time;
  }
  // At 25 of the source and `rate` of the output.
  void InitializeWith(int32_t count, KivRational rate, int32_t enabled = 1) {
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator info = KivCommon::CreateProperties();
    const std::wstring video = L".Video";
    const KivRational sourceRate{25, 1};
    const KivRange range{0, count - 1};
    settings->SetInt(KivKey::Speed::kReverse, 1);
    settings->SetInt(KivKey::Speed::kEnabled, enabled);
    settings->SetRange(KivKey::Speed::kReverse_Range, &range);
    settings->SetRational(KivKey::Render::kRender_Framerate, &rate);
    info->SetInt((KivKey::Source::kSource_TotalFrameCount + video).c_str(), count);
    info->SetRational((KivKey::Source::kSource_Framerate + video).c_str(), &sourceRate);
    EXPECT_EQ(S_OK, chain.node->Initialize(settings.Reference(), info.Reference()));
    chain.source->log.Take();
  }

  test::NodeOnFake<CVideoReverse> chain;
};

struct MirrorCase {
  KivRange range;
  int32_t output, upstream;
};

constexpr MirrorCase kMirrors[] = {
    {{0, 99}, 0, 99},
    {{0, 99}, 99, 0},
    {{10, 19}, 10, 19},
    {{10, 19}, 12, 17},
    {{10, 19}, 25, 4},
    {{10, 9}, 0, 19},
    {{10, 9}, 19, 0},
    {{10, -500}, 0, 19},
    {{0, INT32_MAX}, 7, INT32_MAX - 7},
    {{INT32_MIN, INT32_MAX}, 0, -1},
    {{INT32_MAX, INT32_MIN}, 0, INT32_MAX},
};

TEST_F(Reverser, SeeksTheMirroredFrame) {
  for (const MirrorCase& c : kMirrors) {
    SCOPED_TRACE(c.output);
    Set(1, c.range);
    int32_t reached = 0;
    EXPECT_EQ(S_OK, chain.node->Seek(c.output, &reached, 1));
    EXPECT_EQ(Calls{"Seek " + std::to_string(c.upstream)}, chain.source->log.Take());
    EXPECT_EQ(c.upstream, reached);
    EXPECT_EQ(1, chain.source->lastMode);
  }
}

TEST_F(Reverser, StepsTheOtherWayAndAnswersItsOwnPosition) {
  Set(1, {10, 19});
  int64_t time = 55;
  chain.node->Seek(10, nullptr, 0);
  EXPECT_EQ(10, chain.node->GetPosition(&time));
  chain.node->Skip(1, nullptr);
  EXPECT_EQ(11, chain.node->GetPosition(&time));
  chain.node->Skip(INT32_MIN, nullptr);
  EXPECT_EQ((Calls{"Seek 19", "Skip -1", "Skip 2147483647"}), chain.source->log.Take());
  EXPECT_EQ(55, time);
}

TEST_F(Reverser, AFailingUpstreamLeavesThePosition) {
  Set(1, {0, 99});
  chain.node->Seek(40, nullptr, 0);
  chain.source->result = E_FAIL;
  EXPECT_EQ(E_FAIL, chain.node->Seek(3, nullptr, 0));
  EXPECT_EQ(E_FAIL, chain.node->Skip(3, nullptr));
  EXPECT_EQ(40, chain.node->GetPosition(nullptr));
}

TEST_F(Reverser, WithoutAnUpstreamItMovesAlone) {
  const KivComPtr<CVideoReverse> alone(new CVideoReverse(nullptr, nullptr));
  EXPECT_EQ(-1, alone->GetPosition(nullptr));
  EXPECT_EQ(S_OK, alone->Seek(5, nullptr, 0));
  EXPECT_EQ(5, alone->GetPosition(nullptr));
  SpeedSettings speed;
  speed.reverse = 2;
  speed.reverseEnd = 99;
  Send(*alone, CommandId::SetSpeedSettings, &speed);
  int32_t value = 0;
  EXPECT_EQ(S_OK, alone->Seek(10, &value, 0));
  EXPECT_EQ(89, value);
  EXPECT_EQ(S_OK, alone->Skip(3, &value));
  EXPECT_EQ(-3, value);
  EXPECT_EQ(13, alone->GetPosition(nullptr));
  EXPECT_FALSE(alone->GetCurrentFrame(nullptr));
}

TEST_F(Reverser, TimeRunsForwardInTheOutput) {
  InitializeWith(100, {25, 1});
  EXPECT_EQ(400'000, TimeOf(Retimed(39'600'000, 400'000)));
  EXPECT_EQ(40'000'000, TimeOf(Retimed(0, 400'000)));
  EXPECT_EQ(INT64_MAX, TimeOf(Retimed(INT64_MIN, 1)));
  InitializeWith(100, {50, 1});  // 200 frames in the same 4 seconds
  EXPECT_EQ(39'600'000, TimeOf(Retimed(400'000, 400'000)));
  InitializeWith(101, {30000, 1001});  // trunc(121.078) frames last 4.03736 seconds
  EXPECT_EQ(40'373'666, TimeOf(Retimed(0, 400'000)));
  InitializeWith(100, {0, 1});  // 0 frames at no rate
  EXPECT_EQ(-5, TimeOf(Retimed(5, 1)));
}

TEST_F(Reverser, AFrameWithoutContentHasNoTimeAndNoFrameStaysNone) {
  InitializeWith(100, {25, 1});
  chain.source->frame = test::MakeEmptyFrame();
  chain.source->frame->SetTime(5, 6);
  int64_t duration = -1;
  chain.node->GetCurrentFrame(nullptr)->GetTime(nullptr, &duration);
  EXPECT_EQ(0, duration);
  EXPECT_EQ(0, TimeOf(chain.source->frame));
}

TEST_F(Reverser, IsTransparentWhenOffOrWhenSpeedIsDisabled) {
  for (const bool disabled : {false, true}) {
    InitializeWith(100, {25, 1}, disabled ? 0 : 1);
    Set(disabled ? 1 : 0, {0, 99});
    chain.node->Seek(3, nullptr, 0);
    chain.node->Skip(4, nullptr);
    EXPECT_EQ((Calls{"Seek 3", "Skip 4"}), chain.source->log.Take());
    EXPECT_EQ(7, chain.node->GetPosition(nullptr));
    EXPECT_EQ(39'600'000, TimeOf(Retimed(39'600'000, 1)));
  }
}

TEST_F(Reverser, CommandsAreTakenAndPassedOn) {
  const KivRational rate{50, 1};
  SpeedSettings speed;
  Set(7, {0, 99});
  Send(*chain.node, CommandId::SetSourceFrameRate, &rate);
  Send(*chain.node, CommandId::SetRenderFrameRate, &rate);
  Send(*chain.node, CommandId::GetSpeedSettings, &speed);
  Send(*chain.node, CommandId::GetSpeedSettings, static_cast<SpeedSettings*>(nullptr));
  EXPECT_EQ((Calls{"Command 0x9C7", "Command 0x9C8", "Command 0x9CC", "Command 0x9CC"}),
            chain.source->log.Take());
  EXPECT_EQ(1u, speed.reverse);
}

}  // namespace
