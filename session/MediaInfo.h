// The description of a clip's file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/Api.h"
#include "session/ClipOptions.h"
#include "session/Values.h"

namespace kiv::session {

// The first video stream of a file. Durations in 100 ns.
struct MediaInfo {
  std::string container, codec;
  Size size;       // as shown, rotation applied
  Size codedSize;  // as stored
  Rational sampleAspect{1, 1};
  int32_t rotation = 0;  // degrees clockwise applied when shown: 0, 90, 180, 270
  Rational frameRate;    // nominal for constant rates, average for variable ones
  bool hasConstantRate = false;
  int32_t frameCount = 0;
  int64_t duration = 0;
  std::string colourMatrix;  // "bt601", "bt709", "bt2020", "rgb"
  std::string colourRange;   // "limited", "full"
  std::string pixelFormat;
  int32_t bitDepth = 8;
  bool hasAlpha = false;
  int32_t audioStreams = 0;
  std::vector<int32_t> keyFrames;  // frames that can be decoded without another one
};

// Errors:   SessionError naming the file and the reason.
KIV_SESSION_API MediaInfo ReadMediaInfo(const std::string& path, const NoteFunction& onNote = {},
                                        const ProgressFunction& onOpening = {});

}  // namespace kiv::session
