// A descriptor that bytes are written to. What may take them late or never - a pipe, a socket, a
// device - is waited for in short turns, so that a flag ends the wait.
//
// Owns:     the descriptor, unless it is standard output's.
// Threads:  one caller at a time; the flag may be set by any.
// Errors:   the system's number, 0 when it worked; EINTR when the flag was set. No signal reaches the
//           process on the way.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kiv {

class OutputDescriptor {
 public:
  // Without a flag every wait is the system's own.
  explicit OutputDescriptor(const std::atomic<bool>* cancelled) : cancelled_(cancelled) {}
  ~OutputDescriptor() { Close(); }
  OutputDescriptor(const OutputDescriptor&) = delete;
  OutputDescriptor& operator=(const OutputDescriptor&) = delete;

  // EEXIST when there is such a file.
  int OpenNewFile(const std::string& path);
  // What is no regular file. Waits for somebody to read a named pipe.
  int OpenStream(const std::string& path, bool isNamedPipe);
  int OpenStandardOutput();
  int Write(const void* bytes, size_t count);
  int64_t Seek(int64_t offset, int whence);
  // To the disk, as far as the system can say so.
  int Sync();
  int Close();

 private:
  enum class Manner {
    kPlain,   // a write takes everything, or waits as long as it likes
    kOwn,     // the open file is ours alone: writes do not wait
    kSocket,  // a call of its own for writes that do not wait
    kShared,  // with other processes, for whom a write that does not wait would be a fault
  };

  bool IsCancelled() const { return cancelled_ != nullptr && *cancelled_; }
  Manner MannerOfStandardOutput(uint32_t mode);
  int WriteAll(const uint8_t* next, size_t count);
  int64_t WriteSome(const uint8_t* next, size_t count);
  bool WaitForRoom() const;

  const std::atomic<bool>* cancelled_;
  Manner manner_ = Manner::kPlain;
  int descriptor_ = -1;
};

}  // namespace kiv
