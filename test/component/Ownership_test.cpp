// Who keeps whom alive: the host the facade, the facade its nodes.
#include "kiv/chain/SourceBase.h"
#include "kiv/chain/TaskIdentities.h"
#include "test/component/FacadeFixture.h"

namespace {

using test::Build;
using test::Calls;
using Facade = IKivVideoStreamProcessInternal;

// What ended, in order.
Calls ended;

// Answers the task identities with itself, as a stabilizer does with its task.
template <int kType>
class LoggedNode : public CSourceBase {
 public:
  using CSourceBase::CSourceBase;
  ~LoggedNode() override {
    // A node's parts may touch the owner while it ends.
    KivComPtr<IKivSourceBase> itself(this);
    ended.push_back(std::to_string(kType));
  }
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override {
    if (IsTaskIdentity(iid)) return HandOut<IKivSourceBase>(this, object);
    return CSourceBase::NonDelegatingQueryInterface(iid, object);
  }
};

constexpr NodeClass kLoggedNodes[] = {{NodeType::kSource, &MakeNode<LoggedNode<0>>},
                                      {NodeType::kFrameCache, &MakeNode<LoggedNode<2>>},
                                      {NodeType::kStabilizer, &MakeNode<LoggedNode<3>>}};

class LoggedFacade : public CKivVideoStreamProcess {
 public:
  explicit LoggedFacade(IUnknown* outer) : CKivVideoStreamProcess(outer, kLoggedNodes) {}
  ~LoggedFacade() override { ended.push_back("facade"); }
};

uint32_t CountOf(IUnknown* object) { return object->AddRef(), object->Release(); }

struct Ownership : testing::Test {
  void SetUp() override { ended.clear(); }
  test::FacadePtr facade{new LoggedFacade(nullptr)};
};

TEST_F(Ownership, NodesOfAllBuildsTakeNoReferenceAndLiveAsLongAsTheFacade) {
  Build(*facade, {0, 2, 3});
  Build(*facade, {2, 0});
  facade->BuildChain(nullptr, 0);
  EXPECT_EQ(1u, CountOf(facade.Get()));
  EXPECT_EQ(Calls{}, ended);
  facade.Reset();
  EXPECT_EQ("facade", ended.front());
  EXPECT_EQ(6u, ended.size());
}

TEST_F(Ownership, EveryInterfaceCountsOnTheFacadeAndOutlivesTheOthers) {
  for (const GUID& iid : {IKivVideoStreamProcess::kIid, IUnknown::kIid, IKivRenderEx::kIid,
                          IKivRenderSettings::kIid, IKivSourceBase::kIid, kTaskIid, kTaskableIid}) {
    facade = test::FacadePtr(new LoggedFacade(nullptr));
    ended.clear();
    Build(*facade, {0, 2, 3});
    KivComPtr<IUnknown> taken;
    KivComPtr<IKivSourceBase> tail;
    if (iid == IKivSourceBase::kIid) {
      facade->GetTailNode(&tail);
      taken = KivComPtr<IUnknown>(tail.Get());
      tail.Reset();
    } else {
      facade->QueryInterface(iid, taken.PutVoid());
    }
    ASSERT_TRUE(taken);
    EXPECT_EQ(2u, CountOf(facade.Get()));
    EXPECT_EQ(2u, CountOf(taken.Get()));
    facade.Reset();
    EXPECT_EQ(Calls{}, ended);
    EXPECT_TRUE(taken.As<Facade>());
    taken.Reset();
    EXPECT_EQ((Calls{"facade", "3", "2", "0"}), ended);
  }
}

TEST_F(Ownership, AnOuterObjectCountsForAContainedFacade) {
  const auto outer = test::FakeNode::Make();
  auto* const inner = new LoggedFacade(outer.Get());
  inner->NonDelegatingAddRef();
  Build(*inner, {0});
  EXPECT_EQ(1u, outer->References());
  KivComPtr<IKivSourceBase> tail;
  inner->GetTailNode(&tail);
  EXPECT_EQ(2u, outer->References());
  EXPECT_EQ(outer.Get(), tail.As<IKivSourceBase>().Get());
  tail.Reset();
  inner->NonDelegatingRelease();
  EXPECT_EQ((Calls{"facade", "0"}), ended);
}

}  // namespace
