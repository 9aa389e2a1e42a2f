// The whole component: what a host does with a clip, in the right order and in the wrong one.
#include <filesystem>

#include "kiv/platform/KeyNames.h"
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

// Set up in the order of the guide.
struct GuidedHost : Playback {
  void SetUp() override {}
  void Connect(std::initializer_list<int32_t> ids) {
    test::Build(*facade, ids);
    const KivRational rate{25, 1};
    facade->SetSourceFrameRate(&rate);
    facade->SetRenderFrameRate(&rate);
    facade->SetDecoder(decoder->AsUnknown());
  }
  void Describe() {
    render->GetLastFrame(&frame);
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator facts = KivCommon::CreateProperties();
    const KivRational twice{2, 1}, rate{25, 1};
    const KivRange range{0, 99};
    settings->SetInt(KivKey::Speed::kReverse, 1);
    settings->SetRange(KivKey::Speed::kReverse_Range, &range);
    settings->SetRational(KivKey::Speed::kScale, &twice);
    settings->SetRational(KivKey::Render::kRender_Framerate, &rate);
    facts->SetInt(L"Source.TotalFrameCount.Video", 100);
    facts->SetRational(L"Source.FrameRate.Video", &rate);
    KivComPtr<IKivSourceBase> tail;
    facade->GetTailNode(&tail);
    tail->Initialize(settings.Reference(), facts.Reference());
  }
  // Frame 10 from the end; its decoder stamps no times, so the time is that of the clip's end.
  void ExpectFrame5() {
    render->Seek(5, nullptr, 1);
    EXPECT_EQ(89, Shown());
    int64_t time = 0;
    frame->GetTime(&time, nullptr);
    EXPECT_EQ(40'000'000, time);
  }
};

TEST_F(GuidedHost, ItsSettingsOutliveACleanup) {
  Connect({0, 2, 6, 7});
  Describe();
  ExpectFrame5();
  for (int i = 0; i < 2; ++i) {
    render->Cleanup();
    ExpectFrame5();
  }
  // What it set last counts, whichever way.
  SpeedSettings thrice{3, 1, 1, 0, 99};
  thrice.interpolationMode = 4;
  facade->SetSpeedSettings(&thrice);
  render->Cleanup();
  render->Seek(5, nullptr, 1);
  EXPECT_EQ(84, Shown());
  SpeedSettings kept;
  facade->GetSpeedSettings(&kept);
  EXPECT_EQ(4u, kept.interpolationMode);
}

TEST_F(GuidedHost, ItsBagsReachTheNextChainBeforeItsCommands) {
  Connect({0, 2, 6, 7});
  Describe();
  ExpectFrame5();
  Connect({0, 2, 6, 4, 7});
  ExpectFrame5();
  test::Build(*facade, {});
  Connect({0, 2, 6, 7});
  SpeedSettings thrice{3, 1, 1, 0, 99};
  facade->SetSpeedSettings(&thrice);
  render->Seek(5, nullptr, 1);
  EXPECT_EQ(84, Shown());
}

int ThreadsOfThisProcess() {
  int count = 0;
  for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/task")) {
    ++count;
  }
  return count;
}

TEST_F(GuidedHost, ARebuiltChainLeavesNoDecoderThreadOrPictureBehind) {
  const int threads = ThreadsOfThisProcess();
  Connect({0, 2, 6, 7});
  Describe();
  ExpectFrame5();
  EXPECT_EQ(threads + 1, ThreadsOfThisProcess());
  frame.Reset();
  render->GetLastFrame(&frame);
  const int64_t objects = kiv::LiveObjectCount();
  for (int i = 0; i < 3; ++i) {
    test::Build(*facade, {0});
    EXPECT_EQ(1u, decoder->References());
    EXPECT_EQ(threads, ThreadsOfThisProcess());
    // The spans' pictures are gone; the last frame stays.
    EXPECT_GT(objects - 10, kiv::LiveObjectCount());
    Connect({0, 2, 6, 7});
    ExpectFrame5();
  }
}

// Rates that the render does not know must not replace those that were set.
TEST_F(GuidedHost, MayLeaveInitializingToTheRender) {
  for (const auto& ids : {std::initializer_list<int32_t>{0, 5}, {0, 2, 5}, {0, 5, 7}}) {
    Connect(ids);
    render->Seek(5, nullptr, 1);
    EXPECT_EQ(5, Shown());
    render->Skip(-1, nullptr);
    EXPECT_GE(5, Shown());
  }
}

TEST_F(GuidedHost, LoadedSettingsShowAtOnce) {
  Connect({0, 2, 6});
  const SpeedSettings reversed{1, 1, 1, 0, 99};
  facade->SetSpeedSettings(&reversed);
  const KivRange all{0, 99};
  facade->SetCacheRange(&all);
  render->Seek(40, nullptr, 1);
  EXPECT_EQ(59, Shown());
  const KivPropDecorator bag = KivCommon::CreateProperties();
  facade->SaveSettings(bag.Get());
  decoder->frame = test::MakeFrame(7);
  facade->LoadSettings(bag.Get());
  render->GetFrame(&frame);
  EXPECT_EQ(7, test::NumberIn(frame));
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
