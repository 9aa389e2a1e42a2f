#include "test/support/Frames.h"

#include "kiv/platform/KivCommon.h"
#include "test/support/Ledger.h"

namespace test {

KivComPtr<IKivFrame> MakeEmptyFrame() {
  UseLedger();
  KivComPtr<IKivFrame> frame;
  KivCommon::GetInterface(kFrameClassId, nullptr, 0, IKivFrame::kIid, frame.PutVoid());
  return frame;
}

KivComPtr<IKivFrame> MakeFrame(int32_t number, const KivSize& size) {
  KivComPtr<IKivFrame> frame = MakeEmptyFrame();
  const auto videoFrame = frame.As<IKivVideoFrame>();
  videoFrame->Allocate(size.width, size.height, 0, KivCGMemoryType::kDownstream, nullptr, 0,
                       kDefaultFrameDuration);
  frame->GetBitmap()->Fill(static_cast<uint32_t>(number));
  return frame;
}

int32_t NumberIn(const KivComPtr<IKivFrame>& frame) {
  if (!frame || !frame->GetPixels()) return -1;
  const auto* const pixels = static_cast<const uint32_t*>(frame->GetPixels());
  const KivSize size = SizeOf(frame);
  for (int64_t i = 0; i < int64_t{size.width} * size.height; ++i) {
    if (pixels[i] != pixels[0]) return -1;
  }
  return static_cast<int32_t>(pixels[0]);
}

KivSize SizeOf(const KivComPtr<IKivFrame>& frame) {
  if (!frame) return {};
  return {frame->GetBitmap()->GetWidth(), frame->GetBitmap()->GetHeight()};
}

int32_t IndexOf(const KivComPtr<IKivFrame>& frame) {
  const auto videoFrame = frame.As<IKivVideoFrame>();
  return videoFrame ? videoFrame->GetFrameIndex() : -1;
}

HRESULT PlainFrame::SetTime(int64_t presentationTime, int64_t duration) {
  return picture_->SetTime(presentationTime, duration);
}
HRESULT PlainFrame::GetTime(int64_t* presentationTime, int64_t* duration) {
  return picture_->GetTime(presentationTime, duration);
}
HRESULT PlainFrame::GetDescription(KivFrameDescription* description) {
  return picture_->GetDescription(description);
}

}  // namespace test
