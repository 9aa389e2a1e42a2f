// Frames and filters as the filter tests need them.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {

using Pixels = std::vector<uint32_t>;

inline KivComPtr<IKivCGFilter> NewResizeFilter() {
  wchar_t bare[64] = {};
  KivCommon::Guid::RemoveBraces(KivKey::Filter::kFilterGUID_Resize, bare, 64);
  KivComPtr<IKivCGFilter> filter;
  KivCommon::GetCGFilterManager()->CreateFilter(KivCommon::GetCGDevice().Get(), bare, &filter);
  return filter;
}

inline KivComPtr<IKivFrame> FrameOf(int32_t width, int32_t height, const Pixels& pixels = {}) {
  KivComPtr<IKivFrame> frame;
  KivCommon::CreateBGRAFrameFrom(frame, KivSize{width, height}, KivCGMemoryType::kDownstream);
  if (!pixels.empty()) std::memcpy(frame->GetPixels(), pixels.data(), pixels.size() * 4);
  return frame;
}

inline Pixels PixelsOf(const KivComPtr<IKivFrame>& frame) {
  const auto* const pixels = static_cast<const uint32_t*>(frame->GetPixels());
  return {pixels, pixels + frame->GetBitmap()->GetWidth() * frame->GetBitmap()->GetHeight()};
}

}  // namespace kiv
