#include "host/Messages.h"

#include <cstdio>
#include <string>

namespace host {

void PrintMessage(std::string_view text) {
  std::string line = "kivclip: ";
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    line += code < 0x20 || code == 0x7F ? ' ' : c;
  }
  line += '\n';
  std::fputs(line.c_str(), stderr);
}

}  // namespace host
