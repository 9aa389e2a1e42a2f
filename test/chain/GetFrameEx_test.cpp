#include <gtest/gtest.h>

#include <stdexcept>

#include "test/chain/RenderFixture.h"

namespace {

using test::MakeFrame;
using test::NumberIn;

struct GetFrameEx : test::RenderFixture {
  void SetUp() override {
    Build({0});
    render->Seek(5, nullptr, 0);
    nodes.Tail().log.Take();
  }
  KivComPtr<IKivFrame> frame;
};

TEST_F(GetFrameEx, TheTransformSeesFrameArgumentAndSlot) {
  const auto argument = test::FakeNode::Make();
  bool sawSame = false;
  IUnknown* seen = nullptr;
  EXPECT_EQ(S_OK, render->GetFrameEx(&frame, argument.As<IUnknown>(),
                                     [&](KivComPtr<IKivFrame> pulled, KivComPtr<IUnknown> given,
                                         KivComPtr<IKivFrame>& cached) {
                                       sawSame = pulled == cached && NumberIn(pulled) == 5;
                                       seen = given.Get();
                                       return E_FAIL;
                                     }));
  EXPECT_TRUE(sawSame);
  EXPECT_EQ(argument.As<IUnknown>().Get(), seen);
  EXPECT_EQ(1u, argument->References());
}

TEST_F(GetFrameEx, AReplacementIsHandedOutAndKept) {
  const auto add = [](auto, auto, KivComPtr<IKivFrame>& cached) {
    cached = MakeFrame(NumberIn(cached) + 1);
    return S_OK;
  };
  EXPECT_EQ(S_OK, render->GetFrameEx(&frame, nullptr, add));
  EXPECT_EQ(6, NumberIn(frame));
  EXPECT_EQ(S_OK, render->GetLastFrameEx(&frame, nullptr, add));
  EXPECT_EQ(7, NumberIn(frame));
  EXPECT_EQ(S_OK, render->GetLastFrameEx(&frame, nullptr, nullptr));
  EXPECT_EQ(7, NumberIn(frame));
  EXPECT_EQ(test::Calls{"GetCurrentFrame"}, nodes.Tail().log.Take());
}

TEST_F(GetFrameEx, AReplacementWithoutPictureFails) {
  for (const auto& worthless : {KivComPtr<IKivFrame>(), test::MakeEmptyFrame()}) {
    const auto replace = [&](auto, auto, KivComPtr<IKivFrame>& cached) {
      cached = worthless;
      return S_OK;
    };
    frame = MakeFrame(3);
    EXPECT_EQ(E_FAIL, render->GetFrameEx(&frame, nullptr, replace));
    EXPECT_EQ(worthless, frame);
    EXPECT_EQ(E_FAIL, render->GetLastFrame(&frame));
  }
}

TEST_F(GetFrameEx, WithoutAPictureTheTransformIsNotCalled) {
  nodes.Tail().frame = test::MakeEmptyFrame();
  int called = 0;
  const auto count = [&](auto, auto, auto&) { return ++called; };
  EXPECT_EQ(E_FAIL, render->GetFrameEx(&frame, nullptr, count));
  EXPECT_EQ(0, called);
  EXPECT_EQ(nodes.Tail().frame, frame);
}

TEST_F(GetFrameEx, AThrowingTransformFailsAndKeepsTheFrame) {
  const auto refuse = [](auto, auto, auto&) -> int32_t { throw std::runtime_error("host"); };
  EXPECT_EQ(E_FAIL, render->GetFrameEx(&frame, nullptr, refuse));
  EXPECT_EQ(5, NumberIn(frame));
}

TEST_F(GetFrameEx, TheTransformMayCallTheRenderAgain) {
  const auto again = [&](auto, auto, auto&) {
    KivComPtr<IKivFrame> inner;
    render->Seek(8, nullptr, 0);
    render->GetFrame(&inner);
    return S_OK;
  };
  EXPECT_EQ(S_OK, render->GetFrameEx(&frame, nullptr, again));
  EXPECT_EQ(8, NumberIn(frame));
}

}  // namespace
