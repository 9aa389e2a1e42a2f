#include <fmt/format.h>

#include <vector>

#include "cli/OptionTable.h"
#include "cli/Reference.h"
#include "session/Fail.h"

namespace cli {
namespace {

std::vector<std::string> NamesOf(const OptionRow& row) {
  const std::string name = SpelledOut(row.facts);
  if (row.shortName == nullptr) return {name};
  return {row.shortName, name};
}

bool TakesNextWord(const OptionRow& row) {
  return row.facts.argument != nullptr && row.facts.bareValue == nullptr;
}

bool IsFile(const OptionRow& row) {
  const std::string_view name = row.facts.argument != nullptr ? row.facts.argument : "";
  return name.find("FILE") != std::string_view::npos || name == "OUTPUT";
}

std::string CommandNames() {
  std::string names;
  for (const CommandRow& row : CommandTable()) {
    names.append(names.empty() ? "" : " ").append(row.name);
  }
  return names;
}

// 'it'\''s': a word in single quotes, as all three shells read it.
std::string Quoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// Names of the options for which `wanted` holds, once each, between `between`.
template <typename Wanted>
std::string OptionNames(const char* between, Wanted wanted) {
  std::string names;
  for (const OptionRow& row : OptionTable()) {
    if (!wanted(row)) continue;
    for (const std::string& name : NamesOf(row)) {
      if (fmt::format("{0}{1}{0}", between, names).find(between + name + between) !=
          std::string::npos) {
        continue;
      }
      names.append(names.empty() ? "" : between).append(name);
    }
  }
  return names;
}

std::string BashCompletion() {
  std::string text =
      "# Completion of kivclip for bash.\n_kivclip() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} options=\n"
      "  COMPREPLY=()\n"
      "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
      "    COMPREPLY=($(compgen -W '" +
      CommandNames() +
      " --help --version' -- \"$word\"))\n    return\n  fi\n"
      "  case $before in\n    " +
      OptionNames("|", [](const OptionRow& row) { return TakesNextWord(row) && IsFile(row); }) +
      ") compopt -o default; return ;;\n    " +
      OptionNames("|", [](const OptionRow& row) { return TakesNextWord(row) && !IsFile(row); }) +
      ") return ;;\n  esac\n  case ${COMP_WORDS[1]} in\n";
  for (const CommandRow& command : CommandTable()) {
    text += fmt::format("    {}) options='{} --help' ;;\n", command.name,
                        OptionNames(" ", [&](const OptionRow& row) { return row.IsOf(command); }));
  }
  return text +
         "  esac\n"
         "  if [ \"${word:0:1}\" = - ]; then\n"
         "    COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n"
         "  else\n    compopt -o default\n  fi\n}\ncomplete -F _kivclip kivclip\n";
}

// [ and ] end a description, : a field.
std::string ZshHelp(std::string_view text) {
  std::string help;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') help += '\\';
    help += c;
  }
  return help;
}

// What _arguments expects behind the name of an option: how its value follows, what it is.
std::string ZshSpecOf(const OptionRow& row, const std::string& name) {
  const std::string help = ZshHelp(row.facts.help);
  if (row.facts.argument == nullptr) return fmt::format("{}[{}]", name, help);
  const std::string value =
      fmt::format("{}:{}", ZshHelp(row.facts.argument), IsFile(row) ? "_files" : " ");
  return row.facts.bareValue == nullptr ? fmt::format("{}[{}]:{}", name, help, value)
                                        : fmt::format("{}=-[{}]::{}", name, help, value);
}

std::string ZshArguments(const OptionRow& row) {
  std::string lines;
  for (const std::string& name : NamesOf(row)) {
    lines += fmt::format(" \\\n        {}", Quoted(ZshSpecOf(row, name)));
  }
  return lines;
}

std::string ZshCompletion() {
  std::string text =
      "#compdef kivclip\n_kivclip() {\n  if (( CURRENT == 2 )); then\n    local -a commands=(\n";
  for (const CommandRow& row : CommandTable()) {
    text += fmt::format("      {}\n", Quoted(fmt::format("{}:{}", row.name, row.help)));
  }
  text +=
      "    )\n    _describe command commands\n    return\n  fi\n"
      "  local command=$words[2]\n  shift words\n  (( CURRENT-- ))\n  case $command in\n";
  for (const CommandRow& command : CommandTable()) {
    text += fmt::format("    {})\n      _arguments", command.name);
    for (const OptionRow& row : OptionTable()) {
      if (row.IsOf(command)) text += ZshArguments(row);
    }
    text += command.takesInput ? " \\\n        '1:INPUT:_files' ;;\n" : " ;;\n";
  }
  return text + "  esac\n}\n_kivclip \"$@\"\n";
}

std::string FishOption(const CommandRow& command, const OptionRow& row) {
  std::string line =
      fmt::format("complete -c kivclip -n '__fish_seen_subcommand_from {}'", command.name);
  for (const std::string& name : NamesOf(row)) {
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (TakesNextWord(row)) line += IsFile(row) ? " -r -F" : " -x";
  return line + " -d " + Quoted(row.facts.help) + "\n";
}

std::string FishCompletion() {
  std::string text = "# Completion of kivclip for fish.\n";
  for (const CommandRow& command : CommandTable()) {
    text += fmt::format("complete -c kivclip -f -n __fish_use_subcommand -a {} -d {}\n",
                        command.name, Quoted(command.help));
  }
  for (const CommandRow& command : CommandTable()) {
    for (const OptionRow& row : OptionTable()) {
      if (row.IsOf(command)) text += FishOption(command, row);
    }
  }
  return text;
}

}  // namespace

std::string Completion(std::string_view shell) {
  if (shell == "bash") return BashCompletion();
  if (shell == "zsh") return ZshCompletion();
  if (shell == "fish") return FishCompletion();
  kiv::session::FailUsage("--completion {}: expected bash, zsh or fish", shell);
}

}  // namespace cli
