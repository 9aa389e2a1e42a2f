// A frame cache over a fake source that can be held, counted on and made to fail.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
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

// Stops whoever asks the source for its n-th frame from now (0 is the next), until let go.
class Hold {
 public:
  Hold(FakeNode& source, int n) {
    state_->left = n;
    source.log.OnEvery([state = state_](const std::string& call) {
      if (call != "GetCurrentFrame" || state->left-- != 0) return;
      state->reached.set_value();
      state->released.get_future().wait();
    });
  }
  void WaitUntilHeld() { state_->reached.get_future().wait(); }
  void LetGo() { state_->released.set_value(); }

 private:
  struct State {
    std::atomic<int> left;
    std::promise<void> reached;
    std::promise<void> released;
  };
  const std::shared_ptr<State> state_ = std::make_shared<State>();
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
  int32_t Shown() { return NumberIn(node->GetCurrentFrame(nullptr)); }
  int32_t ShownAt(int32_t index) {
    EXPECT_EQ(S_OK, node->Seek(index, nullptr, 0));
    return Shown();
  }

  KivPropDecorator settings = KivCommon::CreateProperties();
  KivPropDecorator info = KivCommon::CreateProperties();
  KivComPtr<FakeNode> source = FakeNode::Make();
  KivComPtr<CVideoFrameCache> node{new CVideoFrameCache(nullptr, source)};
};

}  // namespace test
