// Small text files, read within a bound and replaced as a whole.
//
// Paths and texts are UTF-8 bytes.
// Threads:  any.
#pragma once

#include <cstddef>
#include <string>

#include "kiv/values/Export.h"

namespace kiv {

enum class FileResult {
  kDone,
  kMissing,   // there is no such file
  kNotAFile,  // a folder, a pipe or a device
  kTooLarge,  // longer than the caller allows
  kFailed,    // not readable, not writable, no room: errno says which
};

enum class FileSource {
  kRegular,  // never waits for a pipe
  kAny,      // a pipe or a device too, up to its end
};

// `text` is untouched unless the result is kDone.
KIV_ENGINE_API FileResult ReadTextFile(const std::string& path, size_t limit, std::string* text,
                                       FileSource source = FileSource::kRegular);

// Writes beside the file and renames, so that a reader sees the old text or the new one and a failure
// leaves the old one. Missing folders above it are made.
KIV_ENGINE_API FileResult ReplaceTextFile(const std::string& path, const std::string& text);

// Keeps other writers, of this process and others, away from a file while it lives. Readers need no
// lock, because files are replaced as a whole.
class KIV_ENGINE_API FileLock {
 public:
  // Waits up to `kWaitSeconds` for another writer.
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool held() const { return held_; }
  // Why it is not held; EWOULDBLOCK when another writer keeps it.
  int error() const { return error_; }

  static constexpr int kWaitSeconds = 10;

 private:
  int descriptor_ = -1;
  bool held_ = false;
  int error_ = 0;
};

}  // namespace kiv
