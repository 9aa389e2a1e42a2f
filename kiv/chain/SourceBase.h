// The base of every node: keeps a position and hands each call to the upstream node.
#pragma once

#include <cstdint>

#include "kiv/chain/IKivSourceBase.h"
#include "kiv/chain/NodeRef.h"
#include "kiv/chain/NodeUpkeep.h"
#include "kiv/object/ObjectBase.h"

// What every slot does unless a node replaces it.
//
// Units:    frame index int32, -1 = none; time int64 in 100 ns.
// Owns:     its upstream reference, fixed at construction. Inside a facade that reference counts on
//           the upstream node alone, see NodeRef.
// Threads:  one caller at a time; has no lock.
// Errors:   creates none; an upstream failure is returned unchanged and leaves the position where
//           it was.
class CSourceBase : public scombase::CUnknown, public IKivSourceBase, public NodeUpkeep {
 public:
  CSourceBase(IUnknown* outer, NodeRef upstream);

  KIV_DELEGATE_UNKNOWN
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  // The upstream's answer; a node without one answers its own position, -1 as 0, and time 0.
  int32_t GetPosition(int64_t* time) override;
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  // The position moves by `count`, whatever the upstream reports as moved, and below 0 as well: what
  // is upstream counts on there.
  HRESULT Skip(int32_t count, int32_t* moved) override;
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
  HRESULT SaveSettings(IKivProperties* bag) override;
  HRESULT LoadSettings(IKivProperties* bag) override;

  void FinishReading() override {}
  void Forget() override {}
  void SetInitializer(Initializer who) override { initializer_ = who; }
  const InitialBags& HostBags() const override { return hostBags_; }

 protected:
  // Whether a present call of Initialize does.
  bool IsFromClipRender() const { return initializer_ == Initializer::kClipRender; }
  // Moves the position by `count`.
  void AdvancePosition(int32_t count);

  int32_t position_ = -1;
  // Position -1 means no position only until the first move; then it is the one before the first.
  bool moved_ = false;
  const NodeRef upstream_;

 private:
  InitialBags hostBags_;
  Initializer initializer_ = Initializer::kHost;
};
