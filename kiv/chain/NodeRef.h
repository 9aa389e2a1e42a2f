// A reference to a node from inside the facade that the node belongs to.
//
// Nodes are contained in their facade, so a reference taken through a node's interface keeps the
// whole facade alive. That is right for a host and wrong for the references that hold the chain
// together (node list, tail, stabilizer, upstream): with them the facade could never end. A NodeRef
// made by `Own` therefore counts on the node itself. Only the chain builder, which makes the nodes,
// uses `Own`; everybody else copies what the builder handed in.
//
// A node from elsewhere, such as a test's fake, is held by a NodeRef made from its KivComPtr and
// counts in the ordinary way.
//
// Owns:     one reference, given back the way it was taken.
// Threads:  one caller at a time for each NodeRef; counts may change on any thread.
// Errors:   E_NOINTERFACE for an interface that the node does not have.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "kiv/chain/IKivSourceBase.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/chain/NodeUpkeep.h"
#include "kiv/object/ObjectBase.h"
#include "kiv/platform/NodeTimes.h"

// One call of a node: `ref->Seek(...)` makes one for as long as it takes, so that the call's time can
// be told from that of the calls around it.
class NodeCall {
 public:
  NodeCall(IKivSourceBase* node, int32_t type)
      : node_(node),
        measured_(kivNodesAreMeasured.load(std::memory_order_relaxed) && KivEnterNode(type)) {}
  ~NodeCall() {
    if (measured_) KivLeaveNode();
  }
  NodeCall(const NodeCall&) = delete;
  NodeCall& operator=(const NodeCall&) = delete;
  IKivSourceBase* operator->() const { return node_; }

 private:
  IKivSourceBase* const node_;
  const bool measured_;
};

class NodeRef {
 public:
  NodeRef() = default;
  NodeRef(std::nullptr_t) {}  // NOLINT: a null reference reads as null at call sites
  template <typename Node>
  requires std::is_base_of_v<IKivSourceBase, Node> NodeRef(const KivComPtr<Node>& node)
      : node_(node.Get()) {  // NOLINT: a foreign node as upstream
    Take();
  }
  // `Node` is a CSourceBase class; null gives a null reference.
  template <typename Node>
  static NodeRef Own(Node* node) {
    NodeRef ref;
    ref.node_ = node;
    ref.own_ = node;
    ref.upkeep_ = node;
    ref.Take();
    return ref;
  }
  NodeRef(const NodeRef& other)
      : node_(other.node_), own_(other.own_), upkeep_(other.upkeep_), type_(other.type_) {
    Take();
  }
  NodeRef(NodeRef&& other) noexcept
      : node_(std::exchange(other.node_, nullptr)),
        own_(std::exchange(other.own_, nullptr)),
        upkeep_(std::exchange(other.upkeep_, nullptr)),
        type_(other.type_) {}
  ~NodeRef() { Drop(); }
  // Swaps first and releases last: ending a node may run code that comes back here.
  NodeRef& operator=(NodeRef other) noexcept {
    std::swap(node_, other.node_);
    std::swap(own_, other.own_);
    std::swap(upkeep_, other.upkeep_);
    std::swap(type_, other.type_);
    return *this;
  }
  // As what its calls are counted; a reference that was never told is not counted.
  void CountAs(NodeType type) { type_ = static_cast<int32_t>(type); }

  IKivSourceBase* Get() const { return node_; }
  // Null for a foreign node.
  NodeUpkeep* Upkeep() const { return upkeep_; }
  NodeCall operator->() const { return {node_, type_}; }
  explicit operator bool() const { return node_ != nullptr; }
  friend bool operator==(const NodeRef& a, const NodeRef& b) { return a.node_ == b.node_; }

  // A reference as a host takes it, counted on the facade.
  KivComPtr<IKivSourceBase> ForHost() const { return KivComPtr<IKivSourceBase>(node_); }

  // Asks the node itself, past its owner.
  HRESULT QueryNode(const GUID& iid, void** object) const {
    if (own_) return own_->NonDelegatingQueryInterface(iid, object);
    return node_->QueryInterface(iid, object);
  }

 private:
  void Take() {
    if (own_) {
      own_->NonDelegatingAddRef();
    } else if (node_) {
      node_->AddRef();
    }
  }
  void Drop() {
    if (own_) {
      own_->NonDelegatingRelease();
    } else if (node_) {
      node_->Release();
    }
  }

  IKivSourceBase* node_ = nullptr;
  scombase::INonDelegatingUnknown* own_ = nullptr;
  NodeUpkeep* upkeep_ = nullptr;
  int32_t type_ = -1;
};
