// The file of a writer: a whole file whose failures are lines for the user.
//
// Owns:     the file; removed unless committed.
// Threads:  one caller at a time; the flag may be set by any.
// Errors:   one line naming the final file and the reason.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "engine/base/WholeFile.h"
#include "engine/write/Writer.h"

namespace kiv {

class KIV_ENGINE_API WriterFile {
 public:
  // Opening and writing give up once the flag is set; null: never.
  explicit WriterFile(const std::atomic<bool>* cancelled = nullptr) : file_(cancelled) {}

  // "-" is standard output. An existing file of that name stays until Commit.
  WriteError Open(const std::string& name);
  WriteError Write(const void* bytes, size_t count);
  // Where the next byte goes; -1 when the output cannot be positioned.
  int64_t Seek(int64_t offset, int whence) { return file_.Seek(offset, whence); }
  // Closes, and gives the file its final name.
  WriteError Commit(Durability durability = Durability::kSynced);

  bool IsSeekable() const { return file_.IsSeekable(); }
  // The file under its name of the moment; empty for a stream.
  const std::string& TemporaryName() const { return file_.TemporaryName(); }
  // The first failure of Write, for callers that go through a library that loses the reason.
  const WriteError& FirstError() const { return firstError_; }

 private:
  WriteError Told(int systemError);

  std::string name_;  // as the user gave it
  WriteError firstError_;
  WholeFile file_;
};

// "cannot write 'NAME': REASON"
WriteError CannotWrite(const std::string& name, int systemError);

}  // namespace kiv
