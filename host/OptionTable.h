// Every option of every command, in one table.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace host {

enum CommandBits : unsigned {
  kRenderBit = 1,
  kFrameBit = 2,
  kInfoBit = 4,
  kSheetBit = 8,
  kStabilizeBit = 32,
  kKeyframesBit = 64,
  kChainBits = kRenderBit | kFrameBit | kSheetBit,
  kSpanBits = kRenderBit | kSheetBit,
  kProgressBits = kSpanBits | kStabilizeBit,
};

// Option values as they were typed; empty when the option is not there.
struct OptionTexts {
  std::string output, at, frames, size, decodeScale, proxy, settings, saveSettings, chain;
  std::string reverseRange, memory;
  std::string speed, fps, interpolation;
  std::string format, codec, quality, progress, report;
  std::string stabilize, level;
  std::string crop, cropKeyframes, plot;
  bool json = false, noProxy = false, reverse = false;
};

// What stands for the value of an option that is given without one.
constexpr std::string_view kBareValue = "on";

enum class Presence {
  kOptional,
  kRequired,
  kValueOptional,  // a value is given as --option=VALUE only
};

struct OptionRow {
  const char* names;  // as CLI11 takes them
  unsigned commands;
  Presence presence;
  const char* valueName;
  const char* help;
  std::string OptionTexts::*text;  // null for a flag
  bool OptionTexts::*flag;
};

std::span<const OptionRow> OptionTable();

struct CommandRow {
  std::string_view name;
  unsigned bit;  // 0: no options
  bool takesInput;
  const char* help;
};

std::span<const CommandRow> CommandTable();

// Commands and options that are known but whose nodes do not exist yet.
bool IsCommandNotBuilt(std::string_view name);
// `argument` with or without "=value".
bool IsOptionNotBuilt(std::string_view argument);

}  // namespace host
