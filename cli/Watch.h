// Shows how far a session's work is, and ends it when the user interrupts.
//
// Owns:     the line on the screen.
// Threads:  one.
#pragma once

#include <memory>
#include <optional>

#include "cli/Options.h"
#include "cli/ProgressLine.h"
#include "session/Progress.h"

namespace cli {

class Watch {
 public:
  explicit Watch(ProgressForm form) : form_(form) {}

  // Lives no longer than the watch.
  ProgressFunction Function();
  // Takes a bar away.
  void End() { line_.reset(); }

 private:
  bool Hear(const Progress& progress);
  void Begin(const Progress& progress);

  const ProgressForm form_;
  std::unique_ptr<ProgressLine> line_;
  std::optional<Stage> stage_;
  bool analysed_ = false;
  int64_t shown_ = 0;
};

}  // namespace cli
