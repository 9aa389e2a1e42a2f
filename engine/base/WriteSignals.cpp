#include "engine/base/WriteSignals.h"

#include <cerrno>
#include <ctime>
#include <initializer_list>

namespace kiv {

WriteSignals::WriteSignals() {
  sigset_t waiting;
  sigpending(&waiting);
  sigemptyset(&held_);
  for (const int number : {SIGPIPE, SIGXFSZ}) {
    if (sigismember(&waiting, number) == 0) sigaddset(&held_, number);
  }
  pthread_sigmask(SIG_BLOCK, &held_, &before_);
}

WriteSignals::~WriteSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

void WriteSignals::Drop(int systemError) const {
  if (systemError != EPIPE && systemError != EFBIG) return;
  constexpr timespec kAtOnce{};
  while (sigtimedwait(&held_, nullptr, &kAtOnce) < 0 && errno == EINTR) continue;
}

}  // namespace kiv
