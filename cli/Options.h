// What a command line asks for, checked as far as that goes without opening the input.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "session/ClipOptions.h"
#include "session/Export.h"
#include "session/Library.h"

namespace cli {

using namespace kiv::session;

struct CommandRow;

enum class ProgressForm { kAutomatic, kNone, kBar, kJson };

struct Options {
  const CommandRow* command = nullptr;
  std::string input;
  std::string output;
  ExportPlan plan;
  OutputForm form = OutputForm::kNothing;  // of the output
  ClipOptions clip;
  std::string saveSettings;
  int32_t at = 0;
  std::string plot;                // keyframes, stabilize
  std::optional<int32_t> atFrame;  // keyframes
  bool json = false;
  ProgressForm progress = ProgressForm::kAutomatic;
  std::string report;
  bool quiet = false;
  std::optional<LogLevel> logLevel;
};

}  // namespace cli
