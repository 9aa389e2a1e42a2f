#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include "test/chain/RenderFixture.h"

namespace {

struct RenderThreads : test::RenderFixture {
  void SetUp() override { Build({0}); }
};

TEST_F(RenderThreads, TheTransformRunsUnderTheLock) {
  std::latch arrived(1), opened(1);
  std::atomic<bool> done{false};
  bool doneInside = true;
  std::thread first([&] {
    KivComPtr<IKivFrame> frame;
    render->GetFrameEx(&frame, nullptr, [&](auto, auto, auto&) {
      arrived.count_down();
      opened.wait();
      doneInside = done;
      return S_OK;
    });
  });
  arrived.wait();
  std::thread second([&] {
    render->GetPosition();
    done = true;
  });
  opened.count_down();
  first.join();
  second.join();
  EXPECT_FALSE(doneInside);
  EXPECT_TRUE(done);
}

TEST_F(RenderThreads, FramesAndCommandsFromManyThreadsStayWhole) {
  std::atomic<int> wrong{0};
  std::atomic<int> inside{0};
  for (const char* call :
       {"GetCurrentFrame", "Skip 1", "Seek 0", "GetPosition", "Command 0x9C8", "Initialize"}) {
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
