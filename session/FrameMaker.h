// Makes the frames that hosts get of those that a chain gives. Not installed.
//
// Owns:     the frame made holds a reference to the chain's frame.
// Threads:  any.
// Errors:   creates none.
#pragma once

#include "kiv/platform/Frame.h"
#include "session/Frame.h"

namespace kiv::session {

struct FramePlace {
  int32_t index = 0;
  int32_t sourceFrame = -1;
  int64_t time = 0, sourceTime = 0;
};

class FrameMaker {
 public:
  // `frame` has straight rows and is written by nobody any more.
  static Frame Make(const KivComPtr<IKivFrame>& frame, const FramePlace& place);
};

}  // namespace kiv::session
