#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <thread>

#include "engine/base/CountedObject.h"
#include "kiv/platform/Tasks.h"
#include "test/support/CallLog.h"
#include "test/support/Gate.h"
#include "test/support/Ledger.h"

namespace {

using test::CallLog;
using test::Calls;
using test::Gate;
using State = enumTaskState;

constexpr int kEndless = 1 << 30;

// A run of `steps` steps. The log outlives the task.
class FakeTask final : public CKivTaskable {
 public:
  FakeTask(CallLog& callLog, int stepCount) : log(callLog), steps(stepCount) {}
  ~FakeTask() { EndTask(); }

  HRESULT QueryInterface(const GUID& /*iid*/, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  uint32_t AddRef() override { return 1; }
  uint32_t Release() override { return 1; }

  void onCreate() override { log.Add("create"); }
  int32_t onStart() override { return log.Add("start", accept); }
  void onRunning() override { log.Add("running"); }
  void onPause() override { log.Add("pause"); }
  void onResume() override { log.Add("resume"); }
  void onStop() override { log.Add("stop"); }
  void onComplete() override { log.Add("complete"); }
  void onProcess(KivTaskProgress* progress) override {
    progress->done = ++done >= steps;
    log.Add("process");  // last: it may end this object
  }

  CallLog& log;
  const int steps;
  int done = 0;
  int32_t accept = 1;
};

class Delegate final : public kiv::CountedObject<IKivTaskDelegate> {
 public:
  void OnTaskState(IKivTask* /*task*/, State state, void* context) override {
    log.Add(std::to_string(static_cast<int>(state)) + static_cast<const char*>(context));
  }
  CallLog log;
};

class Tasks : public testing::Test {
 protected:
  Tasks() {
    watcher->log.On("4x", [this] { over.set_value(); });
  }
  ~Tasks() override { watcher->Release(); }
  void Watch(FakeTask& task) {
    for (const char* end : {"4x", "5x"}) watcher->log.On(end, [this] { over.set_value(); });
    task.Initialize(7, watcher, const_cast<char*>("x"));
  }
  void RunToEnd(FakeTask& task) {
    over = {};
    ASSERT_EQ(S_OK, task.Start());
    over.get_future().wait();
  }

