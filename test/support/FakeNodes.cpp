#include "test/support/FakeNodes.h"

namespace test {
namespace {

FakeNodes* current = nullptr;

template <NodeType kType>
NodeRef MakeFake(IUnknown* outer, const NodeRef& upstream) {
  if (current->failAfter == 0) return nullptr;
  if (current->failAfter > 0) --current->failAfter;
  current->made.push_back({kType, outer, upstream.Get(), FakeNode::Make()});
  return NodeRef(current->made.back().node);
}

constexpr NodeClass kFakes[] = {
#define KIV_FAKE_ROW(id, name, className) {NodeType::k##name, &MakeFake<NodeType::k##name>},
    KIV_NODE_TYPES(KIV_FAKE_ROW)
#undef KIV_FAKE_ROW
};

}  // namespace

FakeNodes::FakeNodes() { current = this; }
FakeNodes::~FakeNodes() { current = nullptr; }
NodeTable FakeNodes::Table() const { return kFakes; }

}  // namespace test
