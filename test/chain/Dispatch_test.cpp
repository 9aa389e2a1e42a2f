#include "kiv/chain/Dispatch.h"

#include <gtest/gtest.h>

#include "test/support/FakeNode.h"

namespace {

// Keeps a rate.
class SampleNode : public CSourceBase {
 public:
  using CSourceBase::CSourceBase;

  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override {
    static constexpr CommandRow<SampleNode> kRows[] = {
        {CommandId::SetRenderFrameRate, &SampleNode::OnRate, Route::kForward},
    };
    return Dispatch(*this, kRows, id, param, extra);
  }
  HRESULT OnRate(const CommandArgs& args) {
    rate = *args.As<const KivRational>();
    return E_FAIL;
  }

  KivRational rate;
};

// The streamer's tests show that a command which stops answers its handler's result.
TEST(Dispatching, ForwardingAnswersTheUpstreamsResultEvenWhenTheHandlerFailed) {
  test::NodeOnFake<SampleNode> chain;
  const KivRational rate{30000, 1001};
  chain.source->result = S_FALSE;
  EXPECT_EQ(S_FALSE, test::Send(*chain.node, CommandId::SetRenderFrameRate, &rate));
  EXPECT_EQ(rate, chain.node->rate);
  EXPECT_EQ(S_FALSE, chain.node->ProcessCommand(0xFFFFFFFF, 3, 4));  // not known
  EXPECT_EQ((std::vector<test::SentCommand>{{0x9C8, reinterpret_cast<uintptr_t>(&rate), 0},
                                            {0xFFFFFFFF, 3, 4}}),
            chain.source->commands);
}

}  // namespace
