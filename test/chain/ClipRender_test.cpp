#include <gtest/gtest.h>

#include "kiv/platform/KeyNames.h"
#include "test/chain/RenderFixture.h"

namespace {

using test::Calls;

struct ClipRender : test::RenderFixture {
  Calls TailCalls() { return nodes.Tail().log.Take(); }
  KivComPtr<IKivFrame> frame;
};

int32_t IntIn(const KivComPtr<IKivProperties>& bag, const wchar_t* key) {
  int32_t value = -1;
  bag->GetInt(key, &value);
  return value;
}

int32_t KeysIn(const KivComPtr<IKivProperties>& bag) {
  return bag.As<IKivPropertyList>()->GetCount();
}

TEST_F(ClipRender, AnswersWithoutAChainAndWithoutAnOutFrame) {
  frame = test::MakeFrame(1);
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
  EXPECT_EQ(E_POINTER, render->GetFrame(nullptr));
  EXPECT_EQ(E_POINTER, render->GetLastFrame(nullptr));
  EXPECT_EQ(E_POINTER, render->GetFrameEx(nullptr, nullptr, nullptr));
  EXPECT_EQ(E_POINTER, render->GetLastFrameEx(nullptr, nullptr, nullptr));
}

TEST_F(ClipRender, InitializesBeforeTheFirstOperationThatNeedsIt) {
  const struct {
    Calls calls;
    std::function<void()> run;
  } kOperations[] = {
      {{"Initialize", "GetCurrentFrame"}, [&] { render->GetFrame(&frame); }},
      {{"Initialize"}, [&] { render->GetLastFrame(&frame); }},
      {{"Initialize", "GetCurrentFrame"}, [&] { render->GetFrameEx(&frame, nullptr, nullptr); }},
      {{"Initialize"}, [&] { render->GetLastFrameEx(&frame, nullptr, nullptr); }},
      {{"Initialize", "Seek 2"}, [&] { render->Seek(2, nullptr, 0); }},
      {{"Initialize", "Skip 2"}, [&] { render->Skip(2, nullptr); }},
      {{"GetPosition"}, [&] { render->GetPosition(); }},
      {{"Command 0x9C7"}, [&] { render->ProcessCommand(0x9C7, 0, 0); }},
  };
  for (const auto& operation : kOperations) {
    Build({0});
    operation.run();
    EXPECT_EQ(operation.calls, TailCalls());
  }
}

TEST_F(ClipRender, TakesSettingsForTheNextInitialization) {
  Build({0});
  render->Seek(0, nullptr, 0);
  auto settings = nodes.Tail().settings;
  KivRational rate{5, 5}, custom;
  KivSize size;
  EXPECT_EQ(1, IntIn(settings, L"CLIP.CMD.NECESSARY.INIT"));
  EXPECT_EQ(S_OK, settings->GetRational(KivKey::Render::kRender_Framerate, &rate));
  EXPECT_EQ((KivRational{0, 1}), rate);
  EXPECT_EQ(S_OK, settings->GetSize(KivKey::Render::kRender_Size, &size));
  EXPECT_EQ((KivSize{960, 540}), size);
  EXPECT_EQ(3, KeysIn(settings));
  EXPECT_EQ(0, KeysIn(nodes.Tail().info));

  const KivRational newRate{30, 1}, newCustom{24000, 1001};
  const KivSize newSize{1280, 720};
  render->SetRenderFrameRate(&newRate);
  render->SetRenderSize(&newSize);
  render->SetCustomSourceFrameRate(&newCustom);
  render->Seek(1, nullptr, 0);
  EXPECT_EQ((Calls{"Initialize", "Seek 0", "Seek 1"}), TailCalls());
  render->Cleanup();
  render->Seek(2, nullptr, 0);
  settings = nodes.Tail().settings;
  settings->GetRational(KivKey::Render::kRender_Framerate, &rate);
  settings->GetSize(KivKey::Render::kRender_Size, &size);
  settings->GetRational(KivKey::Source::kSource_Framerate_Custom, &custom);
  EXPECT_EQ(newRate, rate);
  EXPECT_EQ(newSize, size);
  EXPECT_EQ(newCustom, custom);
}

TEST_F(ClipRender, HandsACustomRateOnFromAThousandthUp) {
  const struct {
    KivRational rate;
    int32_t keys;
  } kRates[] = {{{1, 1000}, 4}, {{999, 1000000}, 3}, {{-25, 1}, 3}, {{0, 0}, 3}};
  for (const auto& c : kRates) {
    render->SetCustomSourceFrameRate(&c.rate);
    Build({0});
    render->Seek(0, nullptr, 0);
    EXPECT_EQ(c.keys, KeysIn(nodes.Tail().settings)) << c.rate.ToDouble();
  }
}

TEST_F(ClipRender, ReportsAFailedInitializationOnce) {
  Build({0});
  nodes.Tail().initializeResult = E_UNSUPPORTED;
  int32_t reached = 7;
  EXPECT_EQ(E_UNSUPPORTED, render->Seek(3, &reached, 0));
  EXPECT_EQ(7, reached);
  EXPECT_EQ(S_OK, render->Seek(4, &reached, 0));
  EXPECT_EQ(4, reached);
  EXPECT_EQ((Calls{"Initialize", "Seek 4"}), TailCalls());
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
  nodes.Tail().result = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, render->Skip(1, &value));
  EXPECT_EQ(0, value);
  EXPECT_EQ(E_NOTREADY, render->Seek(1, nullptr, 0));
}

