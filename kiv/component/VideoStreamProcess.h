// The facade: the one object a host makes for each clip.
#pragma once

#include <cstdint>

#include "kiv/chain/VideoClipRender.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/object/ObjectBase.h"

// Turns the host's calls into commands for the chain.
//
// Owns:     the clip render, embedded, and through it the nodes. Its own count is exactly what the
//           host took and gave back through any interface of facade, render or nodes; the last
//           release ends facade, clip render and nodes, in this order.
// Threads:  adds no lock; see the interface.
// Errors:   command slots give S_OK; a null record pointer is not sent on.
class CKivVideoStreamProcess : public scombase::CUnknown, public IKivVideoStreamProcessInternal {
 public:
  // `table` outlives the object.
  CKivVideoStreamProcess(IUnknown* outer, NodeTable table);

  KIV_DELEGATE_UNKNOWN
  // Passes the render, node and task identities to the clip render.
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  HRESULT GetAlphaVideoSettings(AlphaVideoSettings* settings) override;
  HRESULT SetAlphaVideoSettings(const AlphaVideoSettings* settings) override;
  HRESULT GetStabilizerEnabled(int32_t* enabled) override;
  HRESULT SetStabilizerEnabled(int32_t enabled) override;
  HRESULT GetStabilizerLevel(int32_t* level) override;
  HRESULT SetStabilizerLevel(int32_t level) override;
  HRESULT GetStabExtendControl(IKivStabExtendControl** control) override;
  HRESULT GetCropKeyFrameParam(IKivKeyFrameParam** param) override;
  HRESULT GetCropRegion(KivRectF* region) override;
  HRESULT SetCropRegion(const KivRectF* region) override;
  HRESULT GetCropEnabled(int32_t* enabled) override;
  HRESULT SetCropEnabled(int32_t enabled) override;
  HRESULT SetProxyPath(const wchar_t* path) override;
  HRESULT GetProxyPath(wchar_t* buffer, int32_t capacity) override;
  HRESULT SetProxyEnabled(int32_t enabled) override;
  HRESULT GetProxyEnabled(int32_t* enabled) override;
  HRESULT BuildChain(const int32_t* ids, int32_t count) override;
  HRESULT SaveSettings(IKivProperties* bag) override;
  HRESULT LoadSettings(IKivProperties* bag) override;
  HRESULT SetDecoder(IUnknown* decoder) override;
  HRESULT GetTailNode(KivComPtr<IKivSourceBase>* tail) override;
  HRESULT SetSourceFrameRate(const KivRational* rate) override;
  HRESULT SetRenderFrameRate(const KivRational* rate) override;
  HRESULT GetSpeedSettings(SpeedSettings* settings) override;
  HRESULT SetSpeedSettings(const SpeedSettings* settings) override;
  HRESULT GetStabilizerSettings(StabSettings* settings) override;
  HRESULT SetStabilizerSettings(const StabSettings* settings) override;
  HRESULT SetCacheRange(const KivRange* range) override;
  HRESULT SetRenderRange(const KivRange* range) override;
  HRESULT SetAlphaVideoImageFill(int32_t fill) override;
  HRESULT SetDecodeScale(const KivRational* scale) override;
  HRESULT GetCroppedSize(KivSizeF* size) override;
  HRESULT SetOutputSize(const KivSize* size) override;
  HRESULT GetScaledSize(KivSize* size) override;

 private:
  HRESULT SendRecord(CommandId id, const void* record);
  HRESULT SendNumber(CommandId id, int32_t number);

  CVideoClipRender render_;
};

// The class table's create function: the new object with one reference, or null with E_OUTOFMEMORY
// in `result`.
scombase::CUnknown* CreateVideoStreamProcess(IUnknown* outer, HRESULT* result);
