#include "engine/base/TextFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "engine/base/WholeFile.h"

namespace kiv {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    const int kept = errno;
    if (number_ >= 0) ::close(number_);
    errno = kept;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }

 private:
  int number_;
};

FileResult ReadAll(int file, size_t limit, std::string* text) {
  std::string content;
  char block[16384];
  for (;;) {
    const ssize_t count = ::read(file, block, sizeof(block));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return FileResult::kFailed;
    if (count == 0) break;
    content.append(block, static_cast<size_t>(count));
    if (content.size() > limit) return FileResult::kTooLarge;
  }
  *text = std::move(content);
  return FileResult::kDone;
}

std::error_code MakeFoldersAbove(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (!folder.empty()) std::filesystem::create_directories(folder, error);
  return error;
}

}  // namespace

FileResult ReadTextFile(const std::string& path, size_t limit, std::string* text,
                        FileSource source) {
  const int waiting = source == FileSource::kAny ? 0 : O_NONBLOCK;
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | waiting));
  if (file.number() < 0) {
    return errno == ENOENT || errno == ENOTDIR ? FileResult::kMissing : FileResult::kFailed;
  }
  struct stat status;
  if (::fstat(file.number(), &status) != 0) return FileResult::kFailed;
  const bool isReadable =
      source == FileSource::kAny ? !S_ISDIR(status.st_mode) : S_ISREG(status.st_mode);
  if (!isReadable) return FileResult::kNotAFile;
  if (status.st_size > 0 && static_cast<size_t>(status.st_size) > limit) {
    return FileResult::kTooLarge;
  }
  return ReadAll(file.number(), limit, text);
}

FileResult ReplaceTextFile(const std::string& path, const std::string& text) {
  // Through a link the file itself is replaced, not the link.
  std::error_code error;
  const std::filesystem::path resolved = std::filesystem::canonical(path, error);
  const std::string target = error ? path : resolved.string();
  if (!error && !std::filesystem::is_regular_file(resolved, error)) return FileResult::kNotAFile;
  MakeFoldersAbove(target);
  WholeFile file;
  int failure = file.Open(target);
  if (failure == 0) failure = file.Write(text.data(), text.size());
  if (failure == 0) failure = file.Commit(Durability::kSynced);
  if (failure == 0) return FileResult::kDone;
  errno = failure;
  return FileResult::kFailed;
}

FileLock::FileLock(const std::string& path) {
  const std::error_code folders = MakeFoldersAbove(path);
  const std::string name = path + ".lock";
  descriptor_ = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0644);
  error_ = folders && descriptor_ < 0 ? folders.value() : errno;
  if (descriptor_ < 0) return;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(kWaitSeconds);
  while (!(held_ = ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0)) {
    error_ = errno;
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    if (std::chrono::steady_clock::now() > end) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

FileLock::~FileLock() {
  if (descriptor_ >= 0) ::close(descriptor_);  // gives the lock back too
}

}  // namespace kiv
