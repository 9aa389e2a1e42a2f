// What a render did and how long it took, as JSON.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/platform/Media.h"

namespace host {

struct NodeSeconds {
  std::string_view node;  // as --chain names it
  double seconds = 0;
};

// Seconds on the thread that spent them: pulling and writing overlap.
struct RenderReport {
  int32_t frames = 0;
  KivSize size;
  KivRational frameRate;
  std::string inBetweenFrames;
  double wallSeconds = 0;
  // Of each node of the chain, from the source on; without the nodes before it.
  std::vector<NodeSeconds> nodes;
  double decoderSeconds = 0;  // the source's, as far as it was inside the decoder
  double pullSeconds = 0;     // inside the whole chain and what finishes its pictures
  double writeSeconds = 0;
  int64_t unreadPictures = 0;
  int32_t soundStreams = 0;
  int32_t soundCopied = 0;
  std::string soundLeftOut;  // why not all of them
  KivDecoderStats decoder;
};

std::string ReportText(const RenderReport& report);

}  // namespace host
