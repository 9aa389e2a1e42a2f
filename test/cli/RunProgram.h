// Runs kivclip as a user would and keeps what came of it.
#pragma once

#include <sys/types.h>

#include <string>

#include "test/support/TestFolder.h"

struct ProgramResult {
  int status = -1;  // 128 + number when a signal ended it
  std::string out;
  std::string err;
};

// Runs it with a line as a shell reads it, in which every @ stands for the folder.
// Standard output goes into `out`, or to the file `outputFile` when one is named.
ProgramResult RunKivclip(const TestFolder& folder, const std::string& line,
                         const std::string& outputFile = {});

// A kivclip that runs while the test does something else.
class RunningKivclip {
 public:
  RunningKivclip(const TestFolder& folder, const std::string& line);
  ~RunningKivclip();
  RunningKivclip(const RunningKivclip&) = delete;
  RunningKivclip& operator=(const RunningKivclip&) = delete;

  // Waits for the first bytes.
  std::string ReadSomeOutput() { return ReadSome(output_); }
  std::string ReadSomeErrors() { return ReadSome(errors_); }
  // Until no more fits into the pipe of its output: it is then stuck in a write.
  void WaitUntilOutputIsFull();
  void CloseOutput();
  void Signal(int number);
  // Waits for its end, without reading its output; then reads the rest of its errors.
  ProgramResult Wait();

 private:
  static std::string ReadSome(int descriptor);

  pid_t process_ = -1;
  int output_ = -1;
  int errors_ = -1;
};
