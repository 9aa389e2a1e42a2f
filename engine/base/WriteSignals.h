// Keeps the signals of a failed write from the process that called: a broken pipe and a file that may
// not grow are told by the write's result.
//
// Threads:  acts on the calling thread alone, and is used and destroyed there.
#pragma once

#include <csignal>

namespace kiv {

// While it lives, SIGPIPE and SIGXFSZ wait. Those that waited already are not its business.
class WriteSignals {
 public:
  WriteSignals();
  ~WriteSignals();
  WriteSignals(const WriteSignals&) = delete;
  WriteSignals& operator=(const WriteSignals&) = delete;

  // Drops the signal that a write which failed with this error left behind.
  void Drop(int systemError) const;

 private:
  sigset_t held_;
  sigset_t before_;
};

}  // namespace kiv
