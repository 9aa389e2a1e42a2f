#include <algorithm>

#include "engine/memory/BufferPool.h"
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
  node->Seek(8, &reached, 1);
  node->Skip(3, &moved);
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

TEST_F(FrameCache, FramesOfEverySizeAreCopiedIntoOneOutputFrameWithTheirTimes) {
  source->log.OnEvery([this](const std::string& call) {
    if (call != "GetCurrentFrame") return;
    const int32_t number = source->position;
    source->frame = test::MakeFrame(number, {4 + number % 3, 2});
    source->frame->SetTime(number * 10, 10);
  });
  TurnOn();
  for (const int32_t index : {60, 59, 41, 90, 3}) {
    EXPECT_EQ(index, ShownAt(index));
    const auto frame = node->GetCurrentFrame(nullptr);
    EXPECT_EQ((KivSize{4 + index % 3, 2}), test::SizeOf(frame));
    EXPECT_EQ(index + 3, ShownAt(index + 3));
    EXPECT_EQ(index + 3, test::NumberIn(frame));
    node->Skip(-3, nullptr);
    int64_t time = 0;
    EXPECT_EQ(index, node->GetPosition(&time));
    EXPECT_EQ(index * 10, time);
  }
}

// Outside the range, with spans that hold nothing, and before the range is known.
TEST_F(FrameCache, WhatNoSpanCoversIsReadThrough) {
  TurnOn();
  for (const KivRange& range : {KivRange{10, 12}, {0, 0}, {20, 10}, {INT32_MIN, INT32_MAX}}) {
    SetRange(range);
    for (const int32_t index : {9, 15, 300, INT32_MAX}) EXPECT_EQ(index, ShownAt(index));
  }
  for (const int32_t size : {0, 1, 2, -1, INT32_MIN}) {
    SCOPED_TRACE(size);
    Initialize(KivKey::Speed::kReverse, 1, size);
    node->Flush();
    for (const int32_t index : {0, 7, 6, 500, 0}) EXPECT_EQ(index, ShownAt(index));
  }
}

// The reverse node counts on below the first frame, and comes back from there.
TEST_F(FrameCache, StepsBelowTheFirstFrameAreTakenBackBeforeItShowsTheNext) {
  TurnOn();
  node->Seek(2, nullptr, 0);
  const struct {
    int32_t step, position;
  } steps[] = {{-5, 0}, {-1, 0}, {3, 0}, {1, 0}, {1, 1}, {INT32_MIN, 0}, {INT32_MAX, 0}, {7, 7}};
  for (const auto& c : steps) {
    node->Skip(c.step, nullptr);
    EXPECT_EQ(c.position, node->GetPosition(nullptr)) << c.step;
    EXPECT_EQ(c.position, Shown()) << c.step;
  }
  node->Skip(-9, nullptr);
  EXPECT_EQ(4, ShownAt(4));
  EXPECT_EQ(5, (node->Skip(1, nullptr), Shown()));
}

// A node below may refill its one frame while that is still being read.
TEST_F(FrameCache, WhatIsReadThroughIsACopy) {
  source->frame = test::MakeFrame(3);
  TurnOn();
  SetRange({0, 0});
  node->Seek(60, nullptr, 0);
  const auto shown = node->GetCurrentFrame(nullptr);
  EXPECT_NE(source->frame.Get(), shown.Get());
  source->frame->GetBitmap()->Fill(4);
  EXPECT_EQ(3, test::NumberIn(shown));
}

// Everything that may change the pictures of the nodes below.
TEST_F(FrameCache, NewSettingsBelowMakeItReadAnew) {
  const KivRational rate{50, 1};
  const SpeedSettings faster{2, 1, 1};
  const auto with = [](CommandId id, const void* record) {
    return [=](test::CacheFixture& f) { Send(*f.node, id, record); };
  };
  const std::pair<const char*, std::function<void(test::CacheFixture&)>> kChanges[] = {
      {"decoder", with(CommandId::SetDecoder, nullptr)},
      {"scale", with(CommandId::SetDecodeScale, &rate)},
      {"source rate", with(CommandId::SetSourceFrameRate, &rate)},
      {"render rate", with(CommandId::SetRenderFrameRate, &rate)},
      {"size", with(CommandId::SetOutputSize, &rate)},
      {"proxy", [](auto& f) { Send(*f.node, CommandId::SetProxyEnabled, 1); }},
      {"alpha", with(CommandId::SetAlphaVideoSettings, nullptr)},
      {"speed", with(CommandId::SetSpeedSettings, &faster)},
      {"forget", [](auto& f) { f.node->Forget(); }},
      {"bag",
       [&](auto& f) {
         f.settings->SetRational(KivKey::Render::kRender_Framerate, &rate);
         f.Initialize(KivKey::Speed::kReverse, 1);
       }},
  };
  for (const auto& [name, change] : kChanges) {
    SCOPED_TRACE(name);
    SetReverse(0);
    TurnOn();
    EXPECT_EQ(30, ShownAt(30));
    node->FinishReading();
    source->shownScale = 2;
    Send(*node, CommandId::GetScaledSize, 0);
    EXPECT_EQ(30, Shown());  // an answer changes nothing
    change(*this);
    EXPECT_EQ(60, Shown());
    node->FinishReading();
    source->shownScale = 1;
  }
}

