#include <gtest/gtest.h>

#include "kiv/chain/TaskIdentities.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "test/chain/RenderFixture.h"
#include "test/support/Frames.h"

namespace {

using test::Calls;

struct ClipRender : test::RenderFixture {};

int32_t IntIn(const KivComPtr<IKivProperties>& bag, const wchar_t* key) {
  int32_t value = -1;
  bag->GetInt(key, &value);
  return value;
}

int32_t KeysIn(const KivComPtr<IKivProperties>& bag) {
  return bag.As<IKivPropertyList>()->GetCount();
}

TEST_F(ClipRender, AnswersWithoutAChain) {
  KivComPtr<IKivFrame> frame = test::MakeFrame(1);
  EXPECT_EQ(E_FAIL, render->GetFrame(&frame));
  EXPECT_FALSE(frame);
  EXPECT_EQ(E_FAIL, render->GetLastFrame(&frame));
  EXPECT_EQ(-1, render->GetPosition());
  int32_t value = 9;
  EXPECT_EQ(S_OK, render->Seek(5, &value, 0));
  EXPECT_EQ(0, value);
  value = 9;
  EXPECT_EQ(S_OK, render->Skip(5, &value));
  EXPECT_EQ(0, value);
  EXPECT_EQ(S_OK, render->ProcessCommand(0x9C6, 0, 0));
  EXPECT_EQ(S_OK, render->Cleanup());
}

TEST_F(ClipRender, RefusesANullOutFrame) {
  EXPECT_EQ(E_POINTER, render->GetFrame(nullptr));
  EXPECT_EQ(E_POINTER, render->GetLastFrame(nullptr));
  EXPECT_EQ(E_POINTER, render->GetFrameEx(nullptr, nullptr, nullptr));
  EXPECT_EQ(E_POINTER, render->GetLastFrameEx(nullptr, nullptr, nullptr));
}

TEST_F(ClipRender, InitializesOnceBeforeTheFirstOperation) {
  Build({0});
  render->Seek(3, nullptr, 1);
  render->Seek(4, nullptr, 0);
  EXPECT_EQ((Calls{"Initialize", "Seek 3", "Seek 4"}), nodes.Tail().log.Calls());
}

struct FirstOperation {
  const char* name;
  Calls calls;
  void (*run)(IKivRenderEx& render);
};

struct ClipRenderFirst : test::RenderFixture, testing::WithParamInterface<FirstOperation> {};

TEST_P(ClipRenderFirst, InitializesWhereItShould) {
  Build({0});
  GetParam().run(*render);
  EXPECT_EQ(GetParam().calls, nodes.Tail().log.Calls());
}

INSTANTIATE_TEST_SUITE_P(
    Each, ClipRenderFirst,
    testing::Values(
        FirstOperation{"GetFrame",
                       {"Initialize", "GetCurrentFrame"},
                       [](IKivRenderEx& r) {
                         KivComPtr<IKivFrame> frame;
                         r.GetFrame(&frame);
                       }},
        FirstOperation{"GetLastFrame",
                       {"Initialize"},
                       [](IKivRenderEx& r) {
                         KivComPtr<IKivFrame> frame;
                         r.GetLastFrame(&frame);
                       }},
        FirstOperation{"GetFrameEx",
                       {"Initialize", "GetCurrentFrame"},
                       [](IKivRenderEx& r) {
                         KivComPtr<IKivFrame> frame;
                         r.GetFrameEx(&frame, nullptr, nullptr);
                       }},
        FirstOperation{"GetLastFrameEx",
                       {"Initialize"},
                       [](IKivRenderEx& r) {
                         KivComPtr<IKivFrame> frame;
                         r.GetLastFrameEx(&frame, nullptr, nullptr);
                       }},
        FirstOperation{
            "Skip", {"Initialize", "Skip 2"}, [](IKivRenderEx& r) { r.Skip(2, nullptr); }},
        FirstOperation{"GetPosition", {"GetPosition"}, [](IKivRenderEx& r) { r.GetPosition(); }},
        FirstOperation{"ProcessCommand",
                       {"Command 0x9C7"},
                       [](IKivRenderEx& r) { r.ProcessCommand(0x9C7, 0, 0); }}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(ClipRender, InitializesWithTheInitialSettings) {
  Build({0});
  render->Seek(0, nullptr, 0);
  const auto& settings = nodes.Tail().settings;
  KivRational rate{5, 5};
  KivSize size;
  EXPECT_EQ(1, IntIn(settings, L"CLIP.CMD.NECESSARY.INIT"));
  EXPECT_EQ(S_OK, settings->GetRational(KivKey::Render::kRender_Framerate, &rate));
  EXPECT_EQ((KivRational{0, 1}), rate);
  EXPECT_EQ(S_OK, settings->GetSize(KivKey::Render::kRender_Size, &size));
  EXPECT_EQ((KivSize{960, 540}), size);
  EXPECT_EQ(3, KeysIn(settings));
  EXPECT_EQ(0, KeysIn(nodes.Tail().info));
}

TEST_F(ClipRender, TakesSettingsForTheNextInitialization) {
  const auto settable = render.As<IKivRenderSettings>();
  ASSERT_TRUE(settable);
  const KivRational rate{30, 1}, custom{24000, 1001};
  const KivSize size{1280, 720};
  EXPECT_EQ(E_POINTER, settable->SetRenderFrameRate(nullptr));
  EXPECT_EQ(E_POINTER, settable->SetRenderSize(nullptr));
  EXPECT_EQ(E_POINTER, settable->SetCustomSourceFrameRate(nullptr));
  settable->SetRenderFrameRate(&rate);
  settable->SetRenderSize(&size);
  settable->SetCustomSourceFrameRate(&custom);
  Build({0});
  render->Seek(0, nullptr, 0);

  const auto settings = nodes.Tail().settings;
  KivRational gotRate, gotCustom;
  KivSize gotSize;
  settings->GetRational(KivKey::Render::kRender_Framerate, &gotRate);
  settings->GetSize(KivKey::Render::kRender_Size, &gotSize);
  settings->GetRational(KivKey::Source::kSource_Framerate_Custom, &gotCustom);
  EXPECT_EQ(rate, gotRate);
  EXPECT_EQ(size, gotSize);
  EXPECT_EQ(custom, gotCustom);

  const KivRational later{50, 1};
  settable->SetRenderFrameRate(&later);
  render->Seek(1, nullptr, 0);
  EXPECT_EQ((Calls{"Initialize", "Seek 0", "Seek 1"}), nodes.Tail().log.Calls());
  render->Cleanup();
  render->Seek(2, nullptr, 0);
  nodes.Tail().settings->GetRational(KivKey::Render::kRender_Framerate, &gotRate);
  EXPECT_EQ(later, gotRate);
}

struct CustomRateCase {
  KivRational rate;
  bool handedOn;
};
struct ClipRenderCustomRate : test::RenderFixture, testing::WithParamInterface<CustomRateCase> {};

TEST_P(ClipRenderCustomRate, IsHandedOnFromAThousandthUp) {
  render.As<IKivRenderSettings>()->SetCustomSourceFrameRate(&GetParam().rate);
  Build({0});
  render->Seek(0, nullptr, 0);
  KivRational rate;
  const HRESULT hr =
      nodes.Tail().settings->GetRational(KivKey::Source::kSource_Framerate_Custom, &rate);
  EXPECT_EQ(GetParam().handedOn, hr == S_OK);
}

INSTANTIATE_TEST_SUITE_P(Values, ClipRenderCustomRate,
                         testing::Values(CustomRateCase{{1, 1000}, true},
                                         CustomRateCase{{999, 1000000}, false},
                                         CustomRateCase{{-25, 1}, false},
                                         CustomRateCase{{0, 0}, false},
                                         CustomRateCase{{1, 0}, true}));

TEST_F(ClipRender, ReportsAFailedInitializationOnce) {
  Build({0});
  nodes.Tail().initializeResult = E_UNSUPPORTED;
  int32_t reached = 7;
  EXPECT_EQ(E_UNSUPPORTED, render->Seek(3, &reached, 0));
  EXPECT_EQ(7, reached);
  EXPECT_EQ(S_OK, render->Seek(4, &reached, 0));
  EXPECT_EQ(4, reached);
  EXPECT_EQ((Calls{"Initialize", "Seek 4"}), nodes.Tail().log.Calls());
}

TEST_F(ClipRender, ARebuiltChainIsInitializedAgain) {
  Build({0});
  render->Seek(1, nullptr, 0);
  Build({0});
  render->Seek(2, nullptr, 0);
  EXPECT_EQ((Calls{"Initialize", "Seek 1"}), nodes.made[0].node->log.Calls());
  EXPECT_EQ((Calls{"Initialize", "Seek 2"}), nodes.made[1].node->log.Calls());
}

TEST_F(ClipRender, SeekAndSkipReportWhatTheTailReached) {
  Build({0});
  int32_t value = -3;
  EXPECT_EQ(S_OK, render->Seek(12, &value, 1));
  EXPECT_EQ(12, value);
  EXPECT_EQ(1, nodes.Tail().lastMode);
  EXPECT_EQ(S_OK, render->Skip(-2, &value));
  EXPECT_EQ(-2, value);
  EXPECT_EQ(10, render->GetPosition());
  nodes.Tail().skipResult = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, render->Skip(1, &value));
  EXPECT_EQ(0, value);
  nodes.Tail().seekResult = S_FALSE;
  EXPECT_EQ(S_FALSE, render->Seek(1, nullptr, 0));
}

TEST_F(ClipRender, HandsOutTheFrameItPulledAndKeepsIt) {
  Build({0});
  render->Seek(42, nullptr, 0);
  KivComPtr<IKivFrame> frame = test::MakeFrame(1);
  EXPECT_EQ(S_OK, render->GetFrame(&frame));
  EXPECT_EQ(42, test::NumberIn(frame));
  nodes.Tail().log.Take();
  KivComPtr<IKivFrame> again;
  EXPECT_EQ(S_OK, render->GetLastFrame(&again));
  EXPECT_EQ(frame, again);
  EXPECT_EQ(Calls{}, nodes.Tail().log.Calls());
}

TEST_F(ClipRender, LetsGoOfTheOldFrameBeforeItPullsTheNext) {
  Build({0});
  nodes.Tail().frame = test::MakeFrame(1);
  KivComPtr<IKivFrame> frame;
  render->GetFrame(&frame);
  frame.Reset();
  uint32_t references = 0;
  nodes.Tail().log.On("GetCurrentFrame", [&] {
    nodes.Tail().frame->AddRef();
    references = nodes.Tail().frame->Release();
  });
  render->GetFrame(&frame);
  EXPECT_EQ(1u, references);
}

TEST_F(ClipRender, AFrameWithoutPictureFailsAndIsHandedOutAllTheSame) {
  Build({0});
  nodes.Tail().frame = test::MakeEmptyFrame();
  nodes.Tail().status = 1;
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(E_FAIL, render->GetFrame(&frame));
  EXPECT_EQ(nodes.Tail().frame, frame);
  EXPECT_EQ(E_FAIL, render->GetLastFrame(&frame));
  EXPECT_EQ(nodes.Tail().frame, frame);
}

TEST_F(ClipRender, CleanupTellsTheChainAndInitializesAnew) {
  Build({0});
  KivComPtr<IKivFrame> frame;
  render->GetFrame(&frame);
  nodes.Tail().log.Take();
  nodes.Tail().initializeResult = E_FAIL;
  EXPECT_EQ(S_OK, render->Cleanup());
  EXPECT_EQ((Calls{"Command 0x9C6", "Initialize"}), nodes.Tail().log.Take());
  EXPECT_EQ(1, IntIn(nodes.Tail().settings, L"CLIP.CMD.CLEANUP"));
  EXPECT_EQ(1, KeysIn(nodes.Tail().settings));
  EXPECT_EQ(0, KeysIn(nodes.Tail().info));

  nodes.Tail().initializeResult = S_OK;
  EXPECT_EQ(E_FAIL, render->GetLastFrame(&frame));
  EXPECT_FALSE(frame);
  EXPECT_EQ((Calls{"Initialize"}), nodes.Tail().log.Calls());
  EXPECT_EQ(1, IntIn(nodes.Tail().settings, L"CLIP.CMD.NECESSARY.INIT"));
}

TEST_F(ClipRender, CommandResultsAreLost) {
  Build({0});
  nodes.Tail().commandResult = E_FAIL;
  EXPECT_EQ(S_OK, render->ProcessCommand(0x9F1, 21, 22));
  EXPECT_EQ((test::SentCommand{0x9F1, 21, 22}), nodes.Tail().commands.back());
}

TEST_F(ClipRender, SettingsReachEveryNodeEverBuiltInOrder) {
  Build({0, 1});
  Build({0});
  Calls order;
  for (size_t i = 0; i < nodes.made.size(); ++i) {
    auto& log = nodes.made[i].node->log;
    log.On("Save", [&order, i] { order.push_back("Save " + std::to_string(i)); });
    log.On("Load", [&order, i] { order.push_back("Load " + std::to_string(i)); });
  }
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, render->SaveNodeSettings(bag.Get()));
  EXPECT_EQ(S_OK, render->LoadNodeSettings(bag.Get()));
  EXPECT_EQ((Calls{"Save 0", "Save 1", "Save 2", "Load 0", "Load 1", "Load 2"}), order);
  EXPECT_EQ(E_POINTER, render->SaveNodeSettings(nullptr));
  EXPECT_EQ(E_POINTER, render->LoadNodeSettings(nullptr));
}

TEST_F(ClipRender, AnswersItsIdentities) {
  EXPECT_TRUE(render.As<IKivRender>());
  EXPECT_EQ(static_cast<IKivRender*>(render.As<IKivRenderEx>().Get()),
            render.As<IKivRender>().Get());
  EXPECT_TRUE(render.As<IUnknown>());
  EXPECT_FALSE(render.As<IKivSourceBase>());
  void* object = &object;
  EXPECT_EQ(E_NOINTERFACE, render->NonDelegatingQueryInterface(kTaskIid, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(E_POINTER, render->NonDelegatingQueryInterface(IKivRender::kIid, nullptr));
}

// A tail that throws stands for any foreign node.
TEST_F(ClipRender, NoExceptionLeaves) {
  Build({0});
  render->Seek(0, nullptr, 0);
  const auto refuse = [] { throw std::bad_alloc(); };
  for (const char* call :
       {"GetCurrentFrame", "Seek 1", "Skip 1", "GetPosition", "Save", "Command 0x9C7"}) {
    nodes.Tail().log.On(call, refuse);
  }
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(E_OUTOFMEMORY, render->GetFrame(&frame));
  EXPECT_EQ(E_OUTOFMEMORY, render->Seek(1, nullptr, 0));
  EXPECT_EQ(E_OUTOFMEMORY, render->Skip(1, nullptr));
  EXPECT_EQ(-1, render->GetPosition());
  EXPECT_EQ(S_OK, render->ProcessCommand(0x9C7, 0, 0));
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(E_OUTOFMEMORY, render->SaveNodeSettings(bag.Get()));
}

}  // namespace