TEST_F(ClipRender, LetsGoOfTheOldFrameBeforeItPullsTheNext) {
  Build({0});
  nodes.Tail().frame = test::MakeFrame(1);
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

TEST_F(ClipRender, CleanupTellsTheChainAndInitializesAnew) {
  Build({0});
  render->GetFrame(&frame);
  TailCalls();
  nodes.Tail().initializeResult = E_FAIL;
  EXPECT_EQ(S_OK, render->Cleanup());
  EXPECT_EQ((Calls{"Command 0x9C6", "Initialize"}), TailCalls());
  EXPECT_EQ(1, IntIn(nodes.Tail().settings, L"CLIP.CMD.CLEANUP"));
  EXPECT_EQ(1, KeysIn(nodes.Tail().settings));

  nodes.Tail().initializeResult = S_OK;
  EXPECT_EQ(E_FAIL, render->GetLastFrame(&frame));
  EXPECT_FALSE(frame);
  EXPECT_EQ((Calls{"Initialize"}), TailCalls());
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
}

TEST_F(ClipRender, ANewChainEndsTheUseOfTheOldOne) {
  Build({0, 2});
  test::FakeNode& old = nodes.Tail();
  render->GetFrame(&frame);
  old.log.Take();
  Build({0});
  EXPECT_EQ((Calls{"Initialize", "Command 0x9C5", "Flush"}), old.log.Take());
  EXPECT_EQ((test::SentCommand{0x9C5, 0, 0}), old.commands.back());
  EXPECT_EQ(1, IntIn(old.settings, L"CLIP.CMD.CLEANUP"));
  EXPECT_EQ(0, IntIn(old.settings, KivKey::Render::kRender_CacheEnable));
  EXPECT_EQ(0, IntIn(old.settings, KivKey::Speed::kReverse));
  EXPECT_EQ(Calls{}, TailCalls());
}

// A tail that throws stands for any foreign node.
TEST_F(ClipRender, NoExceptionLeaves) {
  Build({0});
  render->Seek(0, nullptr, 0);
  for (const char* call :
       {"GetCurrentFrame", "Seek 1", "Skip 1", "GetPosition", "Save", "Command 0x9C7"}) {
    nodes.Tail().log.On(call, [] { throw std::bad_alloc(); });
  }
  EXPECT_EQ(E_OUTOFMEMORY, render->GetFrame(&frame));
  EXPECT_EQ(E_OUTOFMEMORY, render->Seek(1, nullptr, 0));
  EXPECT_EQ(E_OUTOFMEMORY, render->Skip(1, nullptr));
  EXPECT_EQ(-1, render->GetPosition());
  EXPECT_EQ(S_OK, render->ProcessCommand(0x9C7, 0, 0));
  EXPECT_EQ(E_OUTOFMEMORY, render->SaveNodeSettings(KivCommon::CreateProperties().Get()));
}

}  // namespace
