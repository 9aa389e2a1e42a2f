// Frames that show which one they are: every pixel is the frame's number.
#pragma once

#include <algorithm>
#include <cstdint>

#include "kiv/platform/Frame.h"
#include "kiv/platform/KivCommon.h"
#include "test/support/Ledger.h"

namespace test {

// Answers every query and holds no picture.
inline KivComPtr<IKivFrame> MakeEmptyFrame() {
  KivComPtr<IKivFrame> frame;
  KivCommon::GetInterface(kFrameClassId, nullptr, 0, IKivFrame::kIid, frame.PutVoid());
  return frame;
}

inline KivComPtr<IKivFrame> MakeFrame(int32_t number, const KivSize& size = {4, 2}) {
  KivComPtr<IKivFrame> frame = MakeEmptyFrame();
  frame.As<IKivVideoFrame>()->Allocate(size.width, size.height, 0, KivCGMemoryType::kDownstream,
                                       nullptr, 0, kDefaultFrameDuration);
  frame->GetBitmap()->Fill(static_cast<uint32_t>(number));
  return frame;
}

inline KivSize SizeOf(const KivComPtr<IKivFrame>& frame) {
  if (!frame) return {};
  return {frame->GetBitmap()->GetWidth(), frame->GetBitmap()->GetHeight()};
}

// The number in a frame's pixels; -1 without a picture or when the pixels differ.
inline int32_t NumberIn(const KivComPtr<IKivFrame>& frame) {
  if (!frame || !frame->GetPixels()) return -1;
  const auto* const pixels = static_cast<const uint32_t*>(frame->GetPixels());
  const auto* const end = pixels + int64_t{SizeOf(frame).width} * SizeOf(frame).height;
  const bool same = std::all_of(pixels, end, [=](uint32_t pixel) { return pixel == *pixels; });
  return same ? static_cast<int32_t>(*pixels) : -1;
}

inline int32_t IndexOf(const KivComPtr<IKivFrame>& frame) {
  const auto videoFrame = frame.As<IKivVideoFrame>();
  return videoFrame ? videoFrame->GetFrameIndex() : -1;
}

}  // namespace test
