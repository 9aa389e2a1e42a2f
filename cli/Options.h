// What a command line asks for, checked as far as that goes without opening the input.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/write/Writer.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/ValueTypes.h"

namespace host {

enum class Command {
  kRender,
  kInfo,
  kFrame,
  kSheet,
  kStabilize,
  kKeyframes,
  kVerify,
  kRegister,
  kUnregister
};
enum class ProgressForm { kAutomatic, kNone, kBar, kJson };

// Both included; without an end it runs to the last frame.
struct FrameSpan {
  int32_t first = 0;
  std::optional<int32_t> last;
};

// What slow motion shows between source frames.
enum class Interpolation { kFlow, kOff };

// Steadies the clip; without a level, at the one that its settings hold. Level 0 turns it off.
struct StabilizeOption {
  std::optional<int32_t> level;
};

// Colours 0xRRGGBB, degrees.
struct GradientFill {
  int32_t first = 0, second = 0;
  double angle = 0;
};

// What makes a clip a preset alpha video; times in seconds.
struct AlphaOptions {
  bool preset = false;
  std::optional<int32_t> colour;
  std::optional<GradientFill> gradient;
  std::string image;
  std::string fullHd;
  std::optional<double> duration, pause, length;
  std::optional<int32_t> loop;
  std::string over;

  // The option that makes no sense without a preset; null when there is none.
  const char* FirstGiven() const;
};

// How the clip's chain is built and set up.
struct ChainOptions {
  std::vector<int32_t> nodes;  // NodeType ids from the source on; empty: what the rest needs
  std::optional<KivSize> size;
  std::optional<KivRational> decodeScale;
  std::optional<KivRational> speed;
  std::optional<KivRational> frameRate;
  Interpolation interpolation = Interpolation::kFlow;
  std::string proxy;
  bool noProxy = false;
  bool reverse = false;
  bool noReverse = false;
  std::optional<FrameSpan> reverseRange;  // frames of the clip
  std::string settings;
  std::string saveSettings;
  std::optional<int64_t> memory;  // bytes for decoded pictures
  std::optional<StabilizeOption> stabilize;
  std::optional<KivRectF> crop;  // fractions of the picture
  std::string cropKeyframes;
  AlphaOptions alpha;
  // What the settings keep of the command line: key and text.
  std::vector<std::pair<std::wstring, std::string>> kept;
};

struct Options {
  Command command = Command::kInfo;
  std::string input;
  std::string output;
  kiv::OutputPlan plan;
  ChainOptions chain;
  FrameSpan frames;
  int32_t at = 0;
  std::string plot;                // keyframes, stabilize
  std::optional<int32_t> atFrame;  // keyframes
  bool json = false;
  ProgressForm progress = ProgressForm::kAutomatic;
  std::string report;
  bool quiet = false;
  std::optional<LogLevel> logLevel;
};

}  // namespace host
