// kivclip: renders clips through the component, from the command line.

#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "cli/Commands.h"
#include "cli/Interrupt.h"
#include "cli/Messages.h"
#include "engine/logger/Logger.h"
#include "engine/write/WriterFile.h"
#include "session/Fail.h"

namespace {

constexpr int kSignalStatusBase = 128;

void RunCommand(const host::Options& options) {
  switch (options.command) {
    case host::Command::kRender:
      return host::RunRender(options);
    case host::Command::kFrame:
      return host::RunFrame(options);
    case host::Command::kSheet:
      return host::RunSheet(options);
    case host::Command::kStabilize:
      return host::RunStabilize(options);
    case host::Command::kKeyframes:
      return host::RunKeyframes(options);
    case host::Command::kVerify:
      return host::RunVerify(options);
    case host::Command::kInfo:
      return host::RunInfo(options);
    case host::Command::kRegister:
      return host::RunRegister();
    case host::Command::kUnregister:
      return host::RunUnregister();
  }
}

// Standard error belongs to kivclip's own lines unless the log is asked for.
void SetUpLog() {
  kiv::RouteFfmpegLog();
  if (std::getenv("KIV_LOG") == nullptr) kiv::SetLogLevel(kiv::kLogNothing);
}

void SetUpMessages(const host::Options& options) {
  if (options.quiet) host::SetQuiet();
  if (options.logLevel) kiv::SetLogLevel(*options.logLevel);
}

int Run(const std::vector<std::string>& arguments) {
  if (const auto options = host::ReadCommandLine(arguments)) {
    SetUpMessages(*options);
    RunCommand(*options);
  }
  return static_cast<int>(host::ExitStatus::kDone);
}

}  // namespace

int main(int count, char** values) {
  kiv::IgnoreWriteSignals();
  host::CatchInterrupts();
  SetUpLog();
  try {
    return Run(std::vector<std::string>(values + 1, values + count));
  } catch (const host::HostError& error) {
    // A write that a signal cut short fails too; the signal is the cause.
    if (const int signal = host::InterruptSignal()) {
      host::PrintMessage("interrupted");
      return kSignalStatusBase + signal;
    }
    host::PrintMessage(error.what());
    return static_cast<int>(error.Status());
  } catch (const std::exception& error) {
    host::PrintMessage(error.what());
    return static_cast<int>(host::ExitStatus::kFailed);
  }
}
