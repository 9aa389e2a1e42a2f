// Who keeps whom alive: the host the facade, the facade its nodes.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kiv/chain/IKivRender.h"
#include "kiv/chain/SourceBase.h"
#include "kiv/chain/TaskIdentities.h"
#include "test/component/FacadeFixture.h"
#include "test/support/FakeDecoder.h"
#include "test/support/Frames.h"

namespace {

using test::Calls;
using test::CountOf;

// What ended, in order.
Calls ended;

class LoggedNode : public CSourceBase {
 public:
  LoggedNode(IUnknown* outer, NodeRef upstream, std::string name)
      : CSourceBase(outer, std::move(upstream)), name_(std::move(name)) {}
  ~LoggedNode() override {
    // A node's parts may touch the owner while it ends.
    KivComPtr<IKivSourceBase> itself(this);
    ended.push_back(name_);
  }
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override {
    if (IsTaskIdentity(iid)) return HandOut<IKivSourceBase>(this, object);
    return CSourceBase::NonDelegatingQueryInterface(iid, object);
  }
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t*) override { return test::MakeFrame(1); }

 private:
  std::string name_;
};

template <NodeType kType>
NodeRef MakeLogged(IUnknown* outer, const NodeRef& upstream) {
  static const char* const kNames[] = {"source", "alpha", "cache",   "stabilizer",
                                       "crop",   "rate",  "reverse", "speed"};
  return NodeRef::Own(new LoggedNode(outer, upstream, kNames[static_cast<int32_t>(kType)]));
}

constexpr NodeClass kLoggedNodes[] = {
#define KIV_LOGGED_ROW(id, name, className) {NodeType::k##name, &MakeLogged<NodeType::k##name>},
    KIV_NODE_TYPES(KIV_LOGGED_ROW)
#undef KIV_LOGGED_ROW
};

class LoggedFacade : public CKivVideoStreamProcess {
 public:
  explicit LoggedFacade(IUnknown* outer) : CKivVideoStreamProcess(outer, kLoggedNodes) {}
  ~LoggedFacade() override { ended.push_back("facade"); }
};

struct Ownership : testing::Test {
  void SetUp() override { ended.clear(); }
  KivComPtr<IKivVideoStreamProcessInternal> facade{new LoggedFacade(nullptr)};
};

TEST_F(Ownership, BuildingTakesNoReferenceOnTheFacade) {
  EXPECT_EQ(1u, CountOf(facade.Get()));
  test::Build(*facade, {0, 1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(1u, CountOf(facade.Get()));
}

TEST_F(Ownership, TheLastReleaseEndsFacadeThenNodesFromTheTail) {
  test::Build(*facade, {0, 2, 3, 7});
  facade.Reset();
  EXPECT_EQ((Calls{"facade", "speed", "stabilizer", "cache", "source"}), ended);
}

TEST_F(Ownership, NodesOfEarlierBuildsLiveAsLongAsTheFacade) {
  test::Build(*facade, {0, 3});
  test::Build(*facade, {2, 0});
  facade->BuildChain(nullptr, 0);
  EXPECT_EQ(Calls{}, ended);
  facade.Reset();
  EXPECT_EQ("facade", ended.front());
  EXPECT_EQ(5u, ended.size());
}

struct HostReference {
  const char* name;
  KivComPtr<IUnknown> (*take)(IKivVideoStreamProcessInternal& facade);
};

template <typename Interface>
KivComPtr<IUnknown> Take(IKivVideoStreamProcessInternal& facade) {
  // The interface itself, as an IUnknown: its own counting slots are used.
  return KivComPtr<IUnknown>(
      KivComPtr<IKivVideoStreamProcessInternal>(&facade).As<Interface>().Get());
}

struct OwnershipOf : Ownership, testing::WithParamInterface<HostReference> {};

TEST_P(OwnershipOf, CountsOnTheFacadeAndOutlivesTheOthers) {
  test::Build(*facade, {0, 3});
  KivComPtr<IUnknown> taken = GetParam().take(*facade);
  ASSERT_TRUE(taken);
  EXPECT_EQ(2u, CountOf(facade.Get()));
  EXPECT_EQ(2u, CountOf(taken.Get()));
  facade.Reset();
  EXPECT_EQ(Calls{}, ended);
  KivComPtr<IKivVideoStreamProcessInternal> back = taken.As<IKivVideoStreamProcessInternal>();
  EXPECT_TRUE(back);
  back.Reset();
  taken.Reset();
  EXPECT_EQ((Calls{"facade", "stabilizer", "source"}), ended);
}

INSTANTIATE_TEST_SUITE_P(Interfaces, OwnershipOf,
                         testing::Values(HostReference{"facade", &Take<IKivVideoStreamProcess>},
                                         HostReference{"unknown", &Take<IUnknown>},
                                         HostReference{"render", &Take<IKivRenderEx>},
                                         HostReference{"settings", &Take<IKivRenderSettings>},
                                         HostReference{"tail",
                                                       [](IKivVideoStreamProcessInternal& f) {
                                                         KivComPtr<IKivSourceBase> tail;
                                                         f.GetTailNode(&tail);
                                                         return KivComPtr<IUnknown>(tail.Get());
                                                       }},
                                         HostReference{"task",
                                                       [](IKivVideoStreamProcessInternal& f) {
                                                         KivComPtr<IUnknown> task;
                                                         f.QueryInterface(kTaskIid, task.PutVoid());
                                                         return task;
                                                       }}),
                         [](const auto& c) { return std::string(c.param.name); });

TEST_F(Ownership, AFramePulledOutlivesTheFacade) {
  test::Build(*facade, {0});
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(S_OK, facade.As<IKivRenderEx>()->GetFrame(&frame));
  facade.Reset();
  EXPECT_EQ((Calls{"facade", "source"}), ended);
  EXPECT_EQ(1, test::NumberIn(frame));
}

TEST_F(Ownership, AnOuterObjectCountsForAContainedFacade) {
  const auto outer = test::FakeNode::Make();
  auto* const inner = new LoggedFacade(outer.Get());
  inner->NonDelegatingAddRef();
  test::Build(*inner, {0});
  EXPECT_EQ(1u, outer->References());
  KivComPtr<IKivSourceBase> tail;
  inner->GetTailNode(&tail);
  EXPECT_EQ(2u, outer->References());
  EXPECT_EQ(outer.Get(), tail.As<IKivSourceBase>().Get());
  tail.Reset();
  inner->NonDelegatingRelease();
  EXPECT_EQ((Calls{"facade", "source"}), ended);
}

TEST(OwnershipOfFakes, ForeignNodesAreCountedOrdinarilyAndGivenBack) {
  test::FakeNodes nodes;
  KivComPtr<IKivVideoStreamProcessInternal> facade(
      new CKivVideoStreamProcess(nullptr, nodes.Table()));
  test::Build(*facade, {0, 3});
  // Node list, tail and stabilizer, beside the test's own.
  EXPECT_EQ(2u, nodes.made[0].node->References());
  EXPECT_EQ(4u, nodes.made[1].node->References());
  facade.Reset();
  for (const auto& made : nodes.made) EXPECT_EQ(1u, made.node->References());
}

}  // namespace
