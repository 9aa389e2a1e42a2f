#include <atomic>
#include <random>
#include <thread>

#include "test/cache/CacheFixture.h"

namespace {

using test::Calls;
using test::FillCalls;
using test::Hold;

struct FrameCacheThreads : test::CacheFixture {};

TEST_F(FrameCacheThreads, AReaderWaitsForItsIndexAndNotForTheRest) {
  TurnOn();
  Hold hold(*source, 14);  // 501 is the 15th from 487
  node->Seek(500, nullptr, 0);
  hold.WaitUntilHeld();
  EXPECT_EQ(500, Shown());
  node->Skip(-1, nullptr);
  EXPECT_EQ(499, Shown());
  hold.LetGo();
}

TEST_F(FrameCacheThreads, AReaderSleepsUntilItsIndexIsThere) {
  TurnOn();
  Hold hold(*source, 0);
  node->Seek(500, nullptr, 0);
  hold.WaitUntilHeld();
  std::atomic<int32_t> shown{-1};
  std::thread reader([&] { shown = Shown(); });
  hold.LetGo();
  reader.join();
  EXPECT_EQ(500, shown);
}

TEST_F(FrameCacheThreads, AFillLeavesOutWhatTheNewestSpanDrops) {
  TurnOn();
  Hold hold(*source, 2);
  node->Seek(500, nullptr, 0);
  hold.WaitUntilHeld();
  node->Seek(100, nullptr, 0);  // 87 to 105, never begun
  node->Seek(900, nullptr, 0);  // 887 to 905
  hold.LetGo();
  Calls calls = FillCalls(487, 489);
  const Calls last = FillCalls(887, 905);
  calls.insert(calls.end(), last.begin(), last.end());
  EXPECT_EQ(calls, source->log.TakeWhen(calls.size()));
  EXPECT_EQ(900, Shown());
}

// The part of the older span that the newest one counts on is read all the same.
TEST_F(FrameCacheThreads, AFillGoesOnAtWhatTheNewestSpanKeeps) {
  TurnOn();
  Hold hold(*source, 2);
  node->Seek(500, nullptr, 0);
  hold.WaitUntilHeld();
  node->Seek(510, nullptr, 0);  // keeps 497 to 515, reads from 506
  hold.LetGo();
  Calls calls = FillCalls(487, 488);
  calls.insert(calls.end(), {"GetCurrentFrame", "Skip 8"});
  for (int32_t i = 497; i <= 505; ++i) calls.insert(calls.end(), {"GetCurrentFrame", "Skip 1"});
  const Calls last = FillCalls(506, 515);
  calls.insert(calls.end(), last.begin(), last.end());
  EXPECT_EQ(calls, source->log.TakeWhen(calls.size()));
  EXPECT_EQ(498, ShownAt(498));
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

struct Interruption {
  const char* name;
  void (*act)(test::CacheFixture&);
};

const Interruption kInterruptions[] = {
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
    Hold hold(*source, 3);
    node->Seek(500, nullptr, 0);
    hold.WaitUntilHeld();
    std::thread other([&] { c.act(*this); });
    hold.LetGo();
    other.join();
    source->log.OnEvery(nullptr);
    if (node) {
      EXPECT_EQ(40, ShownAt(40));
    }
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
    const int32_t before = std::max(index - 1, 0);
    node->Skip(-1, nullptr);
    ASSERT_EQ(before, Shown());
  }
  stop = true;
  commands.join();
}

}  // namespace
