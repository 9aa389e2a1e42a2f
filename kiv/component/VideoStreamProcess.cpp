#include "kiv/component/VideoStreamProcess.h"

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/TaskIdentities.h"
#include "kiv/component/NodeTable.h"
#include "kiv/platform/Media.h"

namespace {

bool IsRenderIdentity(const GUID& iid) {
  return iid == IKivRenderEx::kIid || iid == IKivRender::kIid || iid == IKivRenderSettings::kIid;
}

// Numbers travel in the parameter itself, widened with their sign.
uintptr_t Widen(int32_t number) { return static_cast<uintptr_t>(intptr_t{number}); }

}  // namespace

CKivVideoStreamProcess::CKivVideoStreamProcess(IUnknown* outer, NodeTable table)
    : CUnknown(outer), render_(static_cast<IKivVideoStreamProcessInternal*>(this), table) {}

HRESULT CKivVideoStreamProcess::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivSourceBase::kIid || IsTaskIdentity(iid) || IsRenderIdentity(iid)) {
    return render_.NonDelegatingQueryInterface(iid, object);
  }
  if (iid == IKivVideoStreamProcessInternal::kIid || iid == IKivVideoStreamProcess::kIid) {
    return HandOut<IKivVideoStreamProcessInternal>(this, object);
  }
  return CUnknown::NonDelegatingQueryInterface(iid, object);
}

HRESULT CKivVideoStreamProcess::SendRecord(CommandId id, const void* record) {
  if (!record) return S_OK;
  return render_.ProcessCommand(static_cast<uint32_t>(id), reinterpret_cast<uintptr_t>(record), 0);
}

HRESULT CKivVideoStreamProcess::SendNumber(CommandId id, int32_t number) {
  return render_.ProcessCommand(static_cast<uint32_t>(id), Widen(number), 0);
}

HRESULT CKivVideoStreamProcess::GetAlphaVideoSettings(AlphaVideoSettings* settings) {
  return SendRecord(CommandId::GetAlphaVideoSettings, settings);
}

HRESULT CKivVideoStreamProcess::SetAlphaVideoSettings(const AlphaVideoSettings* settings) {
  return SendRecord(CommandId::SetAlphaVideoSettings, settings);
}

HRESULT CKivVideoStreamProcess::GetStabilizerEnabled(int32_t* enabled) {
  return SendRecord(CommandId::GetStabilizerEnabled, enabled);
}

HRESULT CKivVideoStreamProcess::SetStabilizerEnabled(int32_t enabled) {
  return SendNumber(CommandId::SetStabilizerEnabled, enabled);
}

HRESULT CKivVideoStreamProcess::GetStabilizerLevel(int32_t* level) {
  return SendRecord(CommandId::GetStabilizerLevel, level);
}

HRESULT CKivVideoStreamProcess::SetStabilizerLevel(int32_t level) {
  return SendNumber(CommandId::SetStabilizerLevel, level);
}

HRESULT CKivVideoStreamProcess::GetStabExtendControl(IKivStabExtendControl** control) {
  return SendRecord(CommandId::GetStabExtendControl, control);
}

HRESULT CKivVideoStreamProcess::GetCropKeyFrameParam(IKivKeyFrameParam** param) {
  return SendRecord(CommandId::GetCropKeyFrameParam, param);
}

HRESULT CKivVideoStreamProcess::GetCropRegion(KivRectF* region) {
  return SendRecord(CommandId::GetCropRegion, region);
}

HRESULT CKivVideoStreamProcess::SetCropRegion(const KivRectF* region) {
  return SendRecord(CommandId::SetCropRegion, region);
}

HRESULT CKivVideoStreamProcess::GetCropEnabled(int32_t* enabled) {
  return SendRecord(CommandId::GetCropEnabled, enabled);
}

HRESULT CKivVideoStreamProcess::SetCropEnabled(int32_t enabled) {
  return SendNumber(CommandId::SetCropEnabled, enabled);
}

HRESULT CKivVideoStreamProcess::SetProxyPath(const wchar_t* path) {
  return SendRecord(CommandId::SetProxyPath, path);
}

HRESULT CKivVideoStreamProcess::GetProxyPath(wchar_t* buffer, int32_t capacity) {
  if (!buffer) return S_OK;
  return render_.ProcessCommand(static_cast<uint32_t>(CommandId::GetProxyPath),
                                reinterpret_cast<uintptr_t>(buffer), Widen(capacity));
}

