#include "cli/Interrupt.h"

#include <csignal>

namespace cli {
namespace {

std::atomic<int> interruptSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "set in a signal handler");

void NoteSignal(int number) { interruptSignal = number; }

}  // namespace

void IgnoreWriteSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = NoteSignal;
  sigemptyset(&action.sa_mask);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    sigaction(number, nullptr, &before);
    // Whoever started us in the background or under nohup wants it ignored.
    if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
}

int InterruptSignal() { return interruptSignal; }

}  // namespace cli
