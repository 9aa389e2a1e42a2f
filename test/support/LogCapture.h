// Collects what is logged while it lives.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "engine/logger/Logger.h"

namespace test {

struct LoggedLine {
  LogLevel level;
  std::string text;
};

class LogCapture {
 public:
  LogCapture() {
    kiv::SetLogCallback([this](LogLevel level, const char* text) {
      const std::lock_guard hold(lock_);
      lines_.push_back({level, text});
    });
  }
  ~LogCapture() { kiv::SetLogCallback({}); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LoggedLine> Lines() const {
    const std::lock_guard hold(lock_);
    return lines_;
  }

 private:
  mutable std::mutex lock_;
  std::vector<LoggedLine> lines_;
};

}  // namespace test
