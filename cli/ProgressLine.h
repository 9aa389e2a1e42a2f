// Shows how far a command is, on standard error.
//
// Threads:  one caller at a time.
#pragma once

#include <chrono>
#include <cstdint>

#include "cli/Options.h"

namespace cli {

class ProgressLine {
 public:
  // `stage` (may be null) tells the lines from those of another run of the same command.
  ProgressLine(ProgressForm form, int32_t frames, const char* stage);
  // Takes the bar away, so that a message starts on an empty line.
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // `frame` frames are done. Shown a few times a second, and the last one always.
  void Update(int32_t frame);

 private:
  using Clock = std::chrono::steady_clock;

  void ShowBar(int32_t frame, double rate, double left);

  ProgressForm form_;
  int32_t frames_;
  const char* stage_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point shown_;
  bool barVisible_ = false;
};

// Rendered frames a second, and the seconds left at that rate; 0 while nothing is known.
struct Pace {
  double rate = 0;
  double left = 0;
};
Pace PaceOf(int32_t done, int32_t frames, double seconds);

}  // namespace cli
