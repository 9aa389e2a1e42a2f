// What every user of frames does with them: asks for the size, makes a new one, and hands on the stamps
// (time, duration, index) from one to the next.
#pragma once

#include "kiv/platform/KivCommon.h"

namespace kiv {

inline KivSize SizeOf(IKivBitmap& bitmap) { return {bitmap.GetWidth(), bitmap.GetHeight()}; }
// {0, 0} when the frame holds no picture.
inline KivSize SizeOf(IKivFrame& frame) {
  IKivBitmap* const bitmap = frame.GetBitmap();
  return bitmap ? SizeOf(*bitmap) : KivSize{};
}

// A frame without a picture; null when there is no memory for it.
inline KivComPtr<IKivFrame> NewEmptyFrame() {
  KivComPtr<IKivFrame> frame;
  KivCommon::GetInterface(kFrameClassId, nullptr, 0, IKivFrame::kIid, frame.PutVoid());
  return frame;
}

// A frame with memory of its own: a copy of `pixels` (straight rows), or of unspecified content.
// A failure leaves `frame` as it was.
inline HRESULT MakeFrame(const KivSize& size, KivCGMemoryType type, KivComPtr<IKivFrame>* frame,
                         const void* pixels = nullptr) {
  auto made = NewEmptyFrame();
  if (!made) return E_OUTOFMEMORY;
  const auto video = made.As<IKivVideoFrame>();
  if (!video) return E_FAIL;
  const HRESULT hr =
      video->Allocate(size.width, size.height, 0, type, pixels, 0, kDefaultFrameDuration);
  if (Succeeded(hr)) frame->Swap(made);
  return hr;
}

// A frame that carries no index, as source or target, is passed over.
inline void CopyIndex(IKivFrame& from, IKivFrame& to) {
  const auto source = KivComPtr<IKivFrame>(&from).As<IKivVideoFrame>();
  const auto target = KivComPtr<IKivFrame>(&to).As<IKivVideoFrame>();
  if (source && target) target->SetFrameIndex(source->GetFrameIndex());
}

inline void CopyStamps(IKivFrame& from, IKivFrame& to) {
  int64_t time = 0, duration = 0;
  if (Succeeded(from.GetTime(&time, &duration))) to.SetTime(time, duration);
  CopyIndex(from, to);
}

}  // namespace kiv
