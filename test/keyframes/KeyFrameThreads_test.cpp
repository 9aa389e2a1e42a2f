#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include "kiv/keyframes/KeyFrameParam.h"
#include "test/support/Ledger.h"

namespace {

KeyFrameRectF Square(int32_t index, double side) { return {index, {side, side, side, side}}; }

// Every keyframe holds a square, so that what is evaluated is one as well, unless an edit was seen
// half done.
TEST(KeyFrameThreads, EditsAreSeenWholeByWhoeverEvaluates) {
  const KivComPtr<CKivKeyFrameParam> param(new CKivKeyFrameParam);
  for (int32_t i = 0; i < 8; ++i) {
    const KeyFrameRectF frame = Square(i * 10, i);
    param->AddKeyFrame(&frame);
  }
  std::wstring document;
  ASSERT_TRUE(param->ToJson(&document));
  constexpr int kRounds = 3000;
  std::latch ready(2);
  std::atomic<int> wrong{0}, changes{0};
  std::thread editor([&] {
    ready.arrive_and_wait();
    for (int i = 0; i < kRounds; ++i) {
      const KeyFrameRectF frame = Square(i % 97, i % 7);
      param->AddKeyFrame(&frame);
      param->SetKeyFrameAt(i % 8, &frame);
      param->RemoveKeyFrame(i % 89);
      if (i % 50 == 0) param->FromJson(document);
      if (i % 100 == 0) param->RemoveAllKeyFrames();
    }
  });
  std::thread evaluator([&] {
    ready.arrive_and_wait();
    std::wstring text;
    for (int i = 0; i < kRounds; ++i) {
      if (param->IsChanged()) param->ClearChanged(), ++changes;
      KivRectF value;
      KeyFrameRectF frame;
      param->GetValueAt(i % 80, &value);
      if (value != KivRectF{value.left, value.left, value.left, value.left}) ++wrong;
      param->GetKeyFrameAt(i % 8, &frame);
      if (frame.value.left != frame.value.height) ++wrong;
      if (i % 100 == 0 && !param->ToJson(&text)) ++wrong;
    }
  });
  editor.join();
  evaluator.join();
  EXPECT_EQ(0, wrong);
  EXPECT_GT(changes + param->IsChanged(), 0);
}

}  // namespace
