// The whole component: what a host does with a clip, in the right order and in the wrong one.
#include "test/component/FacadeFixture.h"

namespace {

struct Playback : test::ClipFixture {
  int32_t Shown() {
    EXPECT_EQ(S_OK, render->GetFrame(&frame));
    EXPECT_EQ(test::IndexOf(frame), test::NumberIn(frame));
    return test::NumberIn(frame);
  }
};

TEST_F(Playback, PlaysForwardAndJumps) {
  facade->SetDecoder(decoder->AsUnknown());
  render->Seek(0, nullptr, 1);
  for (int32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(i, Shown());
    render->Skip(1, nullptr);
  }
  render->Seek(90, nullptr, 0);
  EXPECT_EQ(90, Shown());
  render->Skip(-30, nullptr);
  EXPECT_EQ(60, Shown());
}

TEST_F(Playback, SettingsMoveToAnotherClip) {
  facade->SetProxyPath(L"/proxy.mov");
  facade->SetProxyEnabled(1);
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, facade->SaveSettings(bag.Get()));
  const test::FacadePtr other(new CKivVideoStreamProcess(nullptr, ComponentNodes()));
  test::Build(*other, {0});
  EXPECT_EQ(S_OK, other->LoadSettings(bag.Get()));
  wchar_t path[32] = {};
  int32_t enabled = 0;
  other->GetProxyPath(path, 32);
  other->GetProxyEnabled(&enabled);
  EXPECT_STREQ(L"/proxy.mov", path);
  EXPECT_EQ(1, enabled);
}

struct HostileHost : Playback {};

TEST_F(HostileHost, NullsAndNonsenseNumbersAreSurvived) {
  for (uint32_t id = 0x9C0; id < 0xA10; ++id) {
    EXPECT_EQ(S_OK, render->ProcessCommand(id, 0, 0));
    EXPECT_EQ(S_OK, render->ProcessCommand(id, 0, ~uintptr_t{0}));
  }
  EXPECT_EQ(E_POINTER, facade->SaveSettings(nullptr));
  EXPECT_EQ(E_POINTER, facade->LoadSettings(nullptr));
  EXPECT_EQ(E_POINTER, facade->BuildChain(nullptr, 3));
  EXPECT_EQ(E_POINTER, facade->GetTailNode(nullptr));
}

TEST_F(HostileHost, WithoutAChainGettersLeaveTheirValuesAndDecodersAreNotKept) {
  facade->BuildChain(nullptr, 0);
  int32_t enabled = 55;
  EXPECT_EQ(S_OK, facade->GetProxyEnabled(&enabled));
  EXPECT_EQ(55, enabled);
  EXPECT_EQ(S_OK, facade->SetDecoder(decoder->AsUnknown()));
  EXPECT_EQ(1u, decoder->References());
}

TEST_F(HostileHost, FramesBeforeADecoderAreTransparent) {
  EXPECT_EQ(S_OK, render->Skip(-100, nullptr));
  EXPECT_EQ(S_OK, render->GetFrame(&frame));
  EXPECT_EQ(0, test::NumberIn(frame));
  EXPECT_EQ(-100, test::IndexOf(frame));
}

TEST_F(HostileHost, ATailNodeDrivenAfterARebuildStillAnswers) {
  KivComPtr<IKivSourceBase> old;
  facade->GetTailNode(&old);
  test::Build(*facade, {0});
  EXPECT_EQ(S_OK, old->Seek(4, nullptr, 0));
  EXPECT_EQ(4, old->GetPosition(nullptr));
}

TEST_F(HostileHost, CleaningUpTwiceAndAfterwardsGoingOnIsFine) {
  facade->SetDecoder(decoder->AsUnknown());
  EXPECT_EQ(S_OK, render->Cleanup());
  EXPECT_EQ(S_OK, render->Cleanup());
  render->Seek(6, nullptr, 0);
  EXPECT_EQ(6, Shown());
}

// A decoder that lets the host rebuild the chain in the middle of a read.
TEST_F(HostileHost, RebuildingFromInsideAReadIsSurvived) {
  facade->SetDecoder(decoder->AsUnknown());
  decoder->log.On("ReadCurrentFrame", [&] { test::Build(*facade, {0}); });
  EXPECT_EQ(0, Shown());
}

}  // namespace
