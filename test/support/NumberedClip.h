// Video files whose every frame carries its own number in its pixels.
//
// Errors:   a clip that cannot be made is a std::runtime_error: the test environment is broken.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kiv/values/ValueTypes.h"

namespace kivtest {

struct ClipRecipe {
  std::string codec = "libx264";  // an encoder's name
  std::string container = "mp4";  // a file name's ending, or a muxer's name for raw streams
  std::string pixelFormat = "yuv420p";
  KivSize size{192, 112};
  KivRational rate{25, 1};
  int frames = 60;
  int gop = 12;
  int bFrames = 0;
  bool openGop = false;
  std::string audioCodec = {};  // empty: no audio
  // Added to every time. A negative one makes an edit list that hides the frames before 0.
  int64_t startMilliseconds = 0;
  // Frame i is shown at these times in milliseconds; empty: by the rate. Repeats its last step.
  std::vector<int64_t> times = {};
  int rotation = 0;  // degrees clockwise when shown
  bool mirrored = false;
  std::string movflags = {};
  // Further parameters of libx264 and libx265, "name=value:name=value".
  std::string encoderParameters = {};
  // The build that libx264 says it is; 0 leaves it the truth.
  int x264Build = 0;
  // A filter of the packets with its options, as on FFmpeg's command line.
  std::string packetFilter = {};
  // A picture with a palette has another one from this frame on; 0 has one palette.
  int newPaletteAt = 0;
  bool streamed = false;  // written as into a pipe: nothing is entered afterwards

  friend bool operator==(const ClipRecipe&, const ClipRecipe&) = default;
};

// The path of the clip, UTF-8. The same clip is made once in a process; all go when it ends.
std::string MakeClip(const ClipRecipe& recipe);
// A path in the same temporary folder.
std::string TemporaryPath(const std::string& name);
void EncodeClip(const ClipRecipe& recipe, const std::string& path);

// The number that a picture of any size carries; -1 when it carries none that can be read.
int ReadNumber(const uint8_t* bgra, int width, int height);
// Draws the picture of a number: opaque in the left half, alpha 128 in the right when asked for.
std::vector<uint8_t> DrawNumber(int number, KivSize size, bool alpha);

}  // namespace kivtest
