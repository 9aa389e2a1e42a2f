// The clip render of one clip: builds its chain, owns its nodes, initializes them when needed.
#pragma once

#include <cstdint>
#include <vector>

#include "kiv/chain/ChainBuilder.h"
#include "kiv/chain/ClipRenderBase.h"

// Owns:     every node it ever built, in creation order, the tail and the last stabilizer. The
//           nodes have the render interface as their owner, so a host's reference to a node counts
//           on the facade, while the references held here count on the nodes (see NodeRef) and end
//           with this object: stabilizer, list, cached frame, tail.
// Threads:  render operations and settings from any thread; BuildChain, SaveNodeSettings and
//           LoadNodeSettings must not run at the same time.
// Errors:   a failed initialization is reported by the operation that caused it, once. A build that
//           cannot make a node gives E_OUTOFMEMORY and leaves everything as it was.
class CVideoClipRender : public CClipRenderBase, public IKivRenderSettings {
 public:
  // `table` outlives the object.
  CVideoClipRender(IUnknown* outer, NodeTable table);

  KIV_DELEGATE_UNKNOWN
  // Also answers the task identities once there is a stabilizer.
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  HRESULT SaveNodeSettings(IKivProperties* bag) override;
  HRESULT LoadNodeSettings(IKivProperties* bag) override;
  HRESULT EnsureInitialized() override KIV_REQUIRES(lock_);

  HRESULT Cleanup() override;

  HRESULT SetRenderFrameRate(const KivRational* rate) override;
  HRESULT SetRenderSize(const KivSize* size) override;
  HRESULT SetCustomSourceFrameRate(const KivRational* rate) override;

  // A build never continues an earlier chain: that one gives up what it holds, decoder and threads
  // included. The new chain takes the bags that a host initialized the earlier one with, and is
  // initialized before its first use.
  HRESULT BuildChain(const int32_t* ids, int32_t count);

 private:
  void FillSettingsLocked(IKivProperties* settings) KIV_REQUIRES(lock_);

  const NodeTable table_;
  // Changed while a chain is built, which hosts keep apart from frame traffic; else under lock_.
  bool initialized_ = false;
  KivRational renderFrameRate_ KIV_GUARDED_BY(lock_){0, 1};
  KivSize renderSize_ KIV_GUARDED_BY(lock_){960, 540};
  KivRational customSourceFrameRate_ KIV_GUARDED_BY(lock_){0, 1};
  std::vector<NodeRef> nodes_;
  NodeRef stabilizer_;
  // What the host initialized an earlier chain with. Changed as nodes_ is.
  InitialBags hostBags_;
};
