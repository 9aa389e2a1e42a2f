#include "kiv/chain/SourceBase.h"

#include <gtest/gtest.h>

#include <climits>

#include "test/support/FakeNode.h"

namespace {

using test::Calls;

struct SourceBaseAlone : testing::Test {
  KivComPtr<CSourceBase> node{new CSourceBase(nullptr, nullptr)};
};

TEST_F(SourceBaseAlone, SeeksAndSkipsByItself) {
  int32_t value = -5;
  int64_t time = 99;
  EXPECT_EQ(0, node->GetPosition(&time));
  EXPECT_EQ(0, time);
  EXPECT_EQ(S_OK, node->Skip(1, &value));
  EXPECT_EQ(1, value);
  EXPECT_EQ(1, node->GetPosition(nullptr));
  EXPECT_EQ(S_OK, node->Seek(7, &value, 0));
  EXPECT_EQ(7, value);
  EXPECT_EQ(7, node->GetPosition(nullptr));
  node->Skip(INT_MAX, nullptr);
  EXPECT_EQ(INT_MAX, node->GetPosition(nullptr));
  node->Skip(INT_MIN, nullptr);
  EXPECT_EQ(0, node->GetPosition(nullptr));
}

TEST_F(SourceBaseAlone, AnswersTheRestWithSuccessAndNothing) {
  int32_t status = 77;
  EXPECT_FALSE(node->GetCurrentFrame(&status));
  EXPECT_EQ(77, status);
  EXPECT_EQ(S_OK, node->Flush());
  EXPECT_EQ(S_OK, node->ProcessCommand(0xFFFFFFFF, ~uintptr_t{0}, ~uintptr_t{0}));
  EXPECT_EQ(S_OK, node->Initialize(nullptr, nullptr));
  EXPECT_EQ(S_OK, node->SaveSettings(nullptr));
  EXPECT_EQ(S_OK, node->LoadSettings(nullptr));
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
  int64_t time = 0;
  node.Seek(5, &value, 1);
  EXPECT_EQ(1, source.lastMode);
  EXPECT_EQ(5, value);
  node.Skip(2, &value);
  EXPECT_EQ(2, value);
  source.position = 40;
  source.time = 123;
  EXPECT_EQ(40, node.GetPosition(&time));
  EXPECT_EQ(123, time);
  source.status = 6;
  EXPECT_EQ(40, test::NumberIn(node.GetCurrentFrame(&value)));
  EXPECT_EQ(6, value);
  source.result = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, node.Flush());
  EXPECT_EQ(E_NOTREADY, node.ProcessCommand(0x9F0, 11, 12));
  EXPECT_EQ((test::SentCommand{0x9F0, 11, 12}), source.commands.back());
  EXPECT_EQ((Calls{"Seek 5", "Skip 2", "GetPosition", "GetCurrentFrame", "Flush", "Command 0x9F0"}),
            source.log.Take());
}

TEST_F(SourceBaseOnFake, HandsBothBagsOnAndKeepsSettingsToItself) {
  const KivPropDecorator settings = KivCommon::CreateProperties();
  const KivPropDecorator info = KivCommon::CreateProperties();
  source.initializeResult = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, node.Initialize(settings.Reference(), info.Reference()));
  EXPECT_EQ(settings.Get(), source.settings.Get());
  EXPECT_EQ(info.Get(), source.info.Get());
  node.SaveSettings(settings.Get());
  node.LoadSettings(settings.Get());
  EXPECT_EQ(Calls{"Initialize"}, source.log.Take());
}

// As the source does: only a node that never moved starts from 0.
TEST_F(SourceBaseOnFake, CountsOnBelowTheFirstFrame) {
  node.Skip(1, nullptr);
  EXPECT_EQ(1, node.Own());
  node.Skip(-2, nullptr);
  node.Skip(-3, nullptr);
  EXPECT_EQ(-4, node.Own());
  node.Skip(5, nullptr);
  EXPECT_EQ(1, node.Own());
  EXPECT_EQ(1, source.position);
}

TEST_F(SourceBaseOnFake, PositionFollowsOnlyWhatSucceeded) {
  source.result = E_FAIL;
  EXPECT_EQ(E_FAIL, node.Skip(3, nullptr));
  EXPECT_EQ(0, node.Own());
  EXPECT_EQ(E_FAIL, node.Seek(9, nullptr, 0));
  EXPECT_EQ(0, node.Own());
  source.result = S_FALSE;
  EXPECT_EQ(S_FALSE, node.Seek(5, nullptr, 0));
  EXPECT_EQ(5, node.Own());
  EXPECT_EQ(S_FALSE, node.Skip(3, nullptr));
  EXPECT_EQ(8, node.Own());
}

}  // namespace
