// A clip as its host sees it while an analysis goes on in the background.
#include <future>
#include <thread>

#include "kiv/component/NodeTable.h"
#include "kiv/component/VideoStreamProcess.h"
#include "test/VideoStab/StabFixture.h"
#include "test/support/Gate.h"

namespace {

using test::CallLog;
using test::Calls;
using test::Gate;
using test::State;

// A facade with source and stabilizer, and what its callback heard: "2", "4", "5".
struct Clip {
  explicit Clip(const StabSettings& settings) {
    const int32_t nodes[] = {0, 3};
    facade->BuildChain(nodes, 2);
    facade->SetDecoder(decoder->AsUnknown());
    facade->GetStabExtendControl(control.Put());
    control->SetCallback(
        [](int32_t state, int64_t, void* self) {
          static_cast<Clip*>(self)->heard.Add(std::to_string(state));
        },
        this);
    heard.On("5", [this] { done.set_value(); });
    Set(settings);
  }
  void Set(StabSettings settings) { facade->SetStabilizerSettings(&settings); }
  void AwaitFinish() {
    done.get_future().wait();
    done = {};
    control->Stop();  // waits for what follows the last step
    EXPECT_EQ(State::kFinished, control->GetTaskState());
  }
  int32_t Shown() {
    KivComPtr<IKivFrame> frame;
    facade.As<IKivRenderEx>()->GetFrame(&frame);
    return test::NumberIn(frame);
  }

  CallLog heard;
  std::promise<void> done;
  KivComPtr<test::FakeDecoder> decoder = test::FakeDecoder::Make();
  KivComPtr<IKivVideoStreamProcessInternal> facade{
      new CKivVideoStreamProcess(nullptr, ComponentNodes())};
  KivComPtr<IKivStabExtendControl> control;
};

struct StabThreads : test::StabFixture {
  // An analysis that stands still in its second frame.
  void StartHeld(Clip& clip) {
    algorithm->log.On("Analyse 11 shows 11", [this] { gate.Pass(); });
    ASSERT_EQ(S_OK, clip.control->Start());
    gate.AwaitReached();
  }

