// What a render did and how long it took, as JSON.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/Media.h"

namespace host {

// Seconds on the thread that spent them: pulling and writing overlap.
struct RenderReport {
  int32_t frames = 0;
  KivSize size;
  KivRational frameRate;
  std::string inBetweenFrames;
  double wallSeconds = 0;
  double decoderSeconds = 0;  // inside the decoder
  double pullSeconds = 0;     // inside the whole chain, the decoder included
  double writeSeconds = 0;
  int32_t unreadPictures = 0;
  int32_t soundStreams = 0;
  int32_t soundCopied = 0;
  std::string soundLeftOut;  // why not all of them
  KivDecoderStats decoder;
};

std::string ReportText(const RenderReport& report);

}  // namespace host
