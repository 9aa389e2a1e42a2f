#include <fmt/format.h>

#include "cli/OptionTable.h"
#include "cli/Reference.h"

namespace cli {
namespace {

// Text as roff takes it: no escapes, hyphens that can be copied, no line that reads as a request.
std::string Roff(std::string_view text) {
  std::string roff;
  for (const char c : text) {
    if (c == '\\') {
      roff += "\\e";
    } else if (c == '-') {
      roff += "\\-";
    } else if ((c == '.' || c == '\'') && (roff.empty() || roff.back() == '\n')) {
      roff += std::string("\\&") + c;
    } else {
      roff += c;
    }
  }
  return roff;
}

std::string NamesOf(const OptionRow& row) {
  std::string names = fmt::format("\\fB{}\\fR", Roff(SpelledOut(row.facts)));
  if (row.shortName != nullptr) names = fmt::format("\\fB{}\\fR, {}", Roff(row.shortName), names);
  if (row.facts.argument == nullptr) return names;
  const std::string value = fmt::format("\\fI{}\\fR", Roff(row.facts.argument));
  return row.facts.bareValue == nullptr ? names + " " + value
                                        : fmt::format("{}[={}]", names, value);
}

std::string CommandsText() {
  std::string text = ".SH COMMANDS\n";
  for (const CommandRow& row : CommandTable()) {
    text += fmt::format(".TP\n\\fBkivclip {}\\fR {}[options]\n{}.\n", row.name,
                        row.takesInput ? "\\fIINPUT\\fR " : "", Roff(row.help));
  }
  return text;
}

std::string OptionsText() {
  std::string text = ".SH OPTIONS\n";
  for (const OptionRow& row : OptionTable()) {
    std::string commands;
    for (const CommandRow& command : CommandTable()) {
      if (!row.IsOf(command)) continue;
      commands += fmt::format("{}{}", commands.empty() ? "" : ", ", command.name);
    }
    text += fmt::format(".TP\n{}\n{}.\n", NamesOf(row), Roff(row.facts.help));
    if (!row.IsCommon()) {
      const bool isKept = row.facts.settingsKey != nullptr;
      text += fmt::format("({}{})\n", commands, isKept ? "; kept in settings" : "");
    }
  }
  return text;
}

std::string ExamplesText() {
  std::string text = ".SH EXAMPLES\n.nf\n";
  for (const CommandRow& row : CommandTable()) {
    text += fmt::format("kivclip {}\n", Roff(row.example));
  }
  return text + ".fi\n";
}

constexpr char kRest[] =
    ".SH EXIT STATUS\n"
    ".TP\n.B 0\ndone\n"
    ".TP\n.B 1\nfailed; one line on standard error says what, on which file and why\n"
    ".TP\n.B 2\nthe command line is wrong\n"
    ".TP\n.B 130\ninterrupted; no half\\-written output is left under its final name\n"
    ".SH ENVIRONMENT\n"
    ".TP\n.B KIV_LOG\nwhen set, the log goes to standard error, as with \\-\\-verbose\n"
    ".TP\n.B KIV_REGISTRY\nthe registry file, instead of the user's own\n"
    ".TP\n.B KIV_MODULE_FOLDER\nwhere modules are looked for first\n"
    ".TP\n.B NO_COLOR\nwhen set, messages have no colours on a terminal either\n";

}  // namespace

std::string ManualPage() {
  return ".TH KIVCLIP 1 \"\" \"kivclip " KIV_VERSION
         "\" \"User commands\"\n"
         ".SH NAME\nkivclip \\- slower, faster, backwards, steadier, cropped: video clips from the "
         "command line\n"
         ".SH SYNOPSIS\n.B kivclip\n.I COMMAND\n[\\fIINPUT\\fR] [options]\n"
         ".SH DESCRIPTION\n"
         "Opens a clip, stacks nodes on it as the options ask, and writes what comes out: a file, "
         "pictures or a stream. Standard output carries data only, messages go to standard "
         "error.\n" +
         CommandsText() + OptionsText() + kRest + ExamplesText();
}

}  // namespace cli
