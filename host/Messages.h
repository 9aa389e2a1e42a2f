// Messages to the user, on standard error: one line each, in colour on a terminal only.
//
// Threads:  any, once SetQuiet was called.
#pragma once

#include <string_view>

namespace host {

// Leaves notes and progress bars out.
void SetQuiet();
bool IsQuiet();

// While it lives, notes are left out: for what was said before.
class Silence {
 public:
  Silence();
  ~Silence();
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  const bool wasQuiet_;
};

// Why a command did not do what it should. Line ends and control characters in `text` (file names
// may hold them) become blanks.
void PrintMessage(std::string_view text);
// What a user should know of a command that worked.
void PrintNote(std::string_view text);

// A command's data, on standard output. HostError when it cannot be written.
void PrintOutput(std::string_view text);

}  // namespace host
