// Each node lists the commands it knows as rows; Dispatch runs the right one.
//
// Threads:  as the node: one caller at a time.
// Errors:   the handler's or, for a command that is forwarded or unknown, the upstream's.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kiv/chain/CommandIds.h"
#include "kiv/chain/SourceBase.h"
#include "kiv/values/ResultCodes.h"

// A command's parameter and extra value, read the way the sender meant them.
class CommandArgs {
 public:
  CommandArgs(uintptr_t param, uintptr_t extra) : param_(param), extra_(extra) {}

  // The record or object that the sender points to. May be null: hosts send what they like.
  template <typename T>
  T* As() const {
    return reinterpret_cast<T*>(param_);  // NOLINT: this is what the slot carries
  }
  // The answer to a command that sets one value.
  template <typename T>
  HRESULT CopyTo(T* value) const {
    const auto* const sent = As<const T>();
    if (!sent) return E_POINTER;
    *value = *sent;
    return S_OK;
  }
  // The number that the parameter itself carries.
  int32_t Integer() const { return static_cast<int32_t>(param_); }
  intptr_t Extra() const { return static_cast<intptr_t>(extra_); }

 private:
  uintptr_t param_;
  uintptr_t extra_;
};

enum class Route {
  kStop,     // the handler's result is the answer
  kForward,  // the upstream's result is the answer; it is asked even when the handler failed
};

template <typename Node>
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): rows read id, handler, route
struct CommandRow {
  CommandId id;
  HRESULT (Node::*handler)(const CommandArgs&);
  Route route;
};

// `Base` is the class that the node derives from: it gets the ids that no row names.
template <typename Base = CSourceBase, typename Node, size_t kCount>
HRESULT Dispatch(Node& node, const CommandRow<Node> (&rows)[kCount], uint32_t id, uintptr_t param,
                 uintptr_t extra) {
  for (const CommandRow<Node>& row : rows) {
    if (static_cast<uint32_t>(row.id) != id) continue;
    const HRESULT hr = (node.*row.handler)(CommandArgs(param, extra));
    if (row.route == Route::kStop) return hr;
    return node.CSourceBase::ProcessCommand(id, param, extra);
  }
  return node.Base::ProcessCommand(id, param, extra);
}
