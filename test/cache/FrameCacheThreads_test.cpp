#include <atomic>
#include <random>
#include <thread>

#include "test/cache/CacheFixture.h"

namespace {

using test::Calls;
using test::FillCalls;

struct FrameCacheThreads : test::CacheFixture {};

TEST_F(FrameCacheThreads, AReaderWaitsForItsIndexAndNotForTheRest) {
  TurnOn();
  HoldFill(14);  // 501 is the 15th from 487
  EXPECT_EQ(500, Shown());
  node->Skip(-1, nullptr);
  EXPECT_EQ(499, Shown());
  letGo();
}

// What it does after the third frame of 487 to 505, when others have been asked for meanwhile.
TEST_F(FrameCacheThreads, AFillLeavesOutWhatTheNewestSpanDropsAndGoesOnAtWhatItKeeps) {
  Calls jump{"GetCurrentFrame", "Skip 8"};  // 510 keeps 497 to 515
  for (int32_t i = 497; i <= 505; ++i) jump.insert(jump.end(), {"GetCurrentFrame", "Skip 1"});
  const struct {
    std::vector<int32_t> seeks;
    Calls third, last;
  } cases[] = {{{100, 900}, {"GetCurrentFrame", "Skip 1"}, FillCalls(887, 905)},
               {{510}, jump, FillCalls(506, 515)}};
  for (const auto& c : cases) {
    TurnOn();
    HoldFill(2);
    for (const int32_t index : c.seeks) node->Seek(index, nullptr, 0);
    letGo();
    Calls calls = FillCalls(487, 488);
    for (const Calls& more : {c.third, c.last}) calls.insert(calls.end(), more.begin(), more.end());
    EXPECT_EQ(calls, source->log.TakeWhen(calls.size()));
    EXPECT_EQ(c.seeks.back(), Shown());
    SetReverse(0);
  }
}

// The task gives way as often as it takes for a reader to come between, if one can.
TEST_F(FrameCacheThreads, AReadThroughWaitsUntilNoTaskUsesTheSource) {
  TurnOn();
  SetRange({0, 500});
  std::atomic<bool> asked{false};
  source->log.OnEvery([&](const std::string& call) {
    if (call == "Seek 700") asked = true;
    for (int i = 0; i < 20000 && call == "GetCurrentFrame" && !asked; ++i) {
      std::this_thread::yield();
    }
  });
  node->Seek(500, nullptr, 0);
  EXPECT_EQ(700, ShownAt(700));
  EXPECT_EQ("Seek 700", *(source->log.Take().end() - 2));
  EXPECT_EQ(490, ShownAt(490));
}

// The worker is held in the middle of a read while each call comes, which has time to get in its way.
TEST_F(FrameCacheThreads, NoCallEntersTheSourceWhileTheWorkerIsInIt) {
  const KivRange range{0, 700};
  const SpeedSettings reversed{1, 1, 1, 0, 99};
  const std::pair<const char*, std::function<void()>> kCalls[] = {
      {"getter", [&] { test::Send(*node, CommandId::GetScaledSize, 0); }},
      {"setter", [&] { test::Send(*node, CommandId::SetDecodeScale, 0); }},
      {"unknown", [&] { node->ProcessCommand(0x1234, 0, 0); }},
      {"range", [&] { SetRange(range); }},
      {"speed", [&] { test::Send(*node, CommandId::SetSpeedSettings, &reversed); }},
      {"initialize", [&] { Initialize(KivKey::Speed::kReverse, 1); }},
      {"cleanup", [&] { Initialize(L"CLIP.CMD.CLEANUP", 1); }},
      {"flush", [&] { node->Flush(); }},
      {"finish", [&] { node->FinishReading(), source->Flush(); }},
      {"forget", [&] { node->Forget(), source->Flush(); }},
  };
  for (const auto& [name, call] : kCalls) {
    SCOPED_TRACE(name);
    settings = KivCommon::CreateProperties();
    SetReverse(0);
    TurnOn();
    test::OneAtATime guard(source->log);
    std::atomic<bool> isHeld{false}, goOn{false};
    guard.whileInside = [&](const std::string& entered) {
      if (entered != "GetCurrentFrame" || isHeld.exchange(true)) return;
      for (int i = 0; i < 20000 && !goOn; ++i) std::this_thread::yield();
    };
    node->Seek(500, nullptr, 0);
    while (!isHeld) std::this_thread::yield();
    call();
    goOn = true;
    EXPECT_EQ(500, ShownAt(500));
    node->FinishReading();  // the worker looks at what ends here
    EXPECT_EQ(0, guard.Collisions());
  }
}

// Jumps to and fro queue tasks that drop what others have read.
TEST_F(FrameCacheThreads, JumpsNeverMeetTheWorkerInTheSource) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::minstd_rand random(seed);
  TurnOn();
  test::OneAtATime guard(source->log);
  guard.whileInside = [](const std::string&) { std::this_thread::yield(); };
  constexpr int32_t kPlaces[] = {500, 505, 520, 100, 900, 490, 12000};
  for (int step = 0; step < 3000; ++step) {
    const int32_t index = kPlaces[random() % std::size(kPlaces)];
    node->Seek(index, nullptr, 0);
    if (random() % 2 == 0) continue;
    ASSERT_EQ(index, Shown());
    source->log.Take();
  }
  node->FinishReading();
  EXPECT_EQ(0, guard.Collisions());
}

const struct Interruption {
  const char* name;
  void (*act)(test::CacheFixture&);
} kInterruptions[] = {
    {"flush", [](auto& f) { f.node->Flush(); }},
    {"reverseOff", [](auto& f) { f.SetReverse(0); }},
    {"offAndOn", [](auto& f) { f.SetReverse(0), f.SetReverse(1); }},
    {"cleanup", [](auto& f) { f.Initialize(L"CLIP.CMD.CLEANUP", 1); }},
    {"disabled", [](auto& f) { f.Initialize(KivKey::Speed::kEnabled, 0); }},
    {"end", [](auto& f) { f.node.Reset(); }},
};

TEST_F(FrameCacheThreads, WhateverHappensInMidFillEndsIt) {
  for (const Interruption& c : kInterruptions) {
    SCOPED_TRACE(c.name);
    settings = KivCommon::CreateProperties();
    node = KivComPtr<CVideoFrameCache>(new CVideoFrameCache(nullptr, source));
    SetRange({0, 9999});
    TurnOn();
    HoldFill(3);
    std::thread other([&] { c.act(*this); });
    letGo();
    other.join();
    EXPECT_TRUE(!node || ShownAt(40) == 40);
  }
}

TEST_F(FrameCacheThreads, FlushesAndRangesMayComeWhileFramesAreRead) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::minstd_rand random(seed);
  Initialize(KivKey::Render::kRender_CacheEnable, 1);
  std::atomic<bool> stop{false};
  std::thread commands([&] {
    for (int32_t i = 0; !stop; ++i) {
      SetRange({i % 50, 100 + i % 200});
      if (i % 3 == 0) node->Flush();
      SetReverse(i % 2);
    }
  });
  for (int step = 0; step < 2000; ++step) {
    const auto index = static_cast<int32_t>(random() % 300);
    ASSERT_EQ(index, ShownAt(index));
    node->Skip(-1, nullptr);
    ASSERT_EQ(std::max(index - 1, 0), Shown());
  }
  stop = true;
  commands.join();
}

}  // namespace
