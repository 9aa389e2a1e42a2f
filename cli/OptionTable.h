// Every option of every command, in one table: the session library's rows and kivclip's own.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "cli/Options.h"
#include "session/OptionTable.h"

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

enum class Presence { kOptional, kRequired };

// Two rows may share a name where no command has both.
struct OptionRow {
  OptionFacts facts;
  std::variant<OptionReader<ClipOptions>, OptionReader<ExportPlan>, OptionReader<Options>> read;
  unsigned commands;
  Presence presence = Presence::kOptional;
  const char* shortName = nullptr;  // "-o"

  bool IsOf(const CommandRow& command) const;
  bool IsOfClip() const { return std::holds_alternative<OptionReader<ClipOptions>>(read); }
  bool IsCommon() const { return commands == kEveryBit; }
};

// In the order that help lists them.
std::span<const OptionRow> OptionTable();

// What was typed for each option that is there, in the order of the table.
using OptionTexts = std::map<const OptionRow*, std::string>;

void Read(const OptionRow& row, std::string_view text, Options* options);

struct CommandRow {
  std::string_view name;
  unsigned bit;
  bool takesInput;
  const char* help;
  const char* example;
  void (*run)(const Options& options);
  // What options of this command mean together, once each was read. May be null.
  void (*complete)(Options* options) = nullptr;
  bool printsResult = false;  // to standard output
};

std::span<const CommandRow> CommandTable();

}  // namespace cli
