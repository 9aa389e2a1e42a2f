// Ctrl-C and its relatives: noticed by a flag, so that whatever is being written can be cleaned up.
//
// Threads:  any.
#pragma once

#include <atomic>

namespace cli {

// A text to a closed pipe, or to a file that may not grow, fails; it does not end the process.
void IgnoreWriteSignals();

// SIGINT, SIGTERM and SIGHUP set the flag. Interrupted system calls return, they are not restarted.
void CatchInterrupts();

// The signal that came, 0 for none; main then exits with 128 + its number.
int InterruptSignal();

}  // namespace cli
