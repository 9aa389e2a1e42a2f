// Hosts that call in the wrong order or with nothing in their hands.
#include <gtest/gtest.h>

#include <algorithm>

#include "kiv/chain/IKivRender.h"
#include "kiv/component/NodeTable.h"
#include "kiv/component/VideoStreamProcess.h"
#include "kiv/platform/KivCommon.h"
#include "test/component/FacadeFixture.h"
#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"

namespace {

struct HostileHost : testing::Test {
  // With the real nodes.
  KivComPtr<IKivVideoStreamProcessInternal> facade{
      new CKivVideoStreamProcess(nullptr, ComponentNodes())};
};

HRESULT CallEverySlotWithNull(IKivVideoStreamProcessInternal& f) {
  HRESULT worst = S_OK;
  for (const HRESULT hr : {f.GetAlphaVideoSettings(nullptr),
                           f.SetAlphaVideoSettings(nullptr),
                           f.GetStabilizerEnabled(nullptr),
                           f.GetStabilizerLevel(nullptr),
                           f.GetStabExtendControl(nullptr),
                           f.GetCropKeyFrameParam(nullptr),
                           f.GetCropRegion(nullptr),
                           f.SetCropRegion(nullptr),
                           f.GetCropEnabled(nullptr),
                           f.SetProxyPath(nullptr),
                           f.GetProxyPath(nullptr, 10),
                           f.GetProxyEnabled(nullptr),
                           f.SetDecoder(nullptr),
                           f.SetSourceFrameRate(nullptr),
                           f.SetRenderFrameRate(nullptr),
                           f.GetSpeedSettings(nullptr),
                           f.SetSpeedSettings(nullptr),
                           f.GetStabilizerSettings(nullptr),
                           f.SetStabilizerSettings(nullptr),
                           f.SetCacheRange(nullptr),
                           f.SetRenderRange(nullptr),
                           f.SetDecodeScale(nullptr),
                           f.GetCroppedSize(nullptr),
                           f.SetOutputSize(nullptr),
                           f.GetScaledSize(nullptr)}) {
    worst = std::min(worst, hr);
  }
  return worst;
}

TEST_F(HostileHost, NullRecordsAreIgnored) {
  EXPECT_EQ(S_OK, CallEverySlotWithNull(*facade));
  test::Build(*facade, {0});
  EXPECT_EQ(S_OK, CallEverySlotWithNull(*facade));
  EXPECT_EQ(E_POINTER, facade->SaveSettings(nullptr));
  EXPECT_EQ(E_POINTER, facade->LoadSettings(nullptr));
  EXPECT_EQ(E_POINTER, facade->BuildChain(nullptr, 3));
}

TEST_F(HostileHost, EveryCommandWithNullAndWithNonsenseNumbersIsSurvived) {
  test::Build(*facade, {0});
  const auto render = facade.As<IKivRenderEx>();
  for (uint32_t id = 0x9C0; id < 0xA10; ++id) {
    EXPECT_EQ(S_OK, render->ProcessCommand(id, 0, 0));
    EXPECT_EQ(S_OK, render->ProcessCommand(id, 0, ~uintptr_t{0}));
  }
  EXPECT_EQ(S_OK, render->ProcessCommand(0, 1, 1));
  EXPECT_EQ(S_OK, render->ProcessCommand(0xFFFFFFFF, 1, 1));
}

TEST_F(HostileHost, GettersBeforeAChainLeaveTheirValues) {
  KivSize size{-7, -8};
  EXPECT_EQ(S_OK, facade->GetScaledSize(&size));
  EXPECT_EQ((KivSize{-7, -8}), size);
  int32_t enabled = 55;
  EXPECT_EQ(S_OK, facade->GetProxyEnabled(&enabled));
  EXPECT_EQ(55, enabled);
  wchar_t path[] = L"kept";
  facade->GetProxyPath(path, 5);
  EXPECT_STREQ(L"kept", path);
}

TEST_F(HostileHost, FramesBeforeADecoderAreTransparent) {
  test::Build(*facade, {0});
  const auto render = facade.As<IKivRenderEx>();
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(S_OK, render->Skip(-100, nullptr));
  EXPECT_EQ(S_OK, render->GetFrame(&frame));
  EXPECT_EQ(0, test::NumberIn(frame));
  EXPECT_EQ(-100, test::IndexOf(frame));
}

TEST_F(HostileHost, ADecoderGivenBeforeTheChainIsNotKept) {
  const auto decoder = test::FakeDecoder::Make();
  EXPECT_EQ(S_OK, facade->SetDecoder(decoder->AsUnknown()));
  EXPECT_EQ(1u, decoder->References());
}

TEST_F(HostileHost, ATailNodeDrivenAfterARebuildStillAnswers) {
  test::Build(*facade, {0});
  KivComPtr<IKivSourceBase> old;
  facade->GetTailNode(&old);
  test::Build(*facade, {0});
  EXPECT_EQ(S_OK, old->Seek(4, nullptr, 0));
  EXPECT_EQ(4, old->GetPosition(nullptr));
  EXPECT_EQ(S_OK, old->Initialize(nullptr, nullptr));
  EXPECT_EQ(E_POINTER, old->SaveSettings(nullptr));
}

TEST_F(HostileHost, CleaningUpTwiceAndAfterwardsGoingOnIsFine) {
  const auto decoder = test::FakeDecoder::Make();
  test::Build(*facade, {0});
  facade->SetDecoder(decoder->AsUnknown());
  const auto render = facade.As<IKivRenderEx>();
  EXPECT_EQ(S_OK, render->Cleanup());
  EXPECT_EQ(S_OK, render->Cleanup());
  KivComPtr<IKivFrame> frame;
  render->Seek(6, nullptr, 0);
  EXPECT_EQ(S_OK, render->GetFrame(&frame));
  EXPECT_EQ(6, test::NumberIn(frame));
}

// A decoder that lets the host rebuild the chain in the middle of a read.
TEST_F(HostileHost, RebuildingFromInsideAReadIsSurvived) {
  const auto decoder = test::FakeDecoder::Make();
  test::Build(*facade, {0});
  facade->SetDecoder(decoder->AsUnknown());
  decoder->log.On("ReadCurrentFrame", [&] { test::Build(*facade, {0}); });
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(S_OK, facade.As<IKivRenderEx>()->GetFrame(&frame));
  EXPECT_EQ(0, test::NumberIn(frame));
  facade->SetDecoder(nullptr);
}

}  // namespace
