#include "host/Messages.h"

#include <fmt/color.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "host/HostError.h"

namespace host {
namespace {

bool isQuiet = false;

// NO_COLOR, set to anything, is the custom by which users refuse colours.
bool HasColours() {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return isatty(STDERR_FILENO) != 0 && (refused == nullptr || *refused == '\0') &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

void PrintLine(std::string_view text, fmt::terminal_color colour) {
  const std::string_view program = "kivclip:";
  std::string line = HasColours() ? fmt::format(fmt::emphasis::bold | fg(colour), "{}", program)
                                  : std::string(program);
  line += ' ';
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    line += code < 0x20 || code == 0x7F ? ' ' : c;
  }
  line += '\n';
  std::fputs(line.c_str(), stderr);
}

}  // namespace

void SetQuiet() { isQuiet = true; }

bool IsQuiet() { return isQuiet; }

Silence::Silence() : wasQuiet_(std::exchange(isQuiet, true)) {}

Silence::~Silence() { isQuiet = wasQuiet_; }

void PrintMessage(std::string_view text) { PrintLine(text, fmt::terminal_color::red); }

void PrintNote(std::string_view text) {
  if (!isQuiet) PrintLine(text, fmt::terminal_color::yellow);
}

void PrintOutput(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    FailRun("cannot write standard output: {}", std::strerror(errno));
  }
}

}  // namespace host
