// kivclip: renders clips through the component, from the command line.

#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "cli/Interrupt.h"
#include "cli/Messages.h"
#include "cli/OptionTable.h"
#include "session/Library.h"
#include "session/SessionError.h"

namespace {

constexpr int kDone = 0, kFailed = 1, kUsage = 2, kSignalStatusBase = 128;

int StatusOf(kiv::session::ErrorCode code) {
  using kiv::session::ErrorCode;
  const bool isUsage = code == ErrorCode::kInvalidArgument || code == ErrorCode::kOutOfRange;
  return isUsage ? kUsage : kFailed;
}

// Standard error belongs to kivclip's own lines unless the log is asked for.
void SetUpLog() {
  kiv::session::RouteCodecMessages();
  if (std::getenv("KIV_LOG") == nullptr)
    kiv::session::SetLogLevel(kiv::session::LogLevel::kNothing);
}

void SetUpMessages(const cli::Options& options) {
  if (options.quiet) cli::SetQuiet();
  if (options.logLevel) kiv::session::SetLogLevel(*options.logLevel);
}

int Run(const std::vector<std::string>& arguments) {
  if (const auto options = cli::ReadCommandLine(arguments)) {
    SetUpMessages(*options);
    options->command->run(*options);
  }
  return kDone;
}

}  // namespace

int main(int count, char** values) {
  cli::IgnoreWriteSignals();
  cli::CatchInterrupts();
  SetUpLog();
  try {
    return Run(std::vector<std::string>(values + 1, values + count));
  } catch (const kiv::session::SessionError& error) {
    // A write that a signal cut short fails too; the signal is the cause.
    if (const int signal = cli::InterruptSignal()) {
      cli::PrintMessage("interrupted");
      return kSignalStatusBase + signal;
    }
    cli::PrintMessage(error.what());
    return StatusOf(error.Code());
  } catch (const std::exception& error) {
    cli::PrintMessage(error.what());
    return kFailed;
  }
}
