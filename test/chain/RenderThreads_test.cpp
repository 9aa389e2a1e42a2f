#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "test/chain/RenderFixture.h"
#include "test/support/Frames.h"

namespace {

using test::Calls;

struct RenderThreads : test::RenderFixture {
  void SetUp() override {
    Build({0});
    render->Seek(0, nullptr, 0);
    nodes.Tail().log.Take();
  }
};

TEST_F(RenderThreads, AnOperationWaitsForTheOneThatRuns) {
  test::Gate gate;
  nodes.Tail().log.On("Seek 1", [&] { gate.Pass(); });
  std::thread first([&] { render->Seek(1, nullptr, 0); });
  gate.WaitForArrival();
  std::thread second([&] { render->ProcessCommand(0x9C7, 0, 0); });
  // The command cannot have reached the node: the seek is still in it.
  EXPECT_EQ(Calls{"Seek 1"}, nodes.Tail().log.Calls());
  gate.Open();
  first.join();
  second.join();
  EXPECT_EQ((Calls{"Seek 1", "Command 0x9C7"}), nodes.Tail().log.Calls());
}

TEST_F(RenderThreads, TheTransformRunsUnderTheLock) {
  test::Gate gate;
  std::atomic<bool> done{false};
  bool doneInside = true;
  std::thread first([&] {
    KivComPtr<IKivFrame> frame;
    render->GetFrameEx(&frame, nullptr, [&](auto, auto, auto&) {
      gate.Pass();
      doneInside = done;
      return S_OK;
    });
  });
  gate.WaitForArrival();
  std::thread second([&] {
    render->GetPosition();
    done = true;
  });
  gate.Open();
  first.join();
  second.join();
  EXPECT_FALSE(doneInside);
  EXPECT_TRUE(done);
}

TEST_F(RenderThreads, FramesAndCommandsFromManyThreadsStayWhole) {
  std::atomic<int> wrong{0};
  std::atomic<int> inside{0};
  for (const char* call : {"GetCurrentFrame", "Skip 1", "Command 0x9C8", "Initialize"}) {
    nodes.Tail().log.On(call, [&] {
      if (++inside != 1) ++wrong;
      std::this_thread::yield();
      --inside;
    });
  }
  const auto pull = [&] {
    for (int i = 0; i < 500; ++i) {
      KivComPtr<IKivFrame> frame;
      render->GetFrame(&frame);
      if (test::NumberIn(frame) != test::IndexOf(frame)) ++wrong;
      render->Skip(1, nullptr);
    }
  };
  const auto command = [&] {
    for (int i = 0; i < 500; ++i) render->ProcessCommand(0x9C8, 0, 0);
    render->Cleanup();
  };
  std::thread a(pull), b(pull), c(command);
  a.join();
  b.join();
  c.join();
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(1000, render->GetPosition());
}

}  // namespace
