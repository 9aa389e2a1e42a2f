// The facade's interface: one object per clip, the host's whole programming interface.
//
// Owns:     the clip's chain. References taken through any of its interfaces count on the facade.
// Threads:  commands may come from any thread; BuildChain, SaveSettings, LoadSettings and GetTailNode
//           must not run while frames are pulled.
// Errors:   command slots always give S_OK; a host recognises an unhandled getter by an out value
//           that it preset and that stays unchanged. Null record pointers are ignored.
#pragma once

#include <cstdint>

#include "kiv/chain/CommandIds.h"
#include "kiv/chain/IKivSourceBase.h"

struct AlphaVideoSettings;
struct StabSettings;
struct IKivStabExtendControl;
struct IKivKeyFrameParam;

struct KIV_EXPORT IKivVideoStreamProcess : IUnknown {
  static constexpr GUID kIid{
      0x6328E8A4, 0x9777, 0x4FB6, {0x81, 0xA9, 0x52, 0xB5, 0x41, 0xCA, 0x3E, 0x5D}};
};

struct KIV_EXPORT IKivVideoStreamProcessInternal : IKivVideoStreamProcess {
  static constexpr GUID kIid{
      0x7E764BF3, 0x001F, 0x4713, {0x9D, 0x3C, 0xE9, 0x22, 0x2C, 0x6B, 0x60, 0x41}};

  virtual HRESULT GetAlphaVideoSettings(AlphaVideoSettings* settings) = 0;  // slot 3
  virtual HRESULT SetAlphaVideoSettings(const AlphaVideoSettings* settings) = 0;
  virtual HRESULT GetStabilizerEnabled(int32_t* enabled) = 0;
  virtual HRESULT SetStabilizerEnabled(int32_t enabled) = 0;
  virtual HRESULT GetStabilizerLevel(int32_t* level) = 0;
  virtual HRESULT SetStabilizerLevel(int32_t level) = 0;
  virtual HRESULT GetStabExtendControl(IKivStabExtendControl** control) = 0;  // slot 9
  virtual HRESULT GetCropKeyFrameParam(IKivKeyFrameParam** param) = 0;
  virtual HRESULT GetCropRegion(KivRectF* region) = 0;
  virtual HRESULT SetCropRegion(const KivRectF* region) = 0;
  virtual HRESULT GetCropEnabled(int32_t* enabled) = 0;
  virtual HRESULT SetCropEnabled(int32_t enabled) = 0;
  virtual HRESULT SetProxyPath(const wchar_t* path) = 0;  // slot 15
  virtual HRESULT GetProxyPath(wchar_t* buffer, int32_t capacity) = 0;
  virtual HRESULT SetProxyEnabled(int32_t enabled) = 0;
  virtual HRESULT GetProxyEnabled(int32_t* enabled) = 0;
  // Each node's upstream is the one before it; the last becomes the tail. Ids without a class are
  // skipped.
  virtual HRESULT BuildChain(const int32_t* ids, int32_t count) = 0;  // slot 19
  virtual HRESULT SaveSettings(IKivProperties* bag) = 0;
  virtual HRESULT LoadSettings(IKivProperties* bag) = 0;
  // Null detaches. The source takes the decoder's source size as its output size first.
  virtual HRESULT SetDecoder(IUnknown* decoder) = 0;
  // The slot holds null or a reference on entry.
  virtual HRESULT GetTailNode(KivComPtr<IKivSourceBase>* tail) = 0;
  virtual HRESULT SetSourceFrameRate(const KivRational* rate) = 0;  // slot 24
  virtual HRESULT SetRenderFrameRate(const KivRational* rate) = 0;
  virtual HRESULT GetSpeedSettings(SpeedSettings* settings) = 0;
  virtual HRESULT SetSpeedSettings(const SpeedSettings* settings) = 0;
  virtual HRESULT GetStabilizerSettings(StabSettings* settings) = 0;
  virtual HRESULT SetStabilizerSettings(const StabSettings* settings) = 0;
  virtual HRESULT SetCacheRange(const KivRange* range) = 0;  // slot 30
  virtual HRESULT SetRenderRange(const KivRange* range) = 0;
  virtual HRESULT SetAlphaVideoImageFill(int32_t fill) = 0;
  virtual HRESULT SetDecodeScale(const KivRational* scale) = 0;
  virtual HRESULT GetCroppedSize(KivSizeF* size) = 0;
  virtual HRESULT SetOutputSize(const KivSize* size) = 0;
  virtual HRESULT GetScaledSize(KivSize* size) = 0;  // slot 36
};
