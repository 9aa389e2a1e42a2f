#include "session/FrameSpans.h"

#include "session/Fail.h"

namespace kiv::session {

KivRange ResolveRange(const FrameSpan& span, const char* option, const char* whole,
                      int32_t frameCount) {
  const int32_t last = span.last.value_or(frameCount - 1);
  if (span.last && *span.last < span.first) {
    FailUsage("{} {}:{}: the first frame is above the last", option, span.first, *span.last);
  }
  if (span.first < 0 || span.first >= frameCount || last >= frameCount) {
    Fail(ErrorCode::kOutOfRange, "{} goes beyond the {}, which has the frames 0 to {}", option,
         whole, frameCount - 1);
  }
  return {span.first, last};
}

KivRange ResolveFrames(const FrameSpan& span, const char* option, int32_t frameCount) {
  return ResolveRange(span, option, "result", frameCount);
}

}  // namespace kiv::session
