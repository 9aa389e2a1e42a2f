// Says how far a file that takes long to open has been read, and stops reading for Ctrl-C.
//
// Threads:  one caller at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "session/Progress.h"

namespace cli {

class OpeningProgress {
 public:
  // Silent for as long as `patience` lasts.
  OpeningProgress(std::string path, std::chrono::milliseconds patience)
      : path_(std::move(path)), patience_(patience) {}

  // As a session's progress function: false once a signal came.
  bool Hear(const kiv::session::Progress& progress);

 private:
  using Clock = std::chrono::steady_clock;

  void ShowPercent(const kiv::session::Progress& progress);

  const std::string path_;
  const std::chrono::milliseconds patience_;
  const Clock::time_point start_ = Clock::now();
  bool told_ = false;
  int64_t shownPercent_ = -1;
};

// For the clip of a command line.
kiv::session::ProgressFunction TellOfOpening(const std::string& path);

}  // namespace cli
