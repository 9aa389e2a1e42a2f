// Keeps which part of the picture a clip shows, fixed or changing over the frames.
//
// Touches no pixels: the host asks for the region and for the size that it has in the source's
// pixels, and cuts. Without keyframes the region is the whole picture.
//
// Units:    regions in fractions of the source's picture, {0, 0, 1, 1} is the whole; the cropped size
//           in pixels, not rounded; frame index int32, -1 = none.
// Owns:     its upstream reference and the keyframes, which it shares with the hosts that asked.
// Threads:  one caller at a time; the keyframes may be edited from any thread meanwhile.
// Errors:   E_POINTER for a null record, E_OUTOFMEMORY; an upstream failure is returned unchanged.
#pragma once

#include <cstdint>

#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"
#include "kiv/keyframes/KeyFrameParam.h"

class CVideoCrop : public CSourceBase {
 public:
  CVideoCrop(IUnknown* outer, NodeRef upstream);

  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT SaveSettings(IKivProperties* bag) override;
  // A bag without a keyframe document leaves the keyframes as they are.
  HRESULT LoadSettings(IKivProperties* bag) override;

 private:
  HRESULT OnSetRenderRange(const CommandArgs& args);
  HRESULT OnGetKeyFrameParam(const CommandArgs& args);
  HRESULT OnSetRegion(const CommandArgs& args);
  HRESULT OnGetRegion(const CommandArgs& args);
  HRESULT OnSetEnabled(const CommandArgs& args);
  HRESULT OnGetEnabled(const CommandArgs& args);
  HRESULT OnGetCroppedSize(const CommandArgs& args);

  void AskSourceSize();
  // Brings region and cropped size to the position. False without keyframes.
  bool UpdateRegion();
  void MoveKeyFrame(int32_t position, int32_t index);

  KivRectF region_{0, 0, 1, 1};
  KivSize sourceSize_;
  KivSizeF croppedSize_;
  int32_t evaluatedFrame_;
  int32_t enabled_ = 0;
  KivComPtr<CKivKeyFrameParam> keyFrames_;
};
