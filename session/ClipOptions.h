// How a clip is shown.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "session/Api.h"
#include "session/Progress.h"
#include "session/Values.h"

namespace kiv::session {

// What slow motion shows between source frames: frames generated from the motion, or the frame before
// again.
enum class Interpolation { kFlow, kOff };

// Steadies the clip; without a level, at the one that its settings hold. Level 0 turns it off.
struct StabilizeOption {
  std::optional<int32_t> level;
};

// Colours are 0xRRGGBB; the angle is in degrees clockwise, 0 from left to right.
struct GradientFill {
  int32_t first = 0, second = 0;
  double angle = 0;
};

// What makes a clip a preset alpha video: a shape that fills a result of any length. Times in seconds,
// files by their paths.
struct AlphaOptions {
  bool preset = false;
  std::optional<int32_t> colour;
  std::optional<GradientFill> gradient;
  std::string image;
  std::string fullHd;
  std::optional<double> duration, pause, length;
  std::optional<int32_t> loop;
  std::string over;  // the clip that the shape is laid over

  // The first option that is set and needs a preset, as kivclip spells it; null: none.
  KIV_SESSION_API const char* FirstGiven() const;
};

// Called with one line for the user, on the thread that does the work.
using NoteFunction = std::function<void(const std::string&)>;

// A field that is not set takes its value from the clip's settings or, if they have none, leaves the
// clip as it is. Values are checked when the clip is opened.
struct ClipOptions {
  std::vector<std::string> chain;  // names of nodes from the source on; empty: what the rest needs
  std::optional<Size> size;        // of the source's pictures
  std::optional<Rational> decodeScale;  // of that size
  std::optional<Rational> speed;        // below 1 is slow motion
  std::optional<Rational> frameRate;    // of the result
  Interpolation interpolation = Interpolation::kFlow;
  std::string proxy;  // pictures come from this file instead
  bool noProxy = false;
  bool reverse = false;
  bool noReverse = false;                 // turns a stored reverse off
  std::optional<FrameSpan> reverseRange;  // frames of the clip
  std::string settings;                   // a settings file that is read before
  std::optional<int64_t> memory;          // bytes for decoded pictures, of the whole process
  std::optional<StabilizeOption> stabilize;
  std::optional<Region> crop;
  std::string cropKeyframes;  // a keyframe document
  AlphaOptions alpha;
  // Measures the time spent in each node, for reports; from then on, in all clips.
  bool measureNodes = false;
  // What the settings keep beside what the chain's nodes save: key and text.
  std::vector<std::pair<std::string, std::string>> kept;
  NoteFunction onNote;         // may be empty
  ProgressFunction onOpening;  // called for files that take long to open
};

}  // namespace kiv::session