  CallLog log;
  Delegate* const watcher = new Delegate;
  std::promise<void> over;
};

TEST_F(Tasks, ARunCallsEverythingInOrderOnItsOwnThread) {
  FakeTask task(log, 3);
  Watch(task);
  std::thread::id processing;
  log.On("process", [&] { processing = std::this_thread::get_id(); });
  RunToEnd(task);
  EXPECT_EQ(State::kFinished, task.GetTaskState());
  EXPECT_EQ((Calls{"create", "start", "running", "process", "process", "process", "complete"}),
            log.Take());
  EXPECT_EQ((Calls{"2x", "5x"}), watcher->log.Take());
  EXPECT_NE(std::this_thread::get_id(), processing);
  EXPECT_EQ(7U, task.GetTaskID());
  // Again, and nobody is told any more.
  EXPECT_EQ(S_OK, task.removeDelegate(watcher));
  EXPECT_EQ(S_FALSE, task.removeDelegate(watcher));
  std::promise<void> completed;
  log.On("complete", [&] { completed.set_value(); });
  EXPECT_EQ(S_OK, task.Start());
  completed.get_future().wait();
  task.SetTaskState(State::kReady);
  EXPECT_EQ(Calls{}, watcher->log.Take());
  EXPECT_EQ(State::kReady, task.GetTaskState());
}

struct FailureCase {
  const char* name;
  const char* throwing;
  int32_t accept;
  Calls calls;
};

TEST_F(Tasks, FailuresEndARunStopped) {
  const FailureCase kCases[] = {
      {"refused", "", 0, {"create", "start"}},
      {"create", "create", 1, {"create"}},
      {"start", "start", 1, {"create", "start"}},
      {"running", "running", 1, {"create", "start", "running", "stop"}},
      {"process", "process", 1, {"create", "start", "running", "process", "stop"}},
      {"complete", "complete", 1, {"create", "start", "running", "process", "complete", "stop"}},
  };
  for (const FailureCase& c : kCases) {
    SCOPED_TRACE(c.name);
    CallLog calls;
    FakeTask task(calls, 1);
    task.accept = c.accept;
    Watch(task);
    calls.On(c.throwing, [] { throw std::runtime_error("wanted"); });
    RunToEnd(task);
    EXPECT_EQ(State::kStopped, task.GetTaskState());
    EXPECT_EQ(c.calls, calls.Take());
    EXPECT_EQ((Calls{"2x", "4x"}), watcher->log.Take());
  }
}

TEST_F(Tasks, ARefusalLeavesWhatAnEarlierRunBrought) {
  CallLog calls;
  FakeTask task(calls, 1);
  Watch(task);
  RunToEnd(task);
  task.accept = 0;
  RunToEnd(task);
  EXPECT_EQ(State::kFinished, task.GetTaskState());
  EXPECT_EQ((Calls{"2x", "5x", "2x", "5x"}), watcher->log.Take());
}

TEST_F(Tasks, StopWaitsForTheStepAtHandAndNoOtherFollows) {
  FakeTask task(log, kEndless);
  Gate gate;
  log.On("process", [&] { gate.Pass(); });
  ASSERT_EQ(S_OK, task.Start());
  gate.AwaitReached();
  EXPECT_EQ(State::kRunning, task.GetTaskState());
  EXPECT_EQ(S_FALSE, task.Start());
  auto stopping = std::async(std::launch::async, [&] { return task.Stop(); });
  gate.Open();
  EXPECT_EQ(S_OK, stopping.get());
  EXPECT_EQ(State::kStopped, task.GetTaskState());
  EXPECT_EQ("stop", log.Take().back());
  EXPECT_EQ(S_FALSE, task.Stop());
  EXPECT_EQ(Calls{}, log.Take());
}

TEST_F(Tasks, AStepMayStopOrPauseItsOwnTask) {
  FakeTask task(log, kEndless);
  Watch(task);
  std::promise<void> paused;
  watcher->log.On("3x", [&] { paused.set_value(); });
  log.On("process", [&] { EXPECT_EQ(S_OK, task.Pause()); });
  ASSERT_EQ(S_OK, task.Start());
  paused.get_future().wait();
  EXPECT_EQ(State::kPaused, task.GetTaskState());
  EXPECT_EQ((Calls{"create", "start", "running", "process", "pause"}), log.Take());
  log.On("process", [&] { EXPECT_EQ(S_OK, task.Stop()); });
  EXPECT_EQ(S_OK, task.Resume());
  over.get_future().wait();
  EXPECT_EQ((Calls{"resume", "process", "stop"}), log.Take());
  EXPECT_EQ((Calls{"2x", "3x", "2x", "4x"}), watcher->log.Take());
}

TEST_F(Tasks, PauseHoldsUntilResumeOrStop) {
  FakeTask task(log, kEndless);
  EXPECT_EQ(S_FALSE, task.Pause());
  EXPECT_EQ(S_FALSE, task.Resume());
  EXPECT_EQ(S_FALSE, task.Stop());
  EXPECT_EQ(State::kNeverStarted, task.GetTaskState());
  ASSERT_EQ(S_OK, task.Start());
  ASSERT_EQ(S_OK, task.Pause());
  EXPECT_EQ(State::kPaused, task.GetTaskState());
  EXPECT_EQ("pause", log.Take().back());
  EXPECT_EQ(S_FALSE, task.Pause());
  EXPECT_EQ(S_FALSE, task.Start());
  Gate resumed;
  log.On("resume", [&] { resumed.Pass(); });
  EXPECT_EQ(S_OK, task.Resume());
  EXPECT_EQ(State::kRunning, task.GetTaskState());
  resumed.AwaitReached();
  resumed.Open();
  ASSERT_EQ(S_OK, task.Pause());
  log.Take();
  EXPECT_EQ(S_OK, task.Stop());
  EXPECT_EQ(Calls{"stop"}, log.Take());
}

TEST_F(Tasks, PuttingAStateEndsTheRunFirst) {
  FakeTask task(log, kEndless);
  log.On("process", [&] { EXPECT_EQ(E_NOTREADY, task.SetTaskState(State::kFinished)); });
  ASSERT_EQ(S_OK, task.Start());
  EXPECT_EQ(S_OK, task.SetTaskState(State::kReady));
  EXPECT_EQ("stop", log.Take().back());
  EXPECT_EQ(State::kReady, task.GetTaskState());
}

TEST_F(Tasks, DestructionEndsWhateverIsUnderWay) {
  const std::pair<const char*, std::function<void(FakeTask&)>> kCases[] = {
      {"", [](FakeTask&) {}},
      {"stop",
       [](FakeTask& t) {
         t.Start();
         t.Pause();
       }},
      {"stop",
       [](FakeTask& t) {
         t.Start();
         t.Pause();
         t.Resume();
       }},
      {"stop",
       [](FakeTask& t) {
         t.Start();
         t.Pause();
         t.Stop();
       }},
      {"",
       [](FakeTask& t) {
         t.accept = 0;
         t.Start();
       }},
  };
  for (const auto& [last, prepare] : kCases) {
    CallLog calls;
    {
      FakeTask task(calls, kEndless);
      prepare(task);
    }
    const Calls all = calls.Take();
    EXPECT_EQ(*last != 0, std::count(all.begin(), all.end(), "stop") == 1);
  }
}

TEST_F(Tasks, AStepMayEndTheTaskItBelongsTo) {
  auto task = std::make_unique<FakeTask>(log, kEndless);
  std::promise<void> gone;
  Watch(*task);
  log.On("process", [&] {
    task.reset();
    gone.set_value();
  });
  ASSERT_EQ(S_OK, task->Start());
  gone.get_future().wait();
  EXPECT_EQ((Calls{"create", "start", "running", "process"}), log.Take());
  EXPECT_EQ(Calls{"2x"}, watcher->log.Take());
}

TEST_F(Tasks, ManyThreadsSteerOneTask) {
  FakeTask task(log, 50);
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&task, i] {
      for (int round = 0; round < 100; ++round) {
        if (i != 1) task.Start();
        if (i != 2) task.Pause();
        task.Resume();
        if (i == 2) task.Stop();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  task.Stop();
  const Calls all = log.Take();
  const auto count = [&](const char* call) { return std::count(all.begin(), all.end(), call); };
  EXPECT_LT(0, count("start"));
  EXPECT_EQ(count("start"), count("stop") + count("complete"));
}

}  // namespace
