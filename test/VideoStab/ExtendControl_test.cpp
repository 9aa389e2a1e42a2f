// The analysis task: its runs, driven by hand, and how stored data become its result.
#include "test/VideoStab/StabFixture.h"
#include "test/support/LogCapture.h"

namespace {

using test::Calls;
using test::State;
using test::StoredBag;

struct AnalysisTask : test::TaskFixture {};

TEST_F(AnalysisTask, ARunAnalysesItsRangeAndCorrectsByWhatItFound) {
  task->SetAnalysisSettings(Settings({10, 12}));
  EXPECT_EQ(State::kFinished, Drive());
  EXPECT_EQ((Calls{"Begin 4x2", "Start", "Analyse 10 shows 10", "Analyse 11 shows 11",
                   "Analyse 12 shows 12", "Collect", "SetData 3 from 10"}),
            algorithm->log.Take());
  EXPECT_EQ((Calls{"Open " + folder.Path("clip.mp4") + " gpu 0", "Stream 0"}), media->log.Take());
  EXPECT_EQ("Seek 4000000 mode 1", media->decoder->log.Take().front());
  const std::vector<std::pair<int32_t, int64_t>> expected{{2, 50}, {2, 100}, {5, 100}};
  EXPECT_EQ(expected, heard);
  EXPECT_TRUE(task->HasResultFor(Settings({10, 12})));
  EXPECT_TRUE(task->CanCorrect());
  EXPECT_EQ(2u, media->References());  // the fixture's and the class table's
  EXPECT_EQ(1u, media->decoder->References());
}

TEST_F(AnalysisTask, AnotherEndOfARunIsTheStreamsOwn) {
  media->decoder->lastTime = 12 * test::FakeDecoder::kTicksPerFrame;
  Drive();
  EXPECT_EQ("SetData 3 from 10", algorithm->log.Take().back());
  media->decoder->skipResult = E_FAIL;
  Drive();
  EXPECT_EQ("SetData 1 from 10", algorithm->log.Take().back());
  task->SetAnalysisSettings(Settings({10, 10}));  // no time between its ends
  heard.clear();
  Drive();
  EXPECT_EQ(100, heard.back().second);
}

TEST_F(AnalysisTask, AStopForgetsWhatWasMeasured) {
  Drive();
  algorithm->log.Take();
  heard.clear();
  EXPECT_EQ(State::kStopped, Drive(2));
  EXPECT_EQ((Calls{"Begin 4x2", "Start", "Discard"}), Steps());
  EXPECT_EQ((std::pair<int32_t, int64_t>{4, 0}), heard.back());
  EXPECT_FALSE(task->HasResultFor(Settings()));
  EXPECT_EQ(1u, media->decoder->References());
}

TEST_F(AnalysisTask, ARunThatCannotBeginIsRefusedAndSaysWhy) {
  const std::function<void(StabSettings&)> nothing = [](StabSettings&) {};
  const struct {
    const char* says;
    std::function<void(StabSettings&)> spoil;
    GUID missing;
  } cases[] = {
      {"", [](StabSettings& s) { s.Enable = 0; }, {}},
      {"", [](StabSettings& s) { s.wstrPath += L".not"; }, {}},
      {"Failed to get video stream of index : 1  [", [](StabSettings& s) { s.nStreamIdx = 1; }, {}},
      {"Failed to create codec from file : /", nothing, kiv::kMediaFactoryClassId},
      {"Failed to create video stabilizer   [", nothing, kStabilizerAlgorithmClassId},
      {"Failed to create video frame  [KivVideoStabilizer_ExtendControl.cpp, ", nothing,
       kFrameClassId},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.says);
    StabSettings settings = Settings();
    c.spoil(settings);
    task->SetAnalysisSettings(settings);
    const test::SwappedClass without(c.missing, nullptr);
    test::LogCapture log;
    EXPECT_EQ(0, task->onStart());
    EXPECT_EQ(*c.says ? 1u : 0u, log.lines.size());
    if (log.lines.empty()) continue;
    EXPECT_EQ(0u, log.lines[0].second.find(c.says)) << log.lines[0].second;
    EXPECT_EQ(LogLevel::kCreation, log.lines[0].first);
  }
  task->SetAnalysisSettings(Settings());
  algorithm->beginResult = E_INVALIDARG;
  EXPECT_EQ(0, task->onStart());
  EXPECT_TRUE(heard.empty());
}

