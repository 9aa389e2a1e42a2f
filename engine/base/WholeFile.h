// A file in the making: written under a temporary name beside the final one, renamed when complete. So
// a reader sees the old file or the new one, and a failure leaves the old one.
//
// Standard output, pipes and devices are written to directly, in order.
// Owns:     the descriptor (not standard output's) and the temporary file, removed unless committed.
// Threads:  one caller at a time; the flag may be set by any.
// Errors:   the system's number, 0 when it worked. A closed pipe is a failure, not a signal.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "engine/base/OutputDescriptor.h"
#include "kiv/values/Export.h"

namespace kiv {

// Whether a file is on the disk before it gets its name. Of many small ones each costs a wait.
enum class Durability { kSynced, kFast };

class KIV_ENGINE_API WholeFile {
 public:
  // Opening and writing give up once the flag is set, with EINTR; null: never.
  explicit WholeFile(const std::atomic<bool>* cancelled = nullptr) : file_(cancelled) {}
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  // "-" is standard output. An existing file of that name stays until Commit; through a link the file
  // itself is replaced.
  int Open(const std::string& name);
  int Write(const void* bytes, size_t count);
  // Where the next byte goes; -1 when the output cannot be positioned.
  int64_t Seek(int64_t offset, int whence);
  // Closes, and gives the file its final name.
  int Commit(Durability durability);

  bool IsSeekable() const { return !temporary_.empty(); }
  // The file under its name of the moment; empty for a stream.
  const std::string& TemporaryName() const { return temporary_; }

 private:
  int OpenTemporary();
  void Discard();

  std::string target_;  // with links resolved
  std::string temporary_;
  OutputDescriptor file_;
};

}  // namespace kiv
