// A file in the making: written under a temporary name beside the final one, renamed when complete.
//
// Standard output, pipes and devices are written to directly, in order.
// Owns:     the descriptor (not standard output's) and the temporary file, removed unless committed.
// Threads:  one caller at a time; the flag may be set by any.
// Errors:   one line naming the final file and the reason. A closed pipe is a failure, not a signal.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "engine/write/Writer.h"
#include "engine/write/WriterDescriptor.h"

namespace kiv {

class KIV_ENGINE_API WriterFile {
 public:
  // Opening and writing give up once the flag is set; null: never.
  explicit WriterFile(const std::atomic<bool>* cancelled = nullptr) : file_(cancelled) {}
  ~WriterFile();
  WriterFile(const WriterFile&) = delete;
  WriterFile& operator=(const WriterFile&) = delete;

  // "-" is standard output. An existing file of that name stays until Commit.
  WriteError Open(const std::string& name);
  WriteError Write(const void* bytes, size_t count);
  // Where the next byte goes; -1 when the output cannot be positioned.
  int64_t Seek(int64_t offset, int whence);
  // Closes, and gives the file its final name.
  WriteError Commit();

  bool IsSeekable() const { return !temporary_.empty(); }
  // The file under its name of the moment; empty for a stream.
  const std::string& TemporaryName() const { return temporary_; }
  // The first failure of Write or Seek, for callers that go through a library that loses the reason.
  const WriteError& FirstError() const { return firstError_; }

 private:
  WriteError OpenTemporary();
  WriteError Opened(int systemError) const;
  WriteError Fail(int systemError);
  void Discard();

  std::string name_;    // as the user gave it
  std::string target_;  // with links resolved
  std::string temporary_;
  WriteError firstError_;
  WriterDescriptor file_;
};

// "cannot write 'NAME': REASON"
WriteError CannotWrite(const std::string& name, int systemError);

}  // namespace kiv
