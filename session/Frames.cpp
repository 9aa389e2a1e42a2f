#include "session/Frames.h"

#include "session/Fail.h"

namespace kiv::session {

KivComPtr<IKivFrame> CopyOf(IKivFrame& frame) {
  auto copy = NewEmptyFrame();
  if (!copy || Failed(copy->CopyFrom(&frame))) {
    Fail(ErrorCode::kNoMemory, "no memory for a frame");
  }
  return copy;
}

KivComPtr<IKivFrame> Straight(const KivComPtr<IKivFrame>& frame) {
  KivFrameDescription description;
  frame->GetDescription(&description);
  return description.pixelLayout == KivPixelLayout::kPadded ? CopyOf(*frame) : frame;
}

}  // namespace kiv::session
