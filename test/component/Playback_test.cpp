// The whole component over a fake decoder: what a host does with a clip.
#include <gtest/gtest.h>

#include <string>

#include "kiv/chain/IKivRender.h"
#include "kiv/component/NodeTable.h"
#include "kiv/platform/KivCommon.h"
#include "test/component/FacadeFixture.h"
#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"

namespace {

using test::Calls;

struct Playback : testing::Test {
  void SetUp() override {
    test::Build(*facade, {0});
    facade->SetDecoder(decoder->AsUnknown());
    render = facade.As<IKivRenderEx>();
  }
  int32_t Shown() {
    KivComPtr<IKivFrame> frame;
    EXPECT_EQ(S_OK, render->GetFrame(&frame));
    EXPECT_EQ(test::IndexOf(frame), test::NumberIn(frame));
    return test::NumberIn(frame);
  }

  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivComPtr<IKivVideoStreamProcessInternal> facade{
      new CKivVideoStreamProcess(nullptr, ComponentNodes())};
  KivComPtr<IKivRenderEx> render;
};

TEST_F(Playback, PlaysForwardAndJumps) {
  render->Seek(0, nullptr, 1);
  for (int32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(i, Shown());
    render->Skip(1, nullptr);
  }
  render->Seek(90, nullptr, 0);
  EXPECT_EQ(90, Shown());
  render->Skip(-30, nullptr);
  EXPECT_EQ(60, Shown());
}

TEST_F(Playback, TheDecoderLearnsItsSizeAndScale) {
  const KivRational half{1, 2};
  facade->SetDecodeScale(&half);
  EXPECT_EQ(
      (Calls{"GetSourceSize", "SetProxyOff 1", "SetOutputSize 1920x1080", "SetOutputSize 960x540"}),
      decoder->log.Calls());
  KivSize size;
  facade->GetScaledSize(&size);
  EXPECT_EQ((KivSize{960, 540}), size);
}

TEST_F(Playback, IndicesBecomeTimesAtTheSourceFrameRate) {
  const KivRational rate{50, 1};
  facade->SetSourceFrameRate(&rate);
  decoder->log.Take();
  render->Seek(7, nullptr, 1);
  EXPECT_EQ(Calls{"Seek 1400000 mode 1"}, decoder->log.Calls());
}

TEST_F(Playback, SettingsMoveToAnotherClip) {
  facade->SetProxyPath(L"/proxy.mov");
  facade->SetProxyEnabled(1);
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, facade->SaveSettings(bag.Get()));

  const KivComPtr<IKivVideoStreamProcessInternal> other(
      new CKivVideoStreamProcess(nullptr, ComponentNodes()));
  test::Build(*other, {0});
  EXPECT_EQ(S_OK, other->LoadSettings(bag.Get()));
  wchar_t path[32] = {};
  int32_t enabled = 0;
  other->GetProxyPath(path, 32);
  other->GetProxyEnabled(&enabled);
  EXPECT_STREQ(L"/proxy.mov", path);
  EXPECT_EQ(1, enabled);
}

TEST_F(Playback, TheDecoderIsGivenBackWithTheClip) {
  render.Reset();
  facade.Reset();
  EXPECT_EQ(1u, decoder->References());
}

}  // namespace
