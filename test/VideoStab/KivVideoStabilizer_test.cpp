// The stabilizer node: its settings, what they do to its task, and the frames it hands out.
#include "test/VideoStab/StabFixture.h"

namespace {

using test::Calls;
using test::IndexOf;
using test::NumberIn;
using test::Send;
using test::State;
using test::StoredBag;

struct StabilizerNode : test::StabFixture {
  StabilizerNode() {
    Send(*chain.node, CommandId::GetStabExtendControl, control.Put());
    const auto taskable = control.As<IKivTaskable>();
    task = static_cast<CKivVideoStabExtendControl*>(taskable.Get());
  }
  void Set(StabSettings settings) {
    Send(*chain.node, CommandId::SetStabilizerSettings, &settings);
  }
  StabSettings Held() {
    StabSettings settings;
    Send(*chain.node, CommandId::GetStabilizerSettings, &settings);
    return settings;
  }
  int32_t Number(CommandId getter) {
    int32_t number = -99;
    Send(*chain.node, getter, &number);
    return number;
  }
  // With the data of a run over Settings().
  void Finish() {
    Set(Settings());
    task->SetTaskState(test::DriveTask(*task));
    algorithm->log.Take();
  }
  void Initialize(const std::function<void(const KivPropDecorator&)>& describe) {
    const KivPropDecorator own = KivCommon::CreateProperties(),
                           source = KivCommon::CreateProperties();
    describe(source);
    EXPECT_EQ(S_OK, chain.node->Initialize(own.Reference(), source.Reference()));
  }
  KivSize StoredSize() {
    const KivPropDecorator bag = KivCommon::CreateProperties();
    EXPECT_EQ(S_OK, chain.node->SaveSettings(bag.Get()));
    StabStoredData data;
    ReadStabData(bag.Get(), &data);
    return data.settings.oSize;
  }
  bool HasEntries() {
    const auto in = test::MakeFrame(1), out = test::MakeFrame(2);
    return task->Correct(in.Get(), out.Get(), 0, 0) != E_NOTREADY;
  }

