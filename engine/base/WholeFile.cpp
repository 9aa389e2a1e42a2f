#include "engine/base/WholeFile.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
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

WholeFile::~WholeFile() { Discard(); }

int WholeFile::Open(const std::string& name) {
  if (name == "-") return file_.OpenStandardOutput();
  struct stat status {};
  const bool exists = stat(name.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) return EISDIR;
  if (exists && !S_ISREG(status.st_mode)) return file_.OpenStream(name, S_ISFIFO(status.st_mode));
  target_ = ResolveLinks(name);
  return OpenTemporary();
}

// Another writer of this process or another one takes another number.
int WholeFile::OpenTemporary() {
  int error = EEXIST;
  for (int attempt = 0; error == EEXIST && attempt < kNameAttempts; ++attempt) {
    const std::string candidate = TemporaryBeside(target_, attempt);
    error = file_.OpenNewFile(candidate);
    if (error == 0) temporary_ = candidate;
  }
  return error;
}

int WholeFile::Write(const void* bytes, size_t count) { return file_.Write(bytes, count); }

int64_t WholeFile::Seek(int64_t offset, int whence) {
  return IsSeekable() ? file_.Seek(offset, whence) : -1;
}

int WholeFile::Commit(Durability durability) {
  const bool isFile = !temporary_.empty();
  const int unsynced = isFile && durability == Durability::kSynced ? file_.Sync() : 0;
  // Some file systems report a full disk no earlier than here.
  const int unclosed = file_.Close();
  if (unsynced != 0 || unclosed != 0) return unsynced != 0 ? unsynced : unclosed;
  if (!isFile) return 0;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return errno;
  temporary_.clear();
  return 0;
}

void WholeFile::Discard() {
  file_.Close();
  if (!temporary_.empty()) unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace kiv
