#include "session/Frames.h"

#include "kiv/platform/KivCommon.h"
#include "session/Fail.h"

namespace kiv::session {

KivSize SizeOf(IKivFrame& frame) {
  IKivBitmap* const bitmap = frame.GetBitmap();
  return {bitmap->GetWidth(), bitmap->GetHeight()};
}

KivComPtr<IKivFrame> CopyOf(IKivFrame& frame) {
  KivComPtr<IKivFrame> copy;
  KivCommon::GetInterface(kFrameClassId, nullptr, 0, IKivFrame::kIid, copy.PutVoid());
  if (!copy || Failed(copy->CopyFrom(&frame))) {
    Fail(ErrorCode::kNoMemory, "no memory for a frame");
  };
  return copy;
}

KivComPtr<IKivFrame> Straight(const KivComPtr<IKivFrame>& frame) {
  KivFrameDescription description;
  frame->GetDescription(&description);
  return description.pixelLayout == KivPixelLayout::kPadded ? CopyOf(*frame) : frame;
}

}  // namespace kiv::session
