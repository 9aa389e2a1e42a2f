// Bags with motion data, and a task or node whose media and algorithm are fakes.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kiv/VideoStab/KivVideoStabilizer.h"
#include "test/support/FakeNode.h"
#include "test/support/FakeStabilizer.h"
#include "test/support/TestFolder.h"

namespace test {

using State = enumTaskState;

constexpr KivRational kRate{25, 1};

// A bag as SaveData leaves it, with `count` entries announced and `present` there.
inline KivPropDecorator StoredBag(const StabSettings& settings, int32_t count, int32_t present) {
  KivPropDecorator bag = KivCommon::CreateProperties();
  const KivPropDecorator data = KivCommon::CreateProperties();
  for (int32_t i = 0; i < present; ++i) {
    data.Get()->SetString((L"Stab-Data-" + std::to_wstring(i)).c_str(), L"dx:10000,-5y,da:1");
  }
  data.Get()->SetInt(L"Stab.Enable", settings.Enable);
  data.Get()->SetRange(L"Stab.rngSource", &settings.rngSource);
  data.Get()->SetString(L"Stab.wstrPath", settings.wstrPath.c_str());
  data.Get()->SetInt(L"Stab.nStreamIdx", settings.nStreamIdx);
  data.Get()->SetSize(L"Stab.oSize", &settings.oSize);
  data.Get()->SetRational(L"Stab.ratFramerate", &settings.ratFramerate);
  data.Get()->SetInt(KivKey::Stabilization::kAnalyzedDataSize, count);
  bag.Get()->SetObject(KivKey::Stabilization::kAnalyzedDataStr, data.Get());
  return bag;
}

struct StabFixture : testing::Test {
  StabFixture() { std::ofstream(folder.Path("clip.mp4")) << "clip"; }

  StabSettings Settings(KivRange range = {10, 14}) const {
    return {1, range, KivCommon::Char2WChar(folder.Path("clip.mp4").c_str()), 0, {4, 2}, kRate};
  }
  // Calls of the algorithm, analysed frames left out.
  Calls Steps() const {
    Calls steps = algorithm->log.Take();
    std::erase_if(steps, [](const std::string& call) { return call.starts_with("Analyse"); });
    return steps;
  }

  const TestFolder folder;
  KivComPtr<FakeMedia> media = FakeMedia::Make();
  KivComPtr<FakeStabilizer> algorithm = FakeStabilizer::Make();
  SwappedClass mediaClass{kiv::kMediaFactoryClassId, media->AsUnknown()};
  SwappedClass algorithmClass{kStabilizerAlgorithmClassId, algorithm.Get()};
};

struct TaskFixture : StabFixture {
  TaskFixture() {
    task->SetAnalysisSettings(Settings());
    task->SetCallback(
        [](int32_t state, int64_t percent, void* self) {
          static_cast<TaskFixture*>(self)->heard.emplace_back(state, percent);
        },
        this);
  }
  // Runs and, as the task base does, enters the state that it ended in.
  State Drive(int steps = 1000) {
    const State state = DriveTask(*task, steps);
    task->SetTaskState(state);
    return state;
  }

  std::vector<std::pair<int32_t, int64_t>> heard;
  KivComPtr<CKivVideoStabExtendControl> owned{new CKivVideoStabExtendControl(nullptr)};
  CKivVideoStabExtendControl* const task = owned.Get();
};

}  // namespace test
