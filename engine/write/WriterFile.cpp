#include "engine/write/WriterFile.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace kiv {
namespace {

constexpr int kNameAttempts = 1000;

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

WriterFile::~WriterFile() { Discard(); }

WriteError WriterFile::Open(const std::string& name) {
  name_ = name;
  if (name == "-") return Opened(file_.OpenStandardOutput());
  struct stat status {};
  const bool exists = stat(name.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) return CannotWrite(name_, EISDIR);
  if (exists && !S_ISREG(status.st_mode)) {
    return Opened(file_.OpenStream(name, S_ISFIFO(status.st_mode)));
  }
  target_ = ResolveLinks(name);
  return OpenTemporary();
}

WriteError WriterFile::OpenTemporary() {
  int error = EEXIST;
  for (int attempt = 0; error == EEXIST && attempt < kNameAttempts; ++attempt) {
    const std::string candidate = TemporaryBeside(target_, attempt);
    error = file_.OpenNewFile(candidate);
    if (error == 0) temporary_ = candidate;
  }
  return Opened(error);
}

WriteError WriterFile::Opened(int systemError) const {
  return systemError == 0 ? std::nullopt : WriteError(CannotWrite(name_, systemError));
}

WriteError WriterFile::Fail(int systemError) {
  auto error = CannotWrite(name_, systemError);
  if (!firstError_) firstError_ = error;
  return error;
}

WriteError WriterFile::Write(const void* bytes, size_t count) {
  const int error = file_.Write(bytes, count);
  return error == 0 ? std::nullopt : Fail(error);
}

int64_t WriterFile::Seek(int64_t offset, int whence) {
  return IsSeekable() ? file_.Seek(offset, whence) : -1;
}

WriteError WriterFile::Commit() {
  if (firstError_) return firstError_;
  // Some file systems report a full disk no earlier than here.
  if (const int error = file_.Close()) return Fail(error);
  if (temporary_.empty()) return std::nullopt;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return Fail(errno);
  temporary_.clear();
  return std::nullopt;
}

void WriterFile::Discard() {
  file_.Close();
  if (!temporary_.empty()) unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace kiv
