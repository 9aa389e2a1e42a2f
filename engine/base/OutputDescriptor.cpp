#include "engine/base/OutputDescriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "engine/base/WriteSignals.h"

namespace kiv {
namespace {

constexpr mode_t kFileMode = 0666;  // less the process's mask
// How long the flag may go unnoticed.
constexpr int kPatienceMs = 50;
// Nothing tells of a reader that comes, so it is looked for as often.
constexpr int kReaderLookMs = 10;
constexpr int kStreamFlags = O_WRONLY | O_NOCTTY | O_CLOEXEC;

}  // namespace

int OutputDescriptor::OpenNewFile(const std::string& path) {
  descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
  return descriptor_ < 0 ? errno : 0;
}

int OutputDescriptor::OpenStream(const std::string& path, bool isNamedPipe) {
  const bool waits = cancelled_ == nullptr;
  manner_ = waits ? Manner::kPlain : Manner::kOwn;
  while (!IsCancelled()) {
    descriptor_ = open(path.c_str(), waits ? kStreamFlags : kStreamFlags | O_NONBLOCK);
    if (descriptor_ >= 0) return 0;
    const bool lacksReader = errno == ENXIO && isNamedPipe && !waits;
    if (!lacksReader) return errno;
    // A signal that the program catches ends the wait as well: nobody may be there to set the flag.
    if (poll(nullptr, 0, kReaderLookMs) < 0) return errno;
  }
  return EINTR;
}

int OutputDescriptor::OpenStandardOutput() {
  struct stat status {};
  if (fstat(STDOUT_FILENO, &status) != 0) return errno;
  descriptor_ = STDOUT_FILENO;
  if (cancelled_ != nullptr) manner_ = MannerOfStandardOutput(status.st_mode);
  return 0;
}

// O_NONBLOCK belongs to the open file, which other processes may have too. Opened once more, it is
// another open file of the same pipe or terminal.
OutputDescriptor::Manner OutputDescriptor::MannerOfStandardOutput(uint32_t mode) {
  if (S_ISSOCK(mode)) return Manner::kSocket;
  if (!S_ISFIFO(mode) && !S_ISCHR(mode)) return Manner::kPlain;
  const std::string itself = fmt::format("/proc/self/fd/{}", STDOUT_FILENO);
  const int own = open(itself.c_str(), kStreamFlags | O_NONBLOCK);
  if (own < 0) return Manner::kShared;  // no /proc, or somebody else's pipe
  descriptor_ = own;
  return Manner::kOwn;
}

bool OutputDescriptor::WaitForRoom() const {
  pollfd room{descriptor_, POLLOUT, 0};
  return poll(&room, 1, kPatienceMs) > 0;
}

int64_t OutputDescriptor::WriteSome(const uint8_t* next, size_t count) {
  switch (manner_) {
    case Manner::kSocket:
      return send(descriptor_, next, count, MSG_DONTWAIT | MSG_NOSIGNAL);
    case Manner::kShared:
      // A pipe that has room takes this much at once.
      if (WaitForRoom()) return write(descriptor_, next, std::min<size_t>(count, PIPE_BUF));
      errno = EAGAIN;
      return -1;
    default:
      return write(descriptor_, next, count);
  }
}

int OutputDescriptor::WriteAll(const uint8_t* next, size_t count) {
  while (count > 0) {
    if (IsCancelled()) return EINTR;
    const int64_t written = WriteSome(next, count);
    if (written > 0) {
      next += written;
      count -= static_cast<size_t>(written);
    } else if (written == 0) {
      return EIO;
    } else if (errno == EAGAIN) {
      WaitForRoom();
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int OutputDescriptor::Write(const void* bytes, size_t count) {
  const WriteSignals signals;
  const int error = WriteAll(static_cast<const uint8_t*>(bytes), count);
  signals.Drop(error);
  return error;
}

int64_t OutputDescriptor::Seek(int64_t offset, int whence) {
  return lseek(descriptor_, offset, whence);
}

int OutputDescriptor::Sync() { return fsync(descriptor_) == 0 ? 0 : errno; }

int OutputDescriptor::Close() {
  const int descriptor = std::exchange(descriptor_, -1);
  if (descriptor < 0 || descriptor == STDOUT_FILENO) return 0;
  return close(descriptor) == 0 ? 0 : errno;
}

}  // namespace kiv
