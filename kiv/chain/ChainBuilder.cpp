#include "kiv/chain/ChainBuilder.h"

#include <algorithm>
#include <utility>

namespace {

const NodeClass* FindClass(NodeTable table, int32_t id) {
  const auto found = std::find_if(table.begin(), table.end(), [id](const NodeClass& row) {
    return static_cast<int32_t>(row.type) == id;
  });
  return found == table.end() ? nullptr : &*found;
}

}  // namespace

HRESULT BuildNodes(NodeTable table, IUnknown* outer, std::span<const int32_t> ids,
                   BuiltChain* chain) {
  BuiltChain built;
  for (const int32_t id : ids) {
    const NodeClass* nodeClass = FindClass(table, id);
    if (!nodeClass) continue;
    NodeRef node = nodeClass->create(outer, built.tail);
    if (!node) return E_OUTOFMEMORY;
    node.CountAs(nodeClass->type);
    built.tail = node;
    if (nodeClass->type == NodeType::kStabilizer) built.stabilizer = node;
    built.nodes.push_back(std::move(node));
  }
  *chain = std::move(built);
  return S_OK;
}
