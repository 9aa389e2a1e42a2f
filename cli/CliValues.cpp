#include "cli/CliValues.h"

#include "session/Fail.h"

namespace cli {

LogLevel ReadLogLevel(std::string_view option, std::string_view text) {
  if (text == "failure") return LogLevel::kFailure;
  if (text == "filter") return LogLevel::kFilter;
  if (text == "creation") return LogLevel::kCreation;
  FailUsage("{} {}: expected failure, filter or creation", option, text);
}

ProgressForm ReadProgress(std::string_view option, std::string_view text) {
  if (text == "json") return ProgressForm::kJson;
  if (text == "bar") return ProgressForm::kBar;
  if (text == "none") return ProgressForm::kNone;
  FailUsage("{} {}: expected json, bar or none", option, text);
}

}  // namespace cli
