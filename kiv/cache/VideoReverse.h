// The reverse node of a clip's video: node type 6.
#pragma once

#include "kiv/cache/Reverser.h"

// Units:    as CReverser.
// Owns:     nothing.
// Threads:  as CReverser.
// Errors:   none.
class CVideoReverse : public CReverser {
 public:
  CVideoReverse(IUnknown* outer, NodeRef upstream);

  // The total is the video stream's frame count, 0 when it is not known, at the render rate. It stays
  // when the clip render initializes by itself, which does not know it.
  void ReadSourceInfo(IKivProperties* settings, IKivProperties* info) override;
};
