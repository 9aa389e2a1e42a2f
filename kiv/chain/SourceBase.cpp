#include "kiv/chain/SourceBase.h"

#include <algorithm>
#include <utility>

#include "kiv/values/Saturate.h"

CSourceBase::CSourceBase(IUnknown* outer, NodeRef upstream)
    : CUnknown(outer), upstream_(std::move(upstream)) {}

HRESULT CSourceBase::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivSourceBase::kIid) return HandOut<IKivSourceBase>(this, object);
  return CUnknown::NonDelegatingQueryInterface(iid, object);
}

int32_t CSourceBase::GetPosition(int64_t* time) {
  if (upstream_) return upstream_->GetPosition(time);
  if (time) *time = 0;
  return std::max(position_, 0);
}

HRESULT CSourceBase::Seek(int32_t frame, int32_t* reached, int32_t mode) {
  if (upstream_) {
    const HRESULT hr = upstream_->Seek(frame, reached, mode);
    if (Failed(hr)) return hr;
    position_ = frame;
    moved_ = true;
    return hr;
  }
  position_ = frame;
  if (reached) *reached = frame;
  return S_OK;
}

HRESULT CSourceBase::Skip(int32_t count, int32_t* moved) {
  if (!moved_ || !upstream_) position_ = std::max(position_, 0);
  if (upstream_) {
    const HRESULT hr = upstream_->Skip(count, moved);
    if (Succeeded(hr)) AdvancePosition(count);
    return hr;
  }
  AdvancePosition(count);
  if (moved) *moved = count;
  return S_OK;
}

void CSourceBase::AdvancePosition(int32_t count) {
  position_ = kiv::ClampToInt32(int64_t{position_} + count);
  moved_ = true;
}

KivComPtr<IKivFrame> CSourceBase::GetCurrentFrame(int32_t* status) {
  if (!upstream_) return nullptr;
  return upstream_->GetCurrentFrame(status);
}

HRESULT CSourceBase::Flush() { return upstream_ ? upstream_->Flush() : S_OK; }

HRESULT CSourceBase::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  return upstream_ ? upstream_->ProcessCommand(id, param, extra) : S_OK;
}

HRESULT CSourceBase::Initialize(KivComPtr<IKivProperties> settings,
                                KivComPtr<IKivProperties> info) {
  if (settings && !IsFromClipRender()) hostBags_ = {settings, info};
  return upstream_ ? upstream_->Initialize(std::move(settings), std::move(info)) : S_OK;
}

HRESULT CSourceBase::SaveSettings(IKivProperties* /*bag*/) { return S_OK; }

HRESULT CSourceBase::LoadSettings(IKivProperties* /*bag*/) { return S_OK; }
