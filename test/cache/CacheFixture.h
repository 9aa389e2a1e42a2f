// A frame cache over a fake source that can be held, counted on and made to fail.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>

#include "kiv/cache/VideoFrameCache.h"
#include "kiv/platform/KeyNames.h"
#include "test/support/FakeNode.h"

namespace test {

// "Seek first", then a read and a step for each frame up to `last`.
inline Calls FillCalls(int32_t first, int32_t last) {
  Calls calls{"Seek " + std::to_string(first)};
  for (int32_t i = first; i <= last; ++i) calls.insert(calls.end(), {"GetCurrentFrame", "Skip 1"});
  return calls;
}

// Counts the calls that find another thread in a fake. The fake's log leads here while this lives.
class OneAtATime {
 public:
  explicit OneAtATime(CallLog& log) : log_(log) {
    log.OnEvery([this](const std::string& call) {
      if (inside_.exchange(true)) ++collisions_;
      if (whileInside) whileInside(call);
      inside_ = false;
    });
  }
  ~OneAtATime() { log_.OnEvery(nullptr); }
  OneAtATime(const OneAtATime&) = delete;
  OneAtATime& operator=(const OneAtATime&) = delete;
  int Collisions() const { return collisions_; }

  // Set before other threads call.
  std::function<void(const std::string& call)> whileInside;

 private:
  CallLog& log_;
  std::atomic<bool> inside_{false};
  std::atomic<int> collisions_{0};
};

struct CacheFixture : testing::Test {
  void SetUp() override { SetRange({0, 9999}); }
  void SetRange(KivRange range) { Send(*node, CommandId::SetCacheRange, &range); }
  void SetReverse(int32_t on) { Send(*node, CommandId::SetCacheReverse, on); }
  // Ends with an empty log.
  void TurnOn() {
    SetReverse(1);
    source->log.Take();
  }
  void Initialize(const wchar_t* key, int32_t value, int32_t spanSize = 20) {
    settings->SetInt(key, value);
    info->SetInt(KivKey::Speed::kReverse_FrameCacheCount, spanSize);
    node->Initialize(settings.Reference(), info.Reference());
  }
  // Asks for frame 500 and stops the worker at frame 487 + n, until it is let go.
  void HoldFill(int n) {
    struct Hold {
      std::atomic<int> left;
      std::promise<void> reached, letGo;
    };
    const auto hold = std::make_shared<Hold>();
    hold->left = n;
    source->log.OnEvery([hold](const std::string& call) {
      if (call != "GetCurrentFrame" || hold->left-- != 0) return;
      hold->reached.set_value();
      hold->letGo.get_future().wait();
    });
    node->Seek(500, nullptr, 0);
    hold->reached.get_future().wait();
    letGo = [hold] { hold->letGo.set_value(); };
  }
  int32_t Shown() { return NumberIn(node->GetCurrentFrame(nullptr)); }
  int32_t ShownAt(int32_t index) {
    EXPECT_EQ(S_OK, node->Seek(index, nullptr, 0));
    return Shown();
  }

  std::function<void()> letGo;
  KivPropDecorator settings = KivCommon::CreateProperties();
  KivPropDecorator info = KivCommon::CreateProperties();
  KivComPtr<FakeNode> source = FakeNode::Make();
  KivComPtr<CVideoFrameCache> node{new CVideoFrameCache(nullptr, source)};
};

}  // namespace test
