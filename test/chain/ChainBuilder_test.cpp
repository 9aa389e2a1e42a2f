#include "kiv/chain/ChainBuilder.h"

#include <gtest/gtest.h>

#include <climits>

#include "kiv/chain/SourceBase.h"
#include "kiv/chain/TaskIdentities.h"
#include "kiv/platform/KivCommon.h"
#include "test/chain/RenderFixture.h"

namespace {

constexpr int kNone = -1;

struct Link {
  int type;
  int upstream;  // place in the list of nodes made, or kNone
};
struct BuildCase {
  const char* name;
  std::vector<int32_t> ids;
  std::vector<Link> links;
  int stabilizer;  // place, or kNone
};

struct ChainBuilder : testing::TestWithParam<BuildCase> {
  test::FakeNodes nodes;
  BuiltChain chain;
};

TEST_P(ChainBuilder, LinksEachNodeToTheOneBeforeIt) {
  const BuildCase& c = GetParam();
  const auto owner = test::FakeNode::Make();
  IUnknown* const outer = owner.Get();
  ASSERT_EQ(S_OK, BuildNodes(nodes.Table(), outer, c.ids, &chain));

  ASSERT_EQ(c.links.size(), nodes.made.size());
  for (size_t i = 0; i < c.links.size(); ++i) {
    const auto& made = nodes.made[i];
    EXPECT_EQ(c.links[i].type, static_cast<int>(made.type));
    EXPECT_EQ(outer, made.outer);
    const int up = c.links[i].upstream;
    EXPECT_EQ(up == kNone ? nullptr : nodes.made[static_cast<size_t>(up)].node.Get(),
              made.upstream);
    EXPECT_EQ(made.node.Get(), chain.nodes[i].Get());
  }
  EXPECT_EQ(c.links.empty() ? nullptr : nodes.made.back().node.Get(), chain.tail.Get());
  EXPECT_EQ(
      c.stabilizer == kNone ? nullptr : nodes.made[static_cast<size_t>(c.stabilizer)].node.Get(),
      chain.stabilizer.Get());
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ChainBuilder,
    testing::Values(BuildCase{"empty", {}, {}, kNone},
                    BuildCase{"playback", {0, 2, 7}, {{0, kNone}, {2, 0}, {7, 1}}, kNone},
                    BuildCase{"unknownIds", {0, 9, 3, -1, INT_MIN, 8}, {{0, kNone}, {3, 0}}, 1},
                    BuildCase{"onlyUnknown", {8, -1}, {}, kNone},
                    BuildCase{
                        "twoStabilizers", {0, 3, 4, 3}, {{0, kNone}, {3, 0}, {4, 1}, {3, 2}}, 3},
                    BuildCase{"every",
                              {0, 1, 2, 3, 4, 5, 6, 7},
                              {{0, kNone}, {1, 0}, {2, 1}, {3, 2}, {4, 3}, {5, 4}, {6, 5}, {7, 6}},
                              3}),
    [](const auto& c) { return std::string(c.param.name); });

NodeRef MakePlain(IUnknown* outer, const NodeRef& upstream) {
  return MakeNode<CSourceBase>(outer, upstream);
}

TEST(ChainBuilderTable, TypesWithoutAClassAreSkipped) {
  static constexpr NodeClass kTable[] = {{NodeType::kCrop, &MakePlain}};
  const std::vector<int32_t> ids{0, 4, 7, 4};
  BuiltChain chain;
  EXPECT_EQ(S_OK, BuildNodes(kTable, nullptr, ids, &chain));
  ASSERT_EQ(2u, chain.nodes.size());
  EXPECT_TRUE(chain.tail == chain.nodes[1]);
}

struct BuildChain : test::RenderFixture {
  IKivSourceBase* TailNode() const { return render->Tail().Get(); }
};

TEST_F(BuildChain, AnEmptyListRemovesTheTailAndKeepsTheNodes) {
  Build({0, 3});
  EXPECT_EQ(S_OK, render->BuildChain(nullptr, 0));
  EXPECT_FALSE(TailNode());
  EXPECT_EQ(S_OK, render->BuildChain(nullptr, -5));
  render->LoadNodeSettings(KivCommon::CreateProperties().Get());
  for (const auto& made : nodes.made) EXPECT_EQ(test::Calls{"Load"}, made.node->log.Calls());
}

TEST_F(BuildChain, RefusesAMissingList) {
  Build({0});
  EXPECT_EQ(E_POINTER, render->BuildChain(nullptr, 1));
  EXPECT_EQ(nodes.made[0].node.Get(), TailNode());
}

TEST_F(BuildChain, ASecondBuildStartsAfresh) {
  Build({0, 7});
  Build({0, 5});
  EXPECT_EQ(4u, nodes.made.size());
  EXPECT_EQ(nullptr, nodes.made[2].upstream);
  EXPECT_EQ(nodes.made[3].node.Get(), TailNode());
}

TEST_F(BuildChain, ANodeThatCannotBeMadeChangesNothing) {
  Build({0, 3});
  IKivSourceBase* const tail = TailNode();
  render->Seek(0, nullptr, 0);
  for (int failing = 0; failing < 3; ++failing) {
    nodes.failAfter = failing;
    EXPECT_EQ(E_OUTOFMEMORY, Build({0, 3, 7})) << failing;
    EXPECT_EQ(tail, TailNode());
  }
  nodes.failAfter = -1;
  // What the failed builds made is gone: nobody but the test holds it.
  for (size_t i = 2; i < nodes.made.size(); ++i) {
    EXPECT_EQ(1u, nodes.made[i].node->References());
  }
  nodes.made[1].node->log.Take();
  render->Seek(1, nullptr, 0);
  EXPECT_EQ(test::Calls{"Seek 1"}, nodes.made[1].node->log.Calls());
  EXPECT_EQ(S_OK, Build({0, 3, 7}));
  EXPECT_NE(tail, TailNode());
}

TEST_F(BuildChain, TheNodesAreGivenBackWithTheRender) {
  Build({0, 3});
  Build({0});
  render.Reset();
  for (const auto& made : nodes.made) EXPECT_EQ(1u, made.node->References());
}

// Answers the task identities with itself, as a stabilizer does with its task.
class TaskNode : public CSourceBase {
 public:
  using CSourceBase::CSourceBase;
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override {
    if (IsTaskIdentity(iid)) return HandOut<IKivSourceBase>(this, object);
    return CSourceBase::NonDelegatingQueryInterface(iid, object);
  }
};

NodeRef MakeTaskNode(IUnknown* outer, const NodeRef& upstream) {
  return MakeNode<TaskNode>(outer, upstream);
}

TEST(ClipRenderTask, IsAnsweredByTheLatestStabilizer) {
  static constexpr NodeClass kTable[] = {{NodeType::kSource, &MakePlain},
                                         {NodeType::kStabilizer, &MakeTaskNode}};
  const KivComPtr<CVideoClipRender> render(new CVideoClipRender(nullptr, kTable));
  const int32_t ids[] = {3, 0};
  render->BuildChain(ids, 2);
  for (const GUID& iid : {kTaskIid, kTaskableIid}) {
    KivComPtr<IUnknown> task;
    EXPECT_EQ(S_OK, render->NonDelegatingQueryInterface(iid, task.PutVoid()));
    EXPECT_TRUE(task);
    EXPECT_EQ(E_POINTER, render->NonDelegatingQueryInterface(iid, nullptr));
  }
}

}  // namespace
