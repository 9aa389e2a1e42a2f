#include "kiv/chain/ClipRenderBase.h"

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/CommandIds.h"
#include "kiv/platform/KivCommon.h"

using SimpleSync::CSimpleMutexLock;

namespace {

bool HoldsPicture(const KivComPtr<IKivFrame>& frame) {
  return KivCommon::ReadPixels(frame.Get()) != nullptr;
}

}  // namespace

CClipRenderBase::CClipRenderBase(IUnknown* outer) : CUnknown(outer) {}

HRESULT CClipRenderBase::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivRenderEx::kIid || iid == IKivRender::kIid) {
    return HandOut<IKivRenderEx>(this, object);
  }
  return CUnknown::NonDelegatingQueryInterface(iid, object);
}

HRESULT CClipRenderBase::GetFrame(KivComPtr<IKivFrame>* frame) {
  return GetFrameEx(frame, nullptr, nullptr);
}

HRESULT CClipRenderBase::GetLastFrame(KivComPtr<IKivFrame>* frame) {
  return GetLastFrameEx(frame, nullptr, nullptr);
}

HRESULT CClipRenderBase::GetFrameEx(KivComPtr<IKivFrame>* frame, KivComPtr<IUnknown> argument,
                                    KivFrameTransform transform) {
  if (!frame) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    if (const HRESULT hr = EnsureInitialized(); Failed(hr)) return hr;
    PullLocked();
    const HRESULT transformed = TransformLocked(argument, transform);
    const HRESULT answered = AnswerLocked(frame);
    return Failed(transformed) ? transformed : answered;
  });
}

HRESULT CClipRenderBase::GetLastFrameEx(KivComPtr<IKivFrame>* frame, KivComPtr<IUnknown> argument,
                                        KivFrameTransform transform) {
  if (!frame) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    if (const HRESULT hr = EnsureInitialized(); Failed(hr)) return hr;
    const HRESULT transformed = TransformLocked(argument, transform);
    const HRESULT answered = AnswerLocked(frame);
    return Failed(transformed) ? transformed : answered;
  });
}

void CClipRenderBase::PullLocked() {
  // Dropped before the pull, so that the chain can use its memory again.
  cached_.Reset();
  int32_t status = 0;
  if (tail_) cached_ = tail_->GetCurrentFrame(&status);
}

HRESULT CClipRenderBase::TransformLocked(const KivComPtr<IUnknown>& argument,
                                         const KivFrameTransform& transform) {
  if (!transform || !HoldsPicture(cached_)) return S_OK;
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    transform(cached_, argument, cached_);
    return S_OK;
  });
}

HRESULT CClipRenderBase::AnswerLocked(KivComPtr<IKivFrame>* frame) {
  *frame = cached_;
  return HoldsPicture(cached_) ? S_OK : E_FAIL;
}

HRESULT CClipRenderBase::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  CSimpleMutexLock guard(lock_);
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    HRESULT hr = EnsureInitialized();
    if (Failed(hr)) return hr;
    int32_t local = 0;
    if (tail_) hr = tail_->Seek(frame, &local, mode);
    if (reached) *reached = local;
    return hr;
  });
}

HRESULT CClipRenderBase::Skip(int32_t count, int32_t* moved) {
  CSimpleMutexLock guard(lock_);
  return AtBoundary([&]() KIV_REQUIRES(lock_) {
    HRESULT hr = EnsureInitialized();
    if (Failed(hr)) return hr;
    int32_t local = 0;
    if (tail_) hr = tail_->Skip(count, &local);
    if (moved) *moved = local;
    return hr;
  });
}

int32_t CClipRenderBase::GetPosition() {
  CSimpleMutexLock guard(lock_);
  return AtBoundaryOr(-1, [&] { return tail_ ? tail_->GetPosition(nullptr) : -1; });
}

HRESULT CClipRenderBase::Cleanup() {
  CSimpleMutexLock guard(lock_);
  cached_.Reset();
  return ProcessCommand(static_cast<uint32_t>(CommandId::EndOfUse), 0, 0);
}

HRESULT CClipRenderBase::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  CSimpleMutexLock guard(lock_);
  AtBoundary([&] { return tail_ ? tail_->ProcessCommand(id, param, extra) : S_OK; });
  return S_OK;
}