TEST_F(AnalysisTask, ARunThatIsRefusedLeavesTheResultBefore) {
  Drive();
  StabSettings off = Settings(), gone = Settings();
  off.Enable = 0;
  gone.wstrPath += L".not";
  for (const StabSettings& settings : {off, gone}) {
    task->SetAnalysisSettings(settings);
    EXPECT_EQ(S_OK, task->Start());
    task->Stop();
    EXPECT_EQ(State::kFinished, task->GetTaskState());
    EXPECT_TRUE(task->HasResultFor(Settings()));
  }
  task->SetEnable(1);
  EXPECT_TRUE(task->CanCorrect());
  const auto in = test::MakeFrame(1), out = test::MakeFrame(2);
  EXPECT_EQ(S_OK, task->Correct(in.Get(), out.Get(), 0, 0));
}

TEST_F(AnalysisTask, OnlyEntriesThatFitTheRangeAreAdopted) {
  const struct {
    KivRange range;
    int32_t entries;
    State state;
  } cases[] = {
      {{0, 99}, 96, State::kNeverStarted},  {{0, 99}, 97, State::kFinished},
      {{0, 99}, 100, State::kFinished},     {{0, 99}, 103, State::kFinished},
      {{0, 99}, 104, State::kNeverStarted}, {{50, 149}, 100, State::kFinished},
      {{0, 2}, 0, State::kNeverStarted},    {{INT32_MIN, INT32_MAX}, 9, State::kNeverStarted},
      {{9, 0}, 1, State::kNeverStarted}};
  for (const auto& c : cases) {
    const KivComPtr<CKivVideoStabExtendControl> fresh(new CKivVideoStabExtendControl(nullptr));
    const auto bag = StoredBag(Settings(c.range), c.entries, c.entries);
    algorithm->log.Take();
    EXPECT_EQ(S_OK, fresh->LoadData(bag.Get()));
    EXPECT_EQ(c.state, fresh->GetTaskState()) << c.entries;
    if (c.state != State::kFinished) continue;
    EXPECT_EQ(0xFFFFFFFF, fresh->GetTaskID());
    EXPECT_TRUE(fresh->HasResultFor(Settings(c.range)));
    const std::string set =
        "SetData " + std::to_string(c.entries) + " from " + std::to_string(c.range.start);
    EXPECT_EQ((Calls{"Begin 4x2", set}), algorithm->log.Take());
  }
}

TEST_F(AnalysisTask, LoadingReplacesAndWhatDoesNotFitChangesNoResult) {
  EXPECT_EQ(S_OK, task->LoadData(StoredBag(Settings({0, 2}), 3, 3).Get()));
  EXPECT_EQ(S_OK, task->LoadData(StoredBag(Settings({0, 4}), 5, 5).Get()));
  EXPECT_EQ("SetData 5 from 0", algorithm->log.Take().back());
  EXPECT_EQ(S_OK, task->LoadData(StoredBag(Settings({7, 99}), 2, 2).Get()));
  EXPECT_EQ(E_INVALIDARG, task->LoadData(StoredBag(Settings({0, 4}), 5, 4).Get()));
  EXPECT_EQ(S_FALSE, task->LoadData(KivCommon::CreateProperties().Get()));
  EXPECT_TRUE(task->HasResultFor(Settings({0, 4})));
  EXPECT_EQ(State::kFinished, task->GetTaskState());
  // Nothing was appended.
  const KivPropDecorator bag = KivCommon::CreateProperties();
  EXPECT_EQ(S_OK, task->SaveData(bag.Get()));
  StabStoredData saved;
  ReadStabData(bag.Get(), &saved);
  EXPECT_EQ(5u, saved.motions.size());
  EXPECT_EQ(Settings({0, 4}), saved.settings);
}

}  // namespace