// 2^31 - 1 frames of 4 MiB each are asked for; 64 fit.
TEST_F(FrameCache, AHostileSpanSizeCostsBoundedMemory) {
  constexpr int64_t kPicture = int64_t{4} << 20;
  const int64_t before = kiv::BufferPool::Shared().Figures().bytesOut;
  std::atomic<int64_t> most{0};
  source->frame = test::MakeFrame(1, {1024, 1024});
  ASSERT_TRUE(source->frame->GetPixels());  // from here on its copies take memory of their own
  source->log.OnEvery([&](const std::string&) {
    most = std::max<int64_t>(most, kiv::BufferPool::Shared().Figures().bytesOut - before);
  });
  Initialize(KivKey::Speed::kReverse, 1, INT32_MAX);
  SetRange({INT32_MIN, INT32_MAX});
  source->log.Take();
  EXPECT_EQ(1, ShownAt(200));
  EXPECT_EQ(FillCalls(0, 369), source->log.TakeWhen(1 + 2 * 370));
  // The size is known now: 64 x 2/3 below, 64 / 3 above.
  node->Skip(-1, nullptr);
  EXPECT_EQ(FillCalls(157, 219), source->log.TakeWhen(1 + 2 * 63));
  EXPECT_EQ(1, Shown());
  EXPECT_LE(64 * kPicture, most);
  EXPECT_GE(80 * kPicture, most);
}

// 64 pictures of 4 MiB fill it; only what leaves room again is kept for reuse.
TEST(FrameStore, FramesForReuseCountWithinItsBytes) {
  FrameStore store;
  const auto put = [&](int32_t index) {
    const KivComPtr<IKivFrame> frame = test::MakeEmptyFrame();
    frame.As<IKivVideoFrame>()->Allocate(1024, 1024, 0, KivCGMemoryType::kCached, nullptr, 0, 0);
    store.Put(index, frame, 0);
  };
  const auto spares = [&] {
    int count = 0;
    while (store.TakeSpare({1024, 1024})) ++count;
    return count;
  };
  for (int32_t i = 0; i < 70; ++i) put(i);
  EXPECT_EQ(0, spares());
  store.Evict({0, 59});
  EXPECT_EQ(4, spares());
  store.Evict({0, 39});
  for (int32_t i = 40; i < 60; ++i) put(i);
  EXPECT_EQ(4, spares());
}

void SendReverseOff(test::CacheFixture& fixture) {
  const SpeedSettings off;
  EXPECT_EQ(S_OK, Send(*fixture.node, CommandId::SetSpeedSettings, &off));
  Send(*fixture.node, CommandId::SetSpeedSettings, static_cast<SpeedSettings*>(nullptr));
}

const struct Switch {
  const char* name;
  void (*off)(test::CacheFixture&);
  bool clears, staysOn;
} kSwitches[] = {
    {"0x9CE", [](auto& f) { f.SetReverse(0); }, true, false},
    {"0x9CD", &SendReverseOff, true, false},
    {"flush", [](auto& f) { f.node->Flush(); }, true, true},
    {"cleanup", [](auto& f) { f.Initialize(L"CLIP.CMD.CLEANUP", 1); }, true, true},
    {"reverse", [](auto& f) { f.Initialize(KivKey::Speed::kReverse, 0); }, true, false},
    {"enabled", [](auto& f) { f.Initialize(KivKey::Speed::kEnabled, 0); }, false, false},
    {"cache", [](auto& f) { f.Initialize(KivKey::Render::kRender_CacheEnable, 1); }, false, true},
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
    EXPECT_EQ(c.staysOn ? 30 : 1000, Shown());
    // Nothing is asked of the source for a frame that is still there.
    EXPECT_EQ(c.staysOn && !c.clears, source->log.Take().empty());
    Initialize(KivKey::Render::kRender_CacheEnable, 0);
  }
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

}  // namespace
