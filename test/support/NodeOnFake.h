// A node over a fake source, and the way to send it commands.
#pragma once

#include <cstdint>

#include "kiv/chain/CommandIds.h"
#include "kiv/chain/IKivSourceBase.h"
#include "test/support/FakeNode.h"

namespace test {

// The node has no outer object: it counts in the ordinary way and ends with this.
template <typename Node>
struct NodeOnFake {
  KivComPtr<FakeNode> source = FakeNode::Make();
  KivComPtr<Node> node{new Node(nullptr, source)};
};

// A record or an object.
template <typename T>
HRESULT Send(IKivSourceBase& node, CommandId id, T* record, int32_t extra = 0) {
  return node.ProcessCommand(static_cast<uint32_t>(id), reinterpret_cast<uintptr_t>(record),
                             static_cast<uintptr_t>(intptr_t{extra}));
}

// A number, widened with its sign.
inline HRESULT Send(IKivSourceBase& node, CommandId id, int32_t number) {
  return node.ProcessCommand(static_cast<uint32_t>(id), static_cast<uintptr_t>(intptr_t{number}),
                             0);
}

inline HRESULT Send(IKivSourceBase& node, CommandId id) { return Send(node, id, 0); }

}  // namespace test