  test::NodeOnFake<CKivVideoStabilizer> chain;
  KivComPtr<IKivStabExtendControl> control;
  CKivVideoStabExtendControl* task = nullptr;
};

TEST_F(StabilizerNode, AChangeOfSettingsMovesTheTask) {
  const auto set = [](void (*change)(StabSettings&)) {
    return [change](StabilizerNode& t) {
      StabSettings settings = t.Settings();
      change(settings);
      t.Set(settings);
    };
  };
  const auto level = [](StabilizerNode& t) {
    Send(*t.chain.node, CommandId::SetStabilizerLevel, 20);
  };
  const auto range = set([](StabSettings& s) { s.rngSource.end = 19; });
  const struct {
    const char* name;
    State before;
    std::function<void(StabilizerNode&)> change;
    State after;
    bool keepsEntries;
  } cases[] = {
      {"off", State::kFinished,
       [](StabilizerNode& t) { Send(*t.chain.node, CommandId::SetStabilizerEnabled, 0); },
       State::kFinished, true},
      {"level", State::kFinished, level, State::kFinished, true},
      {"range", State::kFinished, range, State::kReady, false},
      {"same rate", State::kFinished, set([](StabSettings& s) {
         s.ratFramerate = {50, 2};
       }),
       State::kFinished, true},
      {"unusable", State::kFinished, set([](StabSettings& s) { s.nStreamIdx = -1; }),
       State::kFinished, true},
      {"level while running", State::kRunning, level, State::kRunning, true},
      {"level while paused", State::kPaused, level, State::kPaused, true},
      {"path while running", State::kRunning, set([](StabSettings& s) { s.wstrPath += L"x"; }),
       State::kReady, false},
      {"stream while paused", State::kPaused, set([](StabSettings& s) { s.nStreamIdx = 1; }),
       State::kReady, false},
      {"level after a stop", State::kStopped, level, State::kReady, false},
      {"the same level after a stop", State::kStopped,
       [](StabilizerNode& t) { Send(*t.chain.node, CommandId::SetStabilizerLevel, 10); },
       State::kStopped, true},
      {"on again after a stop", State::kStopped,
       [](StabilizerNode& t) { Send(*t.chain.node, CommandId::SetStabilizerEnabled, 1); },
       State::kStopped, true},
      {"size and switch alone", State::kStopped, set([](StabSettings& s) {
         s.oSize = {9, 9};
         s.Enable = 0;
       }),
       State::kStopped, true},
      {"nothing new for Initialize", State::kStopped,
       [](StabilizerNode& t) { t.Initialize([](const KivPropDecorator&) {}); }, State::kStopped,
       true},
      {"another range for it", State::kFinished,
       [](StabilizerNode& t) {
         t.Initialize([](const KivPropDecorator& source) {
           const KivRange longer{10, 99};
           source.Get()->SetRange(L"Source.RangeFrameNumber.Video", &longer);
         });
       },
       State::kReady, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Send(*chain.node, CommandId::SetStabilizerLevel, 10);
    Finish();
    task->SetTaskState(c.before);
    c.change(*this);
    EXPECT_EQ(c.after, control->GetTaskState());
    EXPECT_EQ(c.keepsEntries, HasEntries());
    if (c.after == State::kReady) {
      EXPECT_TRUE(task->IsAnalysing(Held()));
    }
  }
}

TEST_F(StabilizerNode, BeforeTheFirstRunDataLoadedEarlierAreAdopted) {
  StabSettings unknown = Settings();
  unknown.rngSource = KivCommon::Const::RANGE_INFINITY;
  EXPECT_EQ(S_OK, chain.node->LoadSettings(StoredBag(unknown, 5, 5).Get()));
  EXPECT_EQ(State::kNeverStarted, control->GetTaskState());
  Set(Settings());
  EXPECT_EQ(State::kFinished, control->GetTaskState());
  EXPECT_TRUE(task->HasResultFor(Settings()));
}

// What was measured is in pixels of the size that it was measured at.
TEST_F(StabilizerNode, AResultKeepsItsSizeWhateverSizeComes) {
  const auto enlarge = [](const KivPropDecorator& source) {
    const KivSize size{8, 4};
    source.Get()->SetSize(KivKey::Source::kSource_Size, &size);
  };
  Finish();
  Initialize(enlarge);
  EXPECT_EQ(State::kFinished, control->GetTaskState());
  EXPECT_EQ(Calls{}, algorithm->log.Take());
  EXPECT_EQ((KivSize{4, 2}), StoredSize());
  // Stored without one, it gets the first that comes.
  StabSettings sizeless = Settings();
  sizeless.oSize = {};
  EXPECT_EQ(S_OK, chain.node->LoadSettings(StoredBag(sizeless, 5, 5).Get()));
  algorithm->log.Take();
  Send(*chain.node, CommandId::SetStabilizerLevel, 30);
  EXPECT_EQ((Calls{"Begin 8x4", "SetData 5 from 10"}), algorithm->log.Take());
  EXPECT_EQ((KivSize{8, 4}), StoredSize());
  EXPECT_TRUE(HasEntries());
}

TEST_F(StabilizerNode, SettingsCarrySwitchAndLevel) {
  const KivPropDecorator bag = KivCommon::CreateProperties(), none = KivCommon::CreateProperties();
  Send(*chain.node, CommandId::SetStabilizerEnabled, 1);
  Send(*chain.node, CommandId::SetStabilizerLevel, 44);
  EXPECT_EQ(S_FALSE, chain.node->SaveSettings(bag.Get())) << "no data";
  const KivComPtr<CKivVideoStabilizer> other(new CKivVideoStabilizer(nullptr, nullptr));
  for (const KivPropDecorator* each : {&bag, &none}) {
    EXPECT_EQ(S_FALSE, other->LoadSettings(each->Get()));
    int32_t enabled = -1, level = -1;
    Send(*other, CommandId::GetStabilizerEnabled, &enabled);
    Send(*other, CommandId::GetStabilizerLevel, &level);
    EXPECT_EQ(1, enabled);
    EXPECT_EQ(44, level) << "what is missing stays";
  }
}

TEST_F(StabilizerNode, InitializeTakesWhatTheBagsHold) {
  const struct {
    const wchar_t* ownPath;
    const wchar_t* sourcePath;
    int32_t ownStream, sourceStream;
    const wchar_t* path;
    int32_t stream;
  } cases[] = {{L"/a", L"/b", 1, 2, L"/a", 2},
               {L"", L"/b", 1, -1, L"/b", 1},
               {nullptr, L"/c", -9, -9, L"/c", 1},
               {nullptr, nullptr, -9, 3, L"/c", 3},
               {L"", nullptr, -9, -9, L"", 3}};
  const wchar_t* const streamKey = KivKey::SourceRender::kSourceRender_CurrentVideoStreamIndex;
  for (const auto& c : cases) {
    const KivPropDecorator own = KivCommon::CreateProperties(),
                           source = KivCommon::CreateProperties();
    if (c.ownPath) own.Get()->SetString(KivKey::Base::kStrFileFullPath, c.ownPath);
    if (c.sourcePath) source.Get()->SetString(KivKey::Base::kStrFileFullPath, c.sourcePath);
    if (c.ownStream != -9) own.Get()->SetInt(streamKey, c.ownStream);
    if (c.sourceStream != -9) source.Get()->SetInt(streamKey, c.sourceStream);
    EXPECT_EQ(S_OK, chain.node->Initialize(own.Reference(), source.Reference()));
    EXPECT_EQ(c.path, Held().wstrPath);
    EXPECT_EQ(c.stream, Held().nStreamIdx);
  }
}

TEST_F(StabilizerNode, InitializeBringsASourceAndReportsForItsUpstream) {
  const KivPropDecorator own = KivCommon::CreateProperties(),
                         source = KivCommon::CreateProperties();
  const KivRange range{5, 9};
  const KivSize size{64, 36};
  const KivRational rate{30000, 1001};
  own.Get()->SetInt(KivKey::Stabilization::kEnabled, 1);
  own.Get()->SetInt(KivKey::Stabilization::kLevel, 33);
  own.Get()->SetString(KivKey::Base::kStrFileFullPath, std::wstring(300, L'p').c_str());
  source.Get()->SetInt(KivKey::SourceRender::kSourceRender_CurrentVideoStreamIndex, 0);
  source.Get()->SetRange(L"Source.RangeFrameNumber.Video", &range);
  source.Get()->SetSize(KivKey::Source::kSource_Size, &size);
  source.Get()->SetRational(KivKey::Source::kSource_Framerate, &rate);
  chain.source->initializeResult = E_ABORT;
  EXPECT_EQ(E_ABORT, chain.node->Initialize(own.Reference(), source.Reference()));
  EXPECT_EQ((StabSettings{1, range, std::wstring(259, L'p'), 0, size, rate}), Held());
  EXPECT_EQ(size, Held().oSize);
  EXPECT_EQ(33, Number(CommandId::GetStabilizerLevel));
  EXPECT_TRUE(task->IsAnalysing(Held()));
  EXPECT_EQ(State::kNeverStarted, control->GetTaskState());
  EXPECT_EQ(S_FALSE, chain.node->Initialize(nullptr, source.Reference()));
}

TEST_F(StabilizerNode, CorrectsOnceFinishedAndPassesOnOtherwise) {
  const struct {
    State state;
    int32_t enable;
    int32_t shown;
  } cases[] = {{State::kFinished, 1, 1012},   {State::kFinished, 0, 12},
               {State::kNeverStarted, 1, 12}, {State::kReady, 1, 12},
               {State::kRunning, 1, 12},      {State::kStopped, 1, 12}};
  Finish();
  chain.source->position = 12;
  chain.source->frame = test::MakeFrame(12);
  chain.source->frame->SetTime(77, 5);
  chain.source->frame.As<IKivVideoFrame>()->SetFrameIndex(12);
  Send(*chain.node, CommandId::SetStabilizerLevel, 7);
  KivComPtr<IKivFrame> corrected;
  for (const auto& c : cases) {
    task->SetEnable(c.enable);
    task->SetTaskState(c.state);
    const auto frame = chain.node->GetCurrentFrame(nullptr);
    EXPECT_EQ(c.shown, NumberIn(frame));
    EXPECT_EQ(c.shown == 12, frame.Get() == chain.source->frame.Get());
    if (c.shown != 12) corrected = frame;
  }
  EXPECT_EQ(Calls{"Correct 12 level 7"}, algorithm->log.Take());
  int64_t time = 0, duration = 0;
  corrected->GetTime(&time, &duration);
  EXPECT_EQ(77, time);
  EXPECT_EQ(5, duration);
  EXPECT_EQ(12, IndexOf(corrected));
  EXPECT_EQ(1u, (corrected->AddRef(), corrected->Release())) << "the node gave its frame up";
}

TEST_F(StabilizerNode, DataOfAnotherFileOrStreamCorrectNothing) {
  chain.source->frame = test::MakeFrame(12);
  const auto shown = [this] { return NumberIn(chain.node->GetCurrentFrame(nullptr)); };
  StabSettings file = Settings(), stream = Settings();
  file.wstrPath += L"x";
  stream.nStreamIdx = 1;
  Finish();
  for (const StabSettings& other : {file, stream}) {
    EXPECT_EQ(S_OK, chain.node->LoadSettings(StoredBag(other, 5, 5).Get()));
    EXPECT_EQ(12, shown());
    // They are kept for the source that they are of, if it comes.
    Set(other);
    EXPECT_EQ(State::kFinished, control->GetTaskState());
    EXPECT_EQ(1012, shown());
    EXPECT_EQ(S_OK, chain.node->LoadSettings(StoredBag(Settings(), 5, 5).Get()));
    EXPECT_EQ(12, shown());
    Set(Settings());
    EXPECT_EQ(1012, shown());
  }
  // The next change of any kind makes room for an analysis.
  chain.node->LoadSettings(StoredBag(file, 5, 5).Get());
  Send(*chain.node, CommandId::SetStabilizerLevel, 30);
  EXPECT_EQ(State::kReady, control->GetTaskState());
  EXPECT_TRUE(task->IsAnalysing(Settings()));
}

TEST_F(StabilizerNode, WhatCannotBeCorrectedComesAsItIs) {
  Finish();
  algorithm->correctResult = E_NOTFOUND;
  EXPECT_EQ(0, NumberIn(chain.node->GetCurrentFrame(nullptr)));
  algorithm->correctResult = S_OK;
  chain.source->frame = test::MakeEmptyFrame();
  EXPECT_EQ(chain.source->frame, chain.node->GetCurrentFrame(nullptr));
  chain.source->frame = test::MakeFrame(3, {6, 2});
  const test::SwappedClass without(kFrameClassId, nullptr);
  EXPECT_EQ(chain.source->frame, chain.node->GetCurrentFrame(nullptr));
  EXPECT_EQ(Calls{"Correct 0 level 10"}, algorithm->log.Take());
}

TEST_F(StabilizerNode, TheTaskIsReachedThroughTheNode) {
  const KivComPtr<IKivSourceBase> node(chain.node.Get());
  EXPECT_EQ(control, node.As<IKivStabExtendControl>());
  EXPECT_EQ(static_cast<IKivTask*>(node.As<IKivTaskable>().Get()), node.As<IKivTask>().Get());
  EXPECT_EQ(node, control.As<IKivSourceBase>());
  void* object = this;
  EXPECT_EQ(E_POINTER, control->QueryInterface(IKivTask::kIid, nullptr));
  EXPECT_EQ(E_NOINTERFACE, control->QueryInterface(kFrameClassId, &object));
  EXPECT_EQ(nullptr, object);
  // A reference to the task alone keeps the node.
  const KivComPtr<CKivVideoStabilizer> given = std::move(chain.node);
  EXPECT_EQ(3u, (control->AddRef(), control->Release()));
}

}  // namespace
