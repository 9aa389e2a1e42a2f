#include "kiv/chain/Dispatch.h"

#include <gtest/gtest.h>

#include "test/support/NodeOnFake.h"

namespace {

using test::Send;

// Keeps a scale (stops), a rate (forwards) and fails on demand.
class SampleNode : public CSourceBase {
 public:
  using CSourceBase::CSourceBase;

  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override {
    static constexpr CommandRow<SampleNode> kRows[] = {
        {CommandId::SetRenderFrameRate, &SampleNode::OnRate, Route::kForward},
        {CommandId::SetCropEnabled, &SampleNode::OnEnabled, Route::kStop},
        {CommandId::GetProxyPath, &SampleNode::OnPath, Route::kStop},
    };
    return Dispatch(*this, kRows, id, param, extra);
  }

  HRESULT OnRate(const CommandArgs& args) {
    rate = *args.As<const KivRational>();
    return handlerResult;
  }
  HRESULT OnEnabled(const CommandArgs& args) {
    enabled = args.Integer();
    return handlerResult;
  }
  HRESULT OnPath(const CommandArgs& args) {
    capacity = args.Extra();
    return S_OK;
  }

  HRESULT handlerResult = S_OK;
  KivRational rate;
  int32_t enabled = 0;
  intptr_t capacity = 0;
};

// Adds one id to SampleNode's.
class DerivedNode : public SampleNode {
 public:
  using SampleNode::SampleNode;

  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override {
    static constexpr CommandRow<DerivedNode> kRows[] = {
        {CommandId::SetCacheReverse, &DerivedNode::OnReverse, Route::kStop},
    };
    return Dispatch<SampleNode>(*this, kRows, id, param, extra);
  }
  HRESULT OnReverse(const CommandArgs& args) {
    reverse = args.Integer();
    return S_OK;
  }

  int32_t reverse = 0;
};

TEST(Dispatch, ForwardingAnswersTheUpstreamsResultEvenWhenTheHandlerFailed) {
  test::NodeOnFake<SampleNode> chain;
  const KivRational rate{30000, 1001};
  chain.node->handlerResult = E_FAIL;
  chain.source->commandResult = S_FALSE;
  EXPECT_EQ(S_FALSE, Send(*chain.node, CommandId::SetRenderFrameRate, &rate));
  EXPECT_EQ(rate, chain.node->rate);
  EXPECT_EQ((test::SentCommand{0x9C8, reinterpret_cast<uintptr_t>(&rate), 0}),
            chain.source->commands.back());
}

TEST(Dispatch, StoppingAnswersTheHandlersResult) {
  test::NodeOnFake<SampleNode> chain;
  chain.node->handlerResult = E_NOTREADY;
  EXPECT_EQ(E_NOTREADY, Send(*chain.node, CommandId::SetCropEnabled, -1));
  EXPECT_EQ(-1, chain.node->enabled);
  EXPECT_TRUE(chain.source->commands.empty());
}

TEST(Dispatch, CarriesTheExtraValueWithItsSign) {
  test::NodeOnFake<SampleNode> chain;
  wchar_t buffer[4];
  Send(*chain.node, CommandId::GetProxyPath, buffer, -4);
  EXPECT_EQ(-4, chain.node->capacity);
}

TEST(Dispatch, EveryOtherIdTravelsUnchanged) {
  test::NodeOnFake<SampleNode> chain;
  chain.source->commandResult = E_UNSUPPORTED;
  const auto isHandled = [](CommandId id) {
    return id == CommandId::SetRenderFrameRate || id == CommandId::SetCropEnabled ||
           id == CommandId::GetProxyPath;
  };
  for (const CommandInfo& command : kCommandTable) {
    if (isHandled(command.id)) continue;
    const auto id = static_cast<uint32_t>(command.id);
    EXPECT_EQ(E_UNSUPPORTED, chain.node->ProcessCommand(id, 3, 4)) << command.name;
    EXPECT_EQ((test::SentCommand{id, 3, 4}), chain.source->commands.back()) << command.name;
  }
  EXPECT_EQ(E_UNSUPPORTED, chain.node->ProcessCommand(0, 0, 0));
  EXPECT_EQ(30u, chain.source->commands.size());
}

TEST(Dispatch, IdsOfTheBaseClassReachItBeforeTheUpstream) {
  test::NodeOnFake<DerivedNode> chain;
  Send(*chain.node, CommandId::SetCacheReverse, 1);
  Send(*chain.node, CommandId::SetCropEnabled, 2);
  EXPECT_EQ(1, chain.node->reverse);
  EXPECT_EQ(2, chain.node->enabled);
  EXPECT_TRUE(chain.source->commands.empty());
  Send(*chain.node, CommandId::EndOfUse);
  EXPECT_EQ(1u, chain.source->commands.size());
}

}  // namespace
