#include "cli/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

#include "cli/KeptOptions.h"
#include "cli/Messages.h"
#include "cli/OpeningProgress.h"
#include "cli/OptionTable.h"
#include "cli/Reference.h"
#include "session/Fail.h"
#include "session/OptionTable.h"
#include "session/SettingsFile.h"

namespace cli {
namespace {

constexpr char kFooter[] =
    "Exit status: 0 done, 1 failed (one line on standard error), 2 wrong command line, 130 "
    "interrupted.\nStandard output carries data only.";

// Without what stands for a value that is left out.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    const std::string name = CLI::Formatter::make_option_name(option, isPositional);
    return name.substr(0, name.find('{'));
  }
};

std::string Refusal(const std::string& value) { return value.empty() ? "no value given" : ""; }

// What CLI11 writes into: one of both, by the kind of the option.
struct Typed {
  std::string text;
  bool isOn = false;
};
using TypedOptions = std::map<const OptionRow*, Typed>;

std::string NamesOf(const OptionRow& row) {
  const std::string name = SpelledOut(row.facts);
  return row.shortName == nullptr ? name : fmt::format("{},{}", row.shortName, name);
}

CLI::Option* AddOption(CLI::App& app, const OptionRow& row, Typed* typed) {
  const OptionFacts& option = row.facts;
  const std::string names = NamesOf(row);
  if (option.argument == nullptr) return app.add_flag(names, typed->isOn, option.help);
  if (option.bareValue == nullptr) return app.add_option(names, typed->text, option.help);
  return app.add_flag(fmt::format("{}{{{}}}", names, option.bareValue), typed->text, option.help);
}

std::string ArgumentOf(const OptionFacts& option) {
  return option.bareValue == nullptr ? option.argument : fmt::format("[={}]", option.argument);
}

// Two commands may share an option under the same name, so the rows of one command are added alone.
void AddOptions(CLI::App& app, const CommandRow& command, TypedOptions* typed) {
  for (const OptionRow& row : OptionTable()) {
    if (!row.IsOf(command)) continue;
    CLI::Option* option = AddOption(app, row, &(*typed)[&row]);
    if (row.facts.argument != nullptr) {
      option->type_name(ArgumentOf(row.facts))->check(Refusal, "");
    }
    if (row.presence == Presence::kRequired) option->required();
  }
}

OptionTexts TextsOf(const TypedOptions& typed) {
  OptionTexts texts;
  for (const auto& [row, each] : typed) {
    const std::string text = each.isOn ? kBareValue : each.text;
    if (!text.empty()) texts.emplace(row, text);
  }
  return texts;
}

std::string CommandNames() {
  std::string names;
  for (const CommandRow& row : CommandTable()) {
    names.append(names.empty() ? "" : ", ").append(row.name);
  }
  return names;
}

std::string GeneralHelp() {
  std::string text = "Usage: kivclip COMMAND [arguments]\n\nCommands:\n";
  for (const CommandRow& row : CommandTable()) {
    text += fmt::format("  {:12}{}\n", row.name, row.help);
  }
  return text +
         "\nkivclip COMMAND --help lists the options of a command, --version tells the version, "
         "--manual\n"
         "writes the manual page, --completion SHELL what bash, zsh or fish complete by.\n\n" +
         kFooter + "\n";
}

// What is asked of kivclip itself.
std::optional<std::string> GeneralText(const std::vector<std::string>& arguments) {
  const std::string& name = arguments.front();
  if (name == "--help" || name == "-h") return GeneralHelp();
  if (name == "--version") return "kivclip " KIV_VERSION "\n";
  if (name == "--manual") return ManualPage();
  if (name == "--completion") return Completion(arguments.size() > 1 ? arguments[1] : "");
  return std::nullopt;
}

const CommandRow& FindCommand(const std::string& name) {
  const auto commands = CommandTable();
  const auto found = std::find_if(commands.begin(), commands.end(),
                                  [&](const CommandRow& row) { return row.name == name; });
  if (found == commands.end()) {
    FailUsage("there is no command '{}': use one of {}", name, CommandNames());
  }
  return *found;
}

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

[[noreturn]] void FailParsing(const std::string& why, const CommandRow& command) {
  FailUsage("{} (kivclip {} --help lists the options)", why, command.name);
}

enum class Parsed { kCommand, kHelp };

Parsed Parse(const CommandRow& command, const std::vector<std::string>& arguments,
             std::string* input, OptionTexts* texts) {
  TypedOptions typed;
  CLI::App app(command.help, "kivclip " + std::string(command.name));
  app.footer(fmt::format("Example:\n  kivclip {}\n\n{}", command.example, kFooter));
  app.formatter(std::make_shared<HelpFormatter>());
  app.allow_windows_style_options(false);
  if (command.takesInput) app.add_option("INPUT", *input, "the clip")->required()->type_name("");
  AddOptions(app, command, &typed);
  try {
    // CLI11 takes them from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    PrintOutput(app.help());
    return Parsed::kHelp;
  } catch (const CLI::ArgumentMismatch& error) {
    const std::string text = FirstLine(error.what());
    if (text.find("At Most 1") == std::string::npos) FailParsing(text, command);
    FailParsing(text.substr(0, text.find(':')) + " is given more than once", command);
  } catch (const CLI::ParseError& error) {
    FailParsing(FirstLine(error.what()), command);
  }
  *texts = TextsOf(typed);
  return Parsed::kCommand;
}

// Empty for an option that is not there.
std::string TextOf(const OptionTexts& texts, std::string_view name) {
  const auto found = std::find_if(texts.begin(), texts.end(),
                                  [&](const auto& each) { return each.first->facts.name == name; });
  return found == texts.end() ? "" : found->second;
}

template <typename Wanted>
void ReadThose(const OptionTexts& texts, Options* options, Wanted wanted) {
  for (const auto& [row, text] : texts) {
    if (wanted(*row)) Read(*row, text, options);
  }
}

Options Interpret(const CommandRow& command, const std::string& input, const OptionTexts& texts) {
  Options options;
  options.command = &command;
  options.input = input;
  ReadThose(texts, &options, [](const OptionRow& row) { return row.IsCommon(); });
  ReadThose(texts, &options, [](const OptionRow& row) { return row.IsOfClip(); });
  CheckOptions(options.clip);
  ReadThose(texts, &options,
            [](const OptionRow& row) { return !row.IsCommon() && !row.IsOfClip(); });
  options.clip.kept = KeptOptionsOf(texts);
  options.clip.onNote = PrintNote;
  options.clip.onOpening = TellOfOpening(input);
  if (command.complete != nullptr) command.complete(&options);
  return options;
}

}  // namespace

std::optional<Options> ReadCommandLine(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    FailUsage("no command given: use one of {}, or --help", CommandNames());
  }
  const std::string& name = arguments.front();
  if (const auto text = GeneralText(arguments)) {
    PrintOutput(*text);
    return std::nullopt;
  }
  const CommandRow& command = FindCommand(name);
  const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  std::string input;
  OptionTexts texts;
  if (Parse(command, rest, &input, &texts) == Parsed::kHelp) return std::nullopt;
  const std::string settings = (command.bit & kChainBits) != 0 ? TextOf(texts, "settings") : "";
  if (settings.empty()) return Interpret(command, input, texts);
  FillFromSettings(SettingsFile::Read(settings), command, &texts);
  try {
    return Interpret(command, input, texts);
  } catch (const SessionError& error) {
    FailUsage("{} (the options kept in '{}' included)", error.what(), settings);
  }
}

}  // namespace cli