  Gate gate;
};

TEST_F(StabThreads, FramesPassWhileAnAnalysisRunsAndAreCorrectedAfterIt) {
  Clip clip(Settings());
  StartHeld(clip);
  EXPECT_EQ(State::kRunning, clip.control->GetTaskState());
  EXPECT_EQ(0, clip.Shown());
  clip.facade->SetStabilizerLevel(20);
  clip.Set(Settings());
  EXPECT_EQ(S_FALSE, clip.control->Start());
  gate.Open();
  clip.AwaitFinish();
  EXPECT_EQ((Calls{"2", "2", "2", "2", "5"}), clip.heard.Take());
  EXPECT_EQ(1000, clip.Shown());
}

TEST_F(StabThreads, ASettingsChangeEndsTheRunAndTheNextOneIsForIt) {
  Clip clip(Settings({10, 1 << 30}));
  StartHeld(clip);
  auto change = std::async(std::launch::async, [&] { clip.Set(Settings({20, 21})); });
  gate.Open();
  change.get();
  EXPECT_EQ(State::kReady, clip.control->GetTaskState());
  EXPECT_EQ("4", clip.heard.Take().back());
  EXPECT_EQ("Discard", Steps().back());
  EXPECT_EQ(S_OK, clip.control->Start());
  clip.AwaitFinish();
  EXPECT_EQ((Calls{"Begin 4x2", "Start", "Collect", "SetData 2 from 20"}), Steps());
}

TEST_F(StabThreads, AClipMayEndInAnyState) {
  const std::pair<const char*, std::function<void(Clip&)>> cases[] = {
      {"running", [](Clip& c) { c.control->Start(); }},
      {"paused",
       [](Clip& c) {
         c.control->Start();
         c.control->Pause();
       }},
      {"stopped",
       [](Clip& c) {
         c.control->Start();
         c.control->Stop();
       }},
  };
  for (const auto& [name, prepare] : cases) {
    SCOPED_TRACE(name);
    Clip clip(Settings({0, 1 << 30}));
    prepare(clip);
    clip.facade.Reset();
    clip.control.Reset();  // the last reference: returns when the run is over
    const Calls heard = clip.heard.Take();
    EXPECT_EQ(0, std::count(heard.begin(), heard.end(), "5"));
    EXPECT_EQ(1u, clip.decoder->References());
  }
}

TEST_F(StabThreads, ACallbackMayDropTheLastReference) {
  for (const char* const state : {"2", "5"}) {
    Clip clip(Settings());
    std::promise<void> gone;
    std::promise<void> given;
    clip.heard.On(state, [&] {
      given.get_future().wait();
      clip.heard.On(state, {});
      clip.control.Reset();
      gone.set_value();
    });
    clip.control->Start();
    clip.facade.Reset();
    given.set_value();
    gone.get_future().wait();
    EXPECT_EQ(1u, clip.decoder->References());
  }
}

TEST_F(StabThreads, SeveralClipsAreAnalysedAtOnce) {
  media->decoder = nullptr;
  const kiv::ScopedClass algorithms(kStabilizerAlgorithmClassId,
                                    [](IUnknown*, const GUID& iid, void** out) {
                                      return test::FakeStabilizer::Make()->QueryInterface(iid, out);
                                    });
  std::vector<std::unique_ptr<Clip>> clips;
  for (int32_t i = 0; i < 4; ++i)
    clips.push_back(std::make_unique<Clip>(Settings({i, 10 * i + 50})));
  for (const auto& clip : clips) ASSERT_EQ(S_OK, clip->control->Start());
  for (int32_t i = 0; i < 4; ++i) {
    clips[static_cast<size_t>(i)]->AwaitFinish();
    const KivPropDecorator bag = KivCommon::CreateProperties();
    clips[static_cast<size_t>(i)]->facade->SaveSettings(bag.Get());
    StabStoredData data;
    EXPECT_EQ(S_OK, ReadStabData(bag.Get(), &data));
    EXPECT_EQ(static_cast<size_t>(9 * i + 51), data.motions.size());
    EXPECT_EQ(i / 10.0, data.motions.front().dx);
  }
}

TEST_F(StabThreads, ANewRunBesideALoadEndsWithTheOnesDataOrTheOthers) {
  const auto bag = test::StoredBag(Settings(), 5, 5);
  const KivPropDecorator saved = KivCommon::CreateProperties();
  for (int i = 0; i < 300; ++i) {
    Clip clip(Settings());
    std::thread starter([&] { clip.control->Start(); });
    clip.facade->LoadSettings(bag.Get());
    starter.join();
    clip.control->Stop();
    if (clip.control->GetTaskState() != State::kFinished) continue;
    StabStoredData data;
    clip.facade->SaveSettings(saved.Get());
    EXPECT_EQ(S_OK, ReadStabData(saved.Get(), &data));
    ASSERT_EQ(5u, data.motions.size()) << i;
  }
}

// Nothing is known of the order; the sanitizers look on.
TEST_F(StabThreads, HostAndReaderWorkOnOneClip) {
  Clip clip(Settings());
  std::thread reader([&] {
    for (int i = 0; i < 500; ++i) {
      const int32_t shown = clip.Shown();
      EXPECT_TRUE(shown == 0 || shown == 1000) << shown;
    }
  });
  const KivPropDecorator bag = KivCommon::CreateProperties();
  for (int32_t i = 0; i < 100; ++i) {
    clip.heard.On("5", {});
    clip.control->Start();
    if (i % 3 == 0) clip.Set(Settings({10, 12 + i % 2}));
    if (i % 5 == 0) clip.control->Stop();
    clip.facade->SetStabilizerEnabled(i % 7 != 0);
    clip.facade->SetStabilizerLevel(i % 4);
    clip.facade->SaveSettings(bag.Get());
    if (i % 11 == 0) clip.facade->LoadSettings(bag.Get());
    clip.control->SetCallback(nullptr, nullptr);
  }
  reader.join();
  clip.control->Stop();
  EXPECT_FALSE(clip.control->GetTaskState() == State::kRunning);
}

}  // namespace
