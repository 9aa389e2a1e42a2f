// The render interface over a tail node.
#pragma once

#include <cstdint>

#include "kiv/base/Locks.h"
#include "kiv/chain/IKivRender.h"
#include "kiv/chain/NodeRef.h"
#include "kiv/object/ObjectBase.h"

// Pulls frames out of the tail node and keeps the last one. Does no frame arithmetic: an index
// reaches the tail as it was given.
//
// Units:    frame index int32 in the tail's output; -1 is no position.
// Owns:     the tail and the frame pulled last.
// Threads:  any; lock_ is held for the whole of each render operation.
// Locks:    lock_ comes first, before the nodes' locks; the chain, and a caller's transform, are
//           called with it held.
// Errors:   no exception leaves; a null out frame gives E_POINTER.
class CClipRenderBase : public scombase::CUnknown, public IKivRenderEx {
 public:
  explicit CClipRenderBase(IUnknown* outer);

  // The object's own operations, not reached through an interface.
  virtual HRESULT SaveNodeSettings(IKivProperties* bag) = 0;
  virtual HRESULT LoadNodeSettings(IKivProperties* bag) = 0;
  // Called with lock_ held, before each render operation.
  virtual HRESULT EnsureInitialized() KIV_REQUIRES(lock_) = 0;

  KIV_DELEGATE_UNKNOWN
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  HRESULT GetFrame(KivComPtr<IKivFrame>* frame) override;
  HRESULT GetLastFrame(KivComPtr<IKivFrame>* frame) override;
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  int32_t GetPosition() override;
  HRESULT Cleanup() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT GetFrameEx(KivComPtr<IKivFrame>* frame, KivComPtr<IUnknown> argument,
                     KivFrameTransform transform) override;
  HRESULT GetLastFrameEx(KivComPtr<IKivFrame>* frame, KivComPtr<IUnknown> argument,
                         KivFrameTransform transform) override;

  const NodeRef& Tail() const { return tail_; }

 protected:
  // Changed while a chain is built only, which hosts keep apart from frame traffic.
  NodeRef tail_;
  SimpleSync::CSimpleMutex lock_;

 private:
  void PullLocked() KIV_REQUIRES(lock_);
  HRESULT TransformLocked(const KivComPtr<IUnknown>& argument, const KivFrameTransform& transform)
      KIV_REQUIRES(lock_);
  // Puts the cached frame into `frame`; E_FAIL when it is missing or holds no picture.
  HRESULT AnswerLocked(KivComPtr<IKivFrame>* frame) KIV_REQUIRES(lock_);

  KivComPtr<IKivFrame> cached_ KIV_GUARDED_BY(lock_);
};
