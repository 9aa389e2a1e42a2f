// Collects what is logged while it lives, on the thread that made it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "engine/logger/Logger.h"

namespace test {

struct LogCapture {
  LogCapture() {
    kiv::SetLogCallback(
        [this](LogLevel level, const char* text) { lines.emplace_back(level, text); });
  }
  ~LogCapture() { kiv::SetLogCallback({}); }

  std::vector<std::pair<LogLevel, std::string>> lines;
};

}  // namespace test
