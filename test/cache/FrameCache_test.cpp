#include <algorithm>

#include "engine/common/BufferPool.h"
#include "test/cache/CacheFixture.h"

namespace {

using test::Calls;
using test::FillCalls;
using test::Send;

struct FrameCache : test::CacheFixture {};

TEST_F(FrameCache, IsTransparentWhileOff) {
  source->status = 1;
  source->time = 77;
  int32_t reached = 0, moved = 0, status = 0;
  int64_t time = 0;
  source->log.Take();
  EXPECT_EQ(S_OK, node->Seek(8, &reached, 1));
  EXPECT_EQ(S_OK, node->Skip(3, &moved));
  EXPECT_EQ(11, node->GetPosition(&time));
  EXPECT_EQ(11, test::NumberIn(node->GetCurrentFrame(&status)));
  EXPECT_EQ((Calls{"Seek 8", "Skip 3", "GetPosition", "GetCurrentFrame"}), source->log.Take());
  EXPECT_EQ((std::array<int64_t, 5>{8, 1, 3, 77, 1}),
            (std::array<int64_t, 5>{reached, source->lastMode, moved, time, status}));
}

TEST_F(FrameCache, WalkingBackReadsEachPartOfASpanOnce) {
  TurnOn();
  node->Seek(500, nullptr, 0);
  EXPECT_EQ(FillCalls(487, 505), source->log.TakeWhen(39));
  for (const int32_t first : {480, 473}) {  // due seven frames after what was due before
    for (int step = 0; step < 7; ++step) {
      EXPECT_EQ(first + 20 - step, Shown());
      node->Skip(-1, nullptr);
    }
    EXPECT_EQ(FillCalls(first, first + 6), source->log.TakeWhen(15));
  }
  EXPECT_EQ(486, Shown());
  EXPECT_EQ(486, node->GetPosition(nullptr));
}

TEST_F(FrameCache, OneOutputFrameIsRefilledAndItsTimeIsThePosition) {
  source->log.OnEvery([this](const std::string& call) {
    if (call != "GetCurrentFrame") return;
    source->frame = test::MakeFrame(source->position);
    source->frame->SetTime(source->position * 10, 10);
  });
  TurnOn();
  const auto first = (node->Seek(40, nullptr, 0), node->GetCurrentFrame(nullptr));
  EXPECT_EQ(40, test::NumberIn(first));
  node->Skip(-3, nullptr);
  EXPECT_TRUE(first == node->GetCurrentFrame(nullptr));
  EXPECT_EQ(37, test::NumberIn(first));
  int64_t time = 0;
  EXPECT_EQ(37, node->GetPosition(&time));
  EXPECT_EQ(370, time);
}

TEST_F(FrameCache, FramesThatChangeSizeAreKeptAndHandedOutAsTheyAre) {
  source->log.OnEvery([this](const std::string& call) {
    if (call != "GetCurrentFrame") return;
    const int32_t number = source->position;
    source->frame = test::MakeFrame(number, {4 + number % 3, 2 + number / 7 % 2});
  });
  TurnOn();
  for (const int32_t index : {60, 59, 52, 40, 41, 90, 20, 19, 3}) {
    EXPECT_EQ(index, ShownAt(index));
    const KivSize size = test::SizeOf(node->GetCurrentFrame(nullptr));
    EXPECT_EQ((KivSize{4 + index % 3, 2 + index / 7 % 2}), size) << index;
  }
}

// Outside the range, with spans that hold nothing, and before the range is known.
TEST_F(FrameCache, WhatNoSpanCoversIsReadThrough) {
  TurnOn();
  SetRange({10, 20});
  EXPECT_EQ(9, ShownAt(9));
  EXPECT_EQ(300, ShownAt(300));
  SetRange({0, 0});
  EXPECT_EQ(5, ShownAt(5));
  SetRange({20, 10});
  EXPECT_EQ(15, ShownAt(15));
  SetRange({INT32_MIN, INT32_MAX});
  EXPECT_EQ(INT32_MAX, ShownAt(INT32_MAX));
  for (const int32_t size : {0, 1, 2, -1, INT32_MIN}) {
    SCOPED_TRACE(size);
    Initialize(KivKey::Speed::kReverse, 1, size);
    node->Flush();
    for (const int32_t index : {0, 7, 6, 500, 0}) EXPECT_EQ(index, ShownAt(index));
  }
}

// 2^31 - 1 frames of 4 MiB each are asked for; 64 fit.
TEST_F(FrameCache, AHostileSpanSizeCostsBoundedMemory) {
  constexpr int64_t kPicture = int64_t{4} << 20;
  const int64_t before = kiv::BufferPool::Shared().Figures().bytesOut;
  std::atomic<int64_t> most{0};
  source->frame = test::MakeFrame(1, {1024, 1024});
  source->log.OnEvery([&](const std::string&) {
    most = std::max<int64_t>(most, kiv::BufferPool::Shared().Figures().bytesOut - before);
  });
  Initialize(KivKey::Speed::kReverse, 1, INT32_MAX);
  SetRange({INT32_MIN, INT32_MAX});
  source->log.Take();
  EXPECT_EQ(1, ShownAt(200));
  EXPECT_EQ(FillCalls(0, 369), source->log.TakeWhen(1 + 2 * 370));
  // The size is known now: 64 x 2/3 behind, 64 / 3 ahead.
  node->Skip(-1, nullptr);
  EXPECT_EQ(FillCalls(157, 219), source->log.TakeWhen(1 + 2 * 63));
  EXPECT_EQ(1, Shown());
  EXPECT_LE(64 * kPicture, most);
  EXPECT_GE(80 * kPicture, most);
}

struct Switch {
  const char* name;
  void (*off)(test::CacheFixture&);
  bool clears;
  bool staysOn;
};

const Switch kSwitches[] = {
    {"0x9CE", [](auto& f) { f.SetReverse(0); }, true, false},
    {"0x9CD",
     [](auto& f) {
       const SpeedSettings off;
       Send(*f.node, CommandId::SetSpeedSettings, &off);
     },
     true, false},
    {"flush", [](auto& f) { f.node->Flush(); }, true, true},
    {"cleanup", [](auto& f) { f.Initialize(L"CLIP.CMD.CLEANUP", 1); }, true, true},
    {"reverseKey", [](auto& f) { f.Initialize(KivKey::Speed::kReverse, 0); }, true, false},
    {"enabledKey", [](auto& f) { f.Initialize(KivKey::Speed::kEnabled, 0); }, false, false},
    {"cacheKey", [](auto& f) { f.Initialize(KivKey::Render::kRender_CacheEnable, 1); }, false,
     true},
};

TEST_F(FrameCache, SwitchesClearAndEndItAsTheyShould) {
  SetRange({0, 30});
  for (const Switch& c : kSwitches) {
    SCOPED_TRACE(c.name);
    settings = KivCommon::CreateProperties();
    Initialize(KivKey::Speed::kEnabled, 1);
    SetReverse(1);
    node->Flush();
    EXPECT_EQ(30, ShownAt(30));
    EXPECT_EQ(31, ShownAt(31));  // read through, so no task is left
    node->Seek(30, nullptr, 0);
    c.off(*this);
    source->log.Take();
    source->position = 1000;
    const int32_t shown = Shown();
    EXPECT_EQ(c.staysOn ? 30 : 1000, shown);
    // Nothing is asked of the source for a frame that is still there.
    EXPECT_EQ(c.staysOn && !c.clears, source->log.Take().empty());
    Initialize(KivKey::Render::kRender_CacheEnable, 0);
  }
}

TEST_F(FrameCache, CommandsGoOnAsTheyShouldAndNoRecordIsHarmless) {
  source->log.Take();
  const KivRange range{0, 5};
  const SpeedSettings speed;
  Send(*node, CommandId::SetCacheRange, &range);
  Send(*node, CommandId::SetSpeedSettings, &speed);
  Send(*node, CommandId::SetCacheReverse, 0);
  Send(*node, CommandId::EndOfUse);
  Send(*node, CommandId::SetCacheRange, static_cast<KivRange*>(nullptr));
  EXPECT_EQ((Calls{"Command 0x9C9", "Command 0x9CD", "Command 0x9C6", "Command 0x9C9"}),
            source->log.Take());
}

// The n-th call to the source fails, or brings a frame without a picture, for every n.
TEST_F(FrameCache, AFailingSourceNeverLeavesAWrongPicture) {
  for (int failing = 0; failing < 60; ++failing) {
    SCOPED_TRACE(failing);
    std::atomic<int> left{failing};
    source->log.OnEvery([&](const std::string&) {
      const bool fails = left-- == 0;
      source->result = fails ? E_FAIL : S_OK;
      source->frame = fails ? test::MakeEmptyFrame() : nullptr;
    });
    TurnOn();
    node->Seek(30, nullptr, 0);
    for (int32_t index = 30; index > 20; --index, node->Skip(-1, nullptr)) {
      EXPECT_EQ(index, Shown());
    }
    SetReverse(0);
  }
}

TEST_F(FrameCache, AFrameThatIsMissingIsAskedForAgain) {
  std::atomic<bool> missing{true};
  source->log.OnEvery(
      [&](const std::string&) { source->frame = missing ? test::MakeEmptyFrame() : nullptr; });
  TurnOn();
  EXPECT_EQ(-1, ShownAt(30));
  missing = false;
  EXPECT_EQ(30, Shown());
  node->Flush();
}

}  // namespace
