#include "engine/write/WriterFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <utility>

namespace kiv {
namespace {

constexpr int kNameAttempts = 1000;
constexpr mode_t kFileMode = 0666;  // less the process's mask

std::string TemporaryBeside(const std::string& target, int attempt) {
  const std::string name = fmt::format(".kivclip-{}-{}.part", getpid(), attempt);
  return (std::filesystem::path(target).parent_path() / name).string();
}

// A symbolic link keeps being one: its target is replaced.
std::string ResolveLinks(const std::string& name) {
  std::error_code error;
  const auto resolved = std::filesystem::weakly_canonical(name, error);
  return error ? name : resolved.string();
}

}  // namespace

WriteError CannotWrite(const std::string& name, int systemError) {
  const std::string shown = name == "-" ? "standard output" : fmt::format("'{}'", name);
  return fmt::format("cannot write {}: {}", shown, std::generic_category().message(systemError));
}

void IgnoreWriteSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

WriterFile::~WriterFile() { Discard(); }

WriteError WriterFile::Open(const std::string& name) {
  name_ = name;
  if (name == "-") {
    descriptor_ = STDOUT_FILENO;
    return std::nullopt;
  }
  struct stat status {};
  const bool exists = stat(name.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) return CannotWrite(name_, EISDIR);
  if (exists && !S_ISREG(status.st_mode)) return OpenStream();
  target_ = ResolveLinks(name);
  return OpenTemporary();
}

WriteError WriterFile::OpenTemporary() {
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const std::string candidate = TemporaryBeside(target_, attempt);
    descriptor_ = open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    if (descriptor_ >= 0) {
      temporary_ = candidate;
      return std::nullopt;
    }
    if (errno != EEXIST) break;
  }
  return CannotWrite(name_, errno);
}

WriteError WriterFile::OpenStream() {
  descriptor_ = open(name_.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor_ < 0) return CannotWrite(name_, errno);
  return std::nullopt;
}

WriteError WriterFile::Fail(int systemError) {
  auto error = CannotWrite(name_, systemError);
  if (!firstError_) firstError_ = error;
  return error;
}

WriteError WriterFile::Write(const void* bytes, size_t count) {
  const auto* next = static_cast<const uint8_t*>(bytes);
  while (count > 0) {
    const ssize_t written = write(descriptor_, next, count);
    if (written > 0) {
      next += written;
      count -= static_cast<size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      return Fail(written == 0 ? EIO : errno);
    } else if (cancelled_ != nullptr && *cancelled_) {
      return Fail(EINTR);
    }
  }
  return std::nullopt;
}

int64_t WriterFile::Seek(int64_t offset, int whence) {
  return IsSeekable() ? lseek(descriptor_, offset, whence) : -1;
}

WriteError WriterFile::Commit() {
  if (firstError_) return firstError_;
  const int descriptor = std::exchange(descriptor_, -1);
  // Some file systems report a full disk no earlier than here.
  if (descriptor != STDOUT_FILENO && close(descriptor) != 0) return Fail(errno);
  if (temporary_.empty()) return std::nullopt;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return Fail(errno);
  temporary_.clear();
  return std::nullopt;
}

void WriterFile::Discard() {
  if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
  descriptor_ = -1;
  if (!temporary_.empty()) unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace kiv
