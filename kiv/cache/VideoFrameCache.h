// The frame cache of a clip's video: node type 2.
#pragma once

#include "kiv/cache/FrameCache.h"

// Units:    sizes in pixels.
// Owns:     nothing of its own; makes the frames that CFrameCache keeps and hands out.
// Threads:  as CFrameCache; GetSpareFrame is called by the worker.
// Locks:    mapLock_ of CFrameCache.
// Errors:   frames that cannot be made are null or E_FAIL.
class CVideoFrameCache : public CFrameCache {
 public:
  CVideoFrameCache(IUnknown* outer, NodeRef upstream);
  ~CVideoFrameCache() override;

  void GetSpareFrame(KivComPtr<IKivFrame>* spare, IKivFrame* source) override;
  HRESULT CopyToOutput(IKivFrame* source) override KIV_REQUIRES(mapLock_);
  // Takes the number of the video stream's frames as the end of what may be read ahead.
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
};
