// The decoding source: sizes, proxy and placeholder frames on top of the streamer.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/StreamCommon/Streamer.h"

// Never lets a chain run dry: without a decoded frame it hands out the missing-media picture or a
// transparent frame of the clip's size, stamped with the current index and time.
//
// Units:    sizes in pixels; the scaled size is output size times decode scale, rounded.
// Owns:     the placeholder: one frame, restamped at each use. It survives a new output size and
//           goes with a flush, and with a new decode scale while there is a decoder.
// Threads:  any, as CStreamer.
// Locks:    lock_ of CStreamer, held for the whole of each operation; the process's missing-media
//           lock comes after it.
// Errors:   status E_FAIL without a decoder, 1 when it failed. Null only when memory runs out for
//           a transparent frame, too; the caller's status is then untouched.
class CVideoStreamer : public CStreamer {
 public:
  explicit CVideoStreamer(IUnknown* outer);

  // Tells a new decoder proxy path, proxy switch, scaled size and direction, in this order.
  HRESULT SetDecoder(IKivMediaDecoder* decoder) override;

  HRESULT Skip(int32_t count, int32_t* moved) override;
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  // Lets the decoder know in time when the clip is set to play backwards.
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
  // Path and switch of the proxy. Loading does not tell the decoder; the next SetDecoder does.
  HRESULT SaveSettings(IKivProperties* bag) override;
  HRESULT LoadSettings(IKivProperties* bag) override;

 private:
  HRESULT OnSetSourceFrameRate(const CommandArgs& args);
  HRESULT OnSetSpeedSettings(const CommandArgs& args);
  HRESULT OnSetProxyPath(const CommandArgs& args);
  HRESULT OnGetProxyPath(const CommandArgs& args);
  HRESULT OnSetProxyEnabled(const CommandArgs& args);
  HRESULT OnGetProxyEnabled(const CommandArgs& args);
  HRESULT OnGetScaledSize(const CommandArgs& args);
  HRESULT OnSetOutputSize(const CommandArgs& args);
  HRESULT OnSetDecodeScale(const CommandArgs& args);

  KivSize ScaledSizeLocked() const KIV_REQUIRES(lock_);
  void TellDecoderSizeLocked() KIV_REQUIRES(lock_);
  void TellDecoderDirectionLocked() KIV_REQUIRES(lock_);
  KivComPtr<IKivFrame> PlaceholderLocked() KIV_REQUIRES(lock_);
  KivComPtr<IKivFrame> MissingMediaFrameLocked() KIV_REQUIRES(lock_);
  KivComPtr<IKivFrame> TransparentFrameLocked() KIV_REQUIRES(lock_);

  KivSize outputSize_ KIV_GUARDED_BY(lock_){1280, 720};
  // Told with the next frame: a size that comes with another decoder does not apply to this one.
  bool sizeIsNew_ KIV_GUARDED_BY(lock_) = false;
  KivRational decodeScale_ KIV_GUARDED_BY(lock_){1, 1};
  bool proxyEnabled_ KIV_GUARDED_BY(lock_) = false;
  std::wstring proxyPath_ KIV_GUARDED_BY(lock_);
  bool backwards_ KIV_GUARDED_BY(lock_) = false;
  KivComPtr<IKivFrame> placeholder_ KIV_GUARDED_BY(lock_);
};
