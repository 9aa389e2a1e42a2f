// Every option of every command, in one table.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace cli {

enum CommandBits : unsigned {
  kRenderBit = 1,
  kFrameBit = 2,
  kInfoBit = 4,
  kSheetBit = 8,
  kStabilizeBit = 32,
  kKeyframesBit = 64,
  kVerifyBit = 128,
  kRegisterBit = 256,
  kUnregisterBit = 512,
  kChainBits = kRenderBit | kFrameBit | kSheetBit | kVerifyBit,
  kSpanBits = kRenderBit | kSheetBit | kVerifyBit,
  kProgressBits = kSpanBits | kStabilizeBit,
  kEveryBit = ~0u,
};

// Option values as they were typed; empty when the option is not there.
struct OptionTexts {
  std::string output, at, frames, size, decodeScale, proxy, settings, saveSettings, chain;
  std::string reverseRange, memory;
  std::string speed, fps, interpolation;
  std::string format, codec, quality, progress, report;
  std::string stabilize, level;
  std::string crop, cropKeyframes, plot;
  std::string alphaColour, alphaGradient, alphaImage, alphaFullHd, alphaDuration, alphaPause;
  std::string alphaLoop, alphaLength, over;
  std::string verbose;
  bool json = false, noProxy = false, reverse = false, noReverse = false, quiet = false;
  bool alphaPreset = false;
};

enum class Presence { kOptional, kRequired };

struct OptionRow {
  const char* names;  // as CLI11 takes them
  unsigned commands;
  Presence presence;
  const char* valueName;
  const char* help;
  std::string OptionTexts::*text;  // null for a flag
  bool OptionTexts::*flag;
  const char* standIn = nullptr;  // not null: the value may be left out, and is this one then
  bool isKept = false;            // saved with the clip's settings, by its first name
};

std::span<const OptionRow> OptionTable();

struct CommandRow {
  std::string_view name;
  unsigned bit;
  bool takesInput;
  const char* help;
  const char* example;
};

std::span<const CommandRow> CommandTable();

}  // namespace cli
