#include <gtest/gtest.h>

#include <string>

#include "kiv/cache/VideoReverse.h"
#include "kiv/platform/KeyNames.h"
#include "test/support/FakeNode.h"

namespace {

using test::Calls;
using test::Send;

SpeedSettings Speed(uint32_t reverse, KivRange range) {
  return {.reverse = reverse, .reverseStart = range.start, .reverseEnd = range.end};
}

struct Reverser : testing::Test {
  void Set(uint32_t reverse, KivRange range) {
    const SpeedSettings speed = Speed(reverse, range);
    Send(*chain.node, CommandId::SetSpeedSettings, &speed);
    chain.source->log.Take();
  }
  // The time that a frame leaves with.
  int64_t Retimed(int64_t time, KivComPtr<IKivFrame> frame = test::MakeFrame(1)) {
    frame->SetTime(time, 400'000);
    chain.source->frame = frame;
    chain.node->GetCurrentFrame(nullptr)->GetTime(&time, nullptr);
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

constexpr struct {
  KivRange range;
  int32_t output, upstream;
} kMirrors[] = {
    {{0, 99}, 0, 99},
    {{10, 19}, 10, 19},
    {{10, 19}, 25, 4},
    {{10, 9}, 0, 19},
    {{10, -500}, 0, 19},
    {{0, INT32_MAX}, 7, INT32_MAX - 7},
    {{INT32_MIN, INT32_MAX}, 0, -1},
    {{INT32_MAX, INT32_MIN}, 0, INT32_MAX},
};

TEST_F(Reverser, TimeRunsForwardInTheOutput) {
  InitializeWith(100, {25, 1});
  EXPECT_EQ(400'000, Retimed(39'600'000));
  EXPECT_EQ(40'000'000, Retimed(0));
  EXPECT_EQ(INT64_MAX, Retimed(INT64_MIN));
  InitializeWith(100, {50, 1});  // 200 frames in the same 4 seconds
  EXPECT_EQ(39'600'000, Retimed(400'000));
  InitializeWith(101, {30000, 1001});  // trunc(121.078) frames last 4.03736 seconds
  EXPECT_EQ(40'373'666, Retimed(0));
  for (const KivRational& unknown : {KivRational{0, 1}, {0, 0}, {1, 0}, {-25, 1}}) {
    InitializeWith(101, unknown);
    EXPECT_EQ(40'373'666, Retimed(0)) << unknown.ToDouble();
  }
  InitializeWith(100, {25, 1});
  EXPECT_EQ(0, Retimed(5, test::MakeEmptyFrame()));
}

TEST_F(Reverser, SeeksTheMirroredFrameAndAnswersTheSwitch) {
  for (const auto& c : kMirrors) {
    Set(7, c.range);
    int32_t reached = 0;
    EXPECT_EQ(S_OK, chain.node->Seek(c.output, &reached, 1));
    EXPECT_EQ(Calls{"Seek " + std::to_string(c.upstream)}, chain.source->log.Take());
    EXPECT_EQ(c.upstream, reached);
    SpeedSettings answer;
    Send(*chain.node, CommandId::GetSpeedSettings, &answer);
    EXPECT_EQ(Calls{"Command 0x9CC"}, chain.source->log.Take());
    EXPECT_EQ(1u, answer.reverse);
  }
}

TEST_F(Reverser, StepsTheOtherWayAndAnswersItsOwnPosition) {
  Set(1, {10, 19});
  int64_t time = 55;
  chain.node->Seek(10, nullptr, 0);
  EXPECT_EQ(10, chain.node->GetPosition(&time));
  chain.node->Skip(1, nullptr);
  EXPECT_EQ(11, chain.node->GetPosition(&time));
  chain.source->result = E_FAIL;
  EXPECT_EQ(E_FAIL, chain.node->Seek(3, nullptr, 0));
  EXPECT_EQ(E_FAIL, chain.node->Skip(INT32_MIN, nullptr));
  EXPECT_EQ(11, chain.node->GetPosition(&time));
  EXPECT_EQ((Calls{"Seek 19", "Skip -1", "Seek 26", "Skip 2147483647"}), chain.source->log.Take());
  EXPECT_EQ(55, time);
}

TEST_F(Reverser, WithoutAnUpstreamItMovesAlone) {
  const KivComPtr<CVideoReverse> alone(new CVideoReverse(nullptr, nullptr));
  EXPECT_EQ(-1, alone->GetPosition(nullptr));
  const SpeedSettings speed = Speed(2, {0, 99});
  Send(*alone, CommandId::SetSpeedSettings, &speed);
  int32_t value = 0;
  EXPECT_EQ(89, (alone->Seek(10, &value, 0), value));
  EXPECT_EQ(-3, (alone->Skip(3, &value), value));
  EXPECT_EQ(13, alone->GetPosition(nullptr));
  EXPECT_FALSE(alone->GetCurrentFrame(nullptr));
}

TEST_F(Reverser, IsTransparentWhenOffOrWhenSpeedIsDisabled) {
  for (const uint32_t reverse : {0, 1}) {
    InitializeWith(100, {25, 1}, reverse == 1 ? 0 : 1);
    Set(reverse, {0, 99});
    chain.node->Seek(3, nullptr, 0);
    chain.node->Skip(4, nullptr);
    EXPECT_EQ((Calls{"Seek 3", "Skip 4"}), chain.source->log.Take());
    EXPECT_EQ(7, chain.node->GetPosition(nullptr));
    EXPECT_EQ(39'600'000, Retimed(39'600'000));
  }
}

}  // namespace
