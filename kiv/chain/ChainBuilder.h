// Turns a host's list of node type ids into a linked chain.
#pragma once

#include <cstdint>
#include <new>
#include <span>
#include <vector>

#include "kiv/chain/NodeRef.h"
#include "kiv/chain/NodeTypes.h"

// One node class: `outer` is the controlling unknown, `upstream` may be null.
// A null answer means that memory ran out.
struct NodeClass {
  NodeType type;
  NodeRef (*create)(IUnknown* outer, const NodeRef& upstream);
};

using NodeTable = std::span<const NodeClass>;

// The create functions of nodes that take an upstream, and of those that are sources.
template <typename Node>
NodeRef MakeNode(IUnknown* outer, const NodeRef& upstream) {
  return NodeRef::Own(new (std::nothrow) Node(outer, upstream));
}
template <typename Node>
NodeRef MakeSource(IUnknown* outer, const NodeRef& /*upstream*/) {
  return NodeRef::Own(new (std::nothrow) Node(outer));
}

struct BuiltChain {
  std::vector<NodeRef> nodes;  // in the order they were made
  NodeRef tail;                // the last one made
  NodeRef stabilizer;          // the last one of that type
};

// Makes one node for each id that has a class, with the node before it as upstream.
// Errors:   E_OUTOFMEMORY when a node cannot be made; `chain` is then untouched. May throw.
HRESULT BuildNodes(NodeTable table, IUnknown* outer, std::span<const int32_t> ids,
                   BuiltChain* chain);
