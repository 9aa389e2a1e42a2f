#include "kiv/chain/ChainBuilder.h"

#include <gtest/gtest.h>

#include <climits>

#include "test/chain/RenderFixture.h"

namespace {

struct BuildCase {
  std::vector<int32_t> ids;
  std::vector<int> types;
  int stabilizer;  // place in the list of nodes made, or -1
};

struct ChainBuilder : testing::TestWithParam<BuildCase> {
  test::FakeNodes nodes;
  BuiltChain chain;
};

TEST_P(ChainBuilder, LinksEachNodeToTheOneBeforeIt) {
  const auto& [ids, types, stabilizer] = GetParam();
  const auto owner = test::FakeNode::Make();
  ASSERT_EQ(S_OK, BuildNodes(nodes.Table(), owner.Get(), ids, &chain));

  ASSERT_EQ(types.size(), nodes.made.size());
  const IKivSourceBase* before = nullptr;
  for (size_t i = 0; i < types.size(); ++i) {
    const auto& made = nodes.made[i];
    EXPECT_EQ(types[i], static_cast<int>(made.type));
    EXPECT_EQ(owner.Get(), made.outer);
    EXPECT_EQ(before, made.upstream);
    EXPECT_EQ(made.node.Get(), chain.nodes[i].Get());
    before = made.node.Get();
  }
  EXPECT_EQ(before, chain.tail.Get());
  EXPECT_EQ(stabilizer < 0 ? nullptr : nodes.made[static_cast<size_t>(stabilizer)].node.Get(),
            chain.stabilizer.Get());
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ChainBuilder,
    testing::Values(BuildCase{{8, -1}, {}, -1}, BuildCase{{0, 9, 3, -1, INT_MIN, 8}, {0, 3}, 1},
                    BuildCase{{0, 3, 4, 3}, {0, 3, 4, 3}, 3},
                    BuildCase{{0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7}, 3}));

struct BuildChain : test::RenderFixture {
  IKivSourceBase* TailNode() const { return render->Tail().Get(); }
};

TEST_F(BuildChain, ANodeThatCannotBeMadeChangesNothing) {
  Build({0, 3});
  IKivSourceBase* const tail = TailNode();
  render->Seek(0, nullptr, 0);
  for (int failing = 0; failing < 3; ++failing) {
    nodes.failAfter = failing;
    EXPECT_EQ(E_OUTOFMEMORY, Build({0, 3, 7})) << failing;
    EXPECT_EQ(tail, TailNode());
  }
  // What the failed builds made is gone: nobody but the test holds it.
  for (size_t i = 2; i < nodes.made.size(); ++i) {
    EXPECT_EQ(1u, nodes.made[i].node->References());
  }
  nodes.made[1].node->log.Take();
  render->Seek(1, nullptr, 0);
  EXPECT_EQ(test::Calls{"Seek 1"}, nodes.made[1].node->log.Take());
}

}  // namespace