HRESULT CKivVideoStreamProcess::SetProxyEnabled(int32_t enabled) {
  return SendNumber(CommandId::SetProxyEnabled, enabled);
}

HRESULT CKivVideoStreamProcess::GetProxyEnabled(int32_t* enabled) {
  return SendRecord(CommandId::GetProxyEnabled, enabled);
}

HRESULT CKivVideoStreamProcess::BuildChain(const int32_t* ids, int32_t count) {
  return render_.BuildChain(ids, count);
}

HRESULT CKivVideoStreamProcess::SaveSettings(IKivProperties* bag) {
  return render_.SaveNodeSettings(bag);
}

HRESULT CKivVideoStreamProcess::LoadSettings(IKivProperties* bag) {
  return render_.LoadNodeSettings(bag);
}

HRESULT CKivVideoStreamProcess::SetDecoder(IUnknown* decoder) {
  if (const auto decoderSize = KivComPtr<IUnknown>(decoder).As<IKivDecoderSize>()) {
    KivSize size;
    decoderSize->GetSourceSize(&size);
    SendRecord(CommandId::SetOutputSize, &size);
  }
  return render_.ProcessCommand(static_cast<uint32_t>(CommandId::SetDecoder),
                                reinterpret_cast<uintptr_t>(decoder), 0);
}

HRESULT CKivVideoStreamProcess::GetTailNode(KivComPtr<IKivSourceBase>* tail) {
  if (!tail) return E_POINTER;
  *tail = render_.Tail().ForHost();
  return S_OK;
}

HRESULT CKivVideoStreamProcess::SetSourceFrameRate(const KivRational* rate) {
  return SendRecord(CommandId::SetSourceFrameRate, rate);
}

HRESULT CKivVideoStreamProcess::SetRenderFrameRate(const KivRational* rate) {
  return SendRecord(CommandId::SetRenderFrameRate, rate);
}

HRESULT CKivVideoStreamProcess::GetSpeedSettings(SpeedSettings* settings) {
  return SendRecord(CommandId::GetSpeedSettings, settings);
}

HRESULT CKivVideoStreamProcess::SetSpeedSettings(const SpeedSettings* settings) {
  return SendRecord(CommandId::SetSpeedSettings, settings);
}

HRESULT CKivVideoStreamProcess::GetStabilizerSettings(StabSettings* settings) {
  return SendRecord(CommandId::GetStabilizerSettings, settings);
}

HRESULT CKivVideoStreamProcess::SetStabilizerSettings(const StabSettings* settings) {
  return SendRecord(CommandId::SetStabilizerSettings, settings);
}

HRESULT CKivVideoStreamProcess::SetCacheRange(const KivRange* range) {
  return SendRecord(CommandId::SetCacheRange, range);
}

HRESULT CKivVideoStreamProcess::SetRenderRange(const KivRange* range) {
  return SendRecord(CommandId::SetRenderRange, range);
}

HRESULT CKivVideoStreamProcess::SetAlphaVideoImageFill(int32_t fill) {
  return SendNumber(CommandId::SetAlphaImageFill, fill);
}

HRESULT CKivVideoStreamProcess::SetDecodeScale(const KivRational* scale) {
  return SendRecord(CommandId::SetDecodeScale, scale);
}

HRESULT CKivVideoStreamProcess::GetCroppedSize(KivSizeF* size) {
  return SendRecord(CommandId::GetCroppedSize, size);
}

HRESULT CKivVideoStreamProcess::SetOutputSize(const KivSize* size) {
  return SendRecord(CommandId::SetOutputSize, size);
}

HRESULT CKivVideoStreamProcess::GetScaledSize(KivSize* size) {
  return SendRecord(CommandId::GetScaledSize, size);
}

scombase::CUnknown* CreateVideoStreamProcess(IUnknown* outer, HRESULT* result) {
  scombase::CUnknown* object = nullptr;
  *result = AtBoundary([&] {
    object = new CKivVideoStreamProcess(outer, ComponentNodes());
    // The creation reference; the caller gives it back.
    object->NonDelegatingAddRef();
    return S_OK;
  });
  return object;
}
