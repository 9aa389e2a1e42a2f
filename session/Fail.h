// How a command ends early: an exception that main turns into one line and an exit status.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace host {

enum class ExitStatus { kDone = 0, kFailed = 1, kUsage = 2, kInterrupted = 130 };

class HostError : public std::runtime_error {
 public:
  HostError(ExitStatus status, const std::string& text)
      : std::runtime_error(text), status_(status) {}
  ExitStatus Status() const { return status_; }

 private:
  ExitStatus status_;
};

// The command line is wrong.
template <typename... Args>
[[noreturn]] void FailUsage(fmt::format_string<Args...> format, Args&&... args) {
  throw HostError(ExitStatus::kUsage, fmt::format(format, std::forward<Args>(args)...));
}

// The work could not be done.
template <typename... Args>
[[noreturn]] void FailRun(fmt::format_string<Args...> format, Args&&... args) {
  throw HostError(ExitStatus::kFailed, fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace host
