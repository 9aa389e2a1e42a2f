// Writes frames into files and streams.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "session/Api.h"
#include "session/Values.h"

namespace kiv::session {

// Where frames go, and as what.
struct ExportPlan {
  // A file by its ending, a pattern with one %d that ends in .png or
  // .jpg, "-" (standard output) or "null".
  std::string output;
  std::string format;              // empty: by the name's ending
  std::string codec;               // empty: the format's first
  std::optional<int32_t> quality;  // 0 (smallest) to 100 (best)
  FrameSpan frames{};              // of the result
  // What --frames is called in messages.
  const char* framesOption = "--frames";
};

enum class OutputForm {
  kNothing,   // "null": frames are made and discarded
  kVideo,     // encoded into a container
  kPicture,   // one file
  kPictures,  // numbered files
  kStream,    // raw pictures one after the other
};
// What a plan makes; touches no file. kInvalidArgument for names, formats, codecs and qualities that
// are unknown or do not fit each other.
KIV_SESSION_API OutputForm FormOf(const ExportPlan& plan);

// Whether a numbered picture of `pattern` may get the file name `name`.
KIV_SESSION_API bool MayBePicture(const std::string& pattern, const std::string& name);

// What was done and what it took. Seconds on the thread that spent them: pulling and writing overlap.
// Pictures and seeks are the clip's since it was opened.
struct ExportReport {
  int32_t frames = 0;
  Size size;
  Rational frameRate;
  std::string inBetweenFrames;  // "not needed", "flow", "off" or "no module"
  double wallSeconds = 0;       // from the opening of the clip on
  // Of each node of the chain, from the source on, without the nodes before it: as
  // ClipOptions::chain names it, summed up over the process. All 0 without ClipOptions::measureNodes.
  std::vector<std::pair<std::string, double>> nodeSeconds;
  double decoderSeconds = 0;  // the source's, as far as it was inside the decoder
  double pullSeconds = 0;     // inside the whole chain and what finishes its pictures
  double writeSeconds = 0;

  int64_t picturesDecoded = 0;
  int64_t picturesConverted = 0;
  int64_t picturesLost = 0;  // could not be decoded and were replaced
  int64_t picturesPassedOver = 0;
  int64_t picturesFromMemory = 0;
  int64_t seeks = 0;
  int64_t cacheBytesNow = 0;
  int64_t cacheBytesAtMost = 0;

  int32_t soundStreams = 0;
  int32_t soundCopied = 0;
  std::string soundLeftOut;  // why not all of them

  KIV_SESSION_API std::string ToJson() const;
};

}  // namespace kiv::session
