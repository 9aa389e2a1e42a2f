#include "host/InputChecks.h"

#include <filesystem>

#include "host/HostError.h"

namespace host {

KivRange ResolveRange(const FrameSpan& span, const char* option, const char* whole,
                      int32_t frameCount) {
  const int32_t last = span.last.value_or(frameCount - 1);
  if (span.first >= frameCount || last >= frameCount) {
    FailUsage("{} goes beyond the {}, which has the frames 0 to {}", option, whole, frameCount - 1);
  }
  return {span.first, last};
}

KivRange ResolveFrames(const FrameSpan& span, const char* option, int32_t frameCount) {
  return ResolveRange(span, option, "result", frameCount);
}

void RefuseWritingOverTheInput(const Options& options) {
  std::error_code ignored;
  if (std::filesystem::equivalent(options.input, options.output, ignored)) {
    FailUsage("the output '{}' is the input itself: give another name", options.output);
  }
}

}  // namespace host
