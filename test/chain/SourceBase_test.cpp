#include "kiv/chain/SourceBase.h"

#include <gtest/gtest.h>

#include <climits>

#include "kiv/platform/KivCommon.h"
#include "test/support/Frames.h"
#include "test/support/NodeOnFake.h"

namespace {

using test::Calls;

struct SourceBaseAlone : testing::Test {
  KivComPtr<CSourceBase> node{new CSourceBase(nullptr, nullptr)};
};

TEST_F(SourceBaseAlone, SeeksAndSkipsByItself) {
  int32_t reached = -5;
  int64_t time = 99;
  EXPECT_EQ(S_OK, node->Seek(7, &reached, 0));
  EXPECT_EQ(7, reached);
  EXPECT_EQ(7, node->GetPosition(&time));
  EXPECT_EQ(0, time);
  int32_t moved = -5;
  EXPECT_EQ(S_OK, node->Skip(3, &moved));
  EXPECT_EQ(3, moved);
  EXPECT_EQ(10, node->GetPosition(nullptr));
}

TEST_F(SourceBaseAlone, AnswersTheRestWithSuccessAndNothing) {
  int32_t status = 77;
  EXPECT_FALSE(node->GetCurrentFrame(&status));
  EXPECT_EQ(77, status);
  EXPECT_EQ(S_OK, node->Flush());
  EXPECT_EQ(S_OK, node->ProcessCommand(0x9C6, 0, 0));
  EXPECT_EQ(S_OK, node->ProcessCommand(0xFFFFFFFF, ~uintptr_t{0}, ~uintptr_t{0}));
  EXPECT_EQ(S_OK, node->Initialize(nullptr, nullptr));
  EXPECT_EQ(S_OK, node->SaveSettings(nullptr));
  EXPECT_EQ(S_OK, node->LoadSettings(nullptr));
}

TEST_F(SourceBaseAlone, StartsFromZeroWhenSkippedFresh) {
  EXPECT_EQ(0, node->GetPosition(nullptr));
  EXPECT_EQ(S_OK, node->Skip(1, nullptr));
  EXPECT_EQ(1, node->GetPosition(nullptr));
}

TEST_F(SourceBaseAlone, StaysInRangeWhateverIsSkipped) {
  node->Seek(INT_MAX, nullptr, 0);
  node->Skip(INT_MAX, nullptr);
  EXPECT_EQ(INT_MAX, node->GetPosition(nullptr));
  node->Skip(INT_MIN, nullptr);
  EXPECT_EQ(0, node->GetPosition(nullptr));
}

// Shows what the base keeps, which it does not answer while it has an upstream.
class PositionProbe : public CSourceBase {
 public:
  using CSourceBase::CSourceBase;
  int32_t Own() const { return position_; }
};

struct SourceBaseOnFake : testing::Test {
  test::NodeOnFake<PositionProbe> chain;
  test::FakeNode& source = *chain.source;
  PositionProbe& node = *chain.node;
};

TEST_F(SourceBaseOnFake, HandsEveryCallOnUnchanged) {
  int32_t value = 0;
  source.position = 40;
  source.time = 123;
  int64_t time = 0;
  node.Seek(5, &value, 1);
  EXPECT_EQ(1, source.lastMode);
  EXPECT_EQ(5, value);
  node.Skip(2, &value);
  EXPECT_EQ(2, value);
  source.position = 40;
  EXPECT_EQ(40, node.GetPosition(&time));
  EXPECT_EQ(123, time);
  source.frame = test::MakeFrame(9);
  source.status = 6;
  EXPECT_EQ(9, test::NumberIn(node.GetCurrentFrame(&value)));
  EXPECT_EQ(6, value);
  source.flushResult = E_FAIL;
  EXPECT_EQ(E_FAIL, node.Flush());
  source.commandResult = E_POINTER;
  EXPECT_EQ(E_POINTER, node.ProcessCommand(0x9F0, 11, 12));
  EXPECT_EQ((test::SentCommand{0x9F0, 11, 12}), source.commands.back());
  EXPECT_EQ((Calls{"Seek 5", "Skip 2", "GetPosition", "GetCurrentFrame", "Flush", "Command 0x9F0"}),
            source.log.Calls());
  source.frame.Reset();
}

TEST_F(SourceBaseOnFake, HandsBothBagsOnAndDropsItsOwnCopies) {
  const KivPropDecorator settings = KivCommon::CreateProperties();
  const KivPropDecorator info = KivCommon::CreateProperties();
  source.initializeResult = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, node.Initialize(settings.Reference(), info.Reference()));
  EXPECT_EQ(settings.Get(), source.settings.Get());
  EXPECT_EQ(info.Get(), source.info.Get());
  source.settings.Reset();
  settings.Get()->AddRef();
  EXPECT_EQ(1u, settings.Get()->Release());
}

TEST_F(SourceBaseOnFake, KeepsSettingsToItself) {
  const KivPropDecorator bag = KivCommon::CreateProperties();
  node.SaveSettings(bag.Get());
  node.LoadSettings(bag.Get());
  EXPECT_EQ(Calls{}, source.log.Calls());
}

TEST_F(SourceBaseOnFake, PositionFollowsOnlyWhatSucceeded) {
  node.Seek(5, nullptr, 0);
  EXPECT_EQ(5, node.Own());
  source.seekResult = E_FAIL;
  EXPECT_EQ(E_FAIL, node.Seek(9, nullptr, 0));
  EXPECT_EQ(5, node.Own());
  source.skipResult = E_UNSUPPORTED;
  EXPECT_EQ(E_UNSUPPORTED, node.Skip(3, nullptr));
  EXPECT_EQ(5, node.Own());
  source.skipResult = S_FALSE;
  EXPECT_EQ(S_FALSE, node.Skip(3, nullptr));
  EXPECT_EQ(8, node.Own());
}

TEST_F(SourceBaseOnFake, AFailedFirstSkipLeavesZero) {
  source.skipResult = E_FAIL;
  node.Skip(3, nullptr);
  EXPECT_EQ(0, node.Own());
}

TEST(SourceBaseReferences, HoldsAFakeOrdinarilyAndReleasesItWhenItEnds) {
  const auto source = test::FakeNode::Make();
  {
    const KivComPtr<CSourceBase> node(new CSourceBase(nullptr, source));
    EXPECT_EQ(2u, source->References());
  }
  EXPECT_EQ(1u, source->References());
}

TEST(SourceBaseReferences, AnswersItsTwoIdentities) {
  const KivComPtr<CSourceBase> node(new CSourceBase(nullptr, nullptr));
  const KivComPtr<IKivSourceBase> itself(node.Get());
  EXPECT_EQ(itself.Get(), node.As<IKivSourceBase>().Get());
  EXPECT_TRUE(node.As<IUnknown>());
  void* object = &object;
  EXPECT_EQ(E_NOINTERFACE, node->QueryInterface(IKivFrame::kIid, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(E_POINTER, node->QueryInterface(IKivSourceBase::kIid, nullptr));
}

}  // namespace
