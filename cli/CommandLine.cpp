#include "cli/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "cli/CliValues.h"
#include "cli/KeptOptions.h"
#include "cli/Messages.h"
#include "cli/OpeningProgress.h"
#include "cli/OptionTable.h"
#include "cli/Reference.h"
#include "session/Fail.h"
#include "session/OptionValues.h"
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

CLI::Option* AddOption(CLI::App& app, const OptionRow& row, OptionTexts* texts) {
  if (row.flag != nullptr) return app.add_flag(row.names, texts->*row.flag, row.help);
  if (row.standIn == nullptr) return app.add_option(row.names, texts->*row.text, row.help);
  return app.add_flag(fmt::format("{}{{{}}}", row.names, row.standIn), texts->*row.text, row.help);
}

std::string ValueNameOf(const OptionRow& row) {
  return row.standIn == nullptr ? row.valueName : fmt::format("[={}]", row.valueName);
}

// Two commands may share an option under the same name, so the rows of one command are added alone.
void AddOptions(CLI::App& app, const CommandRow& command, OptionTexts* texts) {
  for (const OptionRow& row : OptionTable()) {
    if ((row.commands & command.bit) == 0) continue;
    CLI::Option* option = AddOption(app, row, texts);
    if (row.valueName != nullptr) option->type_name(ValueNameOf(row))->check(Refusal, "");
    if (row.presence == Presence::kRequired) option->required();
  }
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
  CLI::App app(command.help, "kivclip " + std::string(command.name));
  app.footer(fmt::format("Example:\n  kivclip {}\n\n{}", command.example, kFooter));
  app.formatter(std::make_shared<HelpFormatter>());
  app.allow_windows_style_options(false);
  if (command.takesInput) app.add_option("INPUT", *input, "the clip")->required()->type_name("");
  AddOptions(app, command, texts);
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
  return Parsed::kCommand;
}

void ReadCrop(const OptionTexts& texts, ClipOptions* chain) {
  if (!texts.crop.empty()) chain->crop = ReadRegion("--crop", texts.crop);
  chain->cropKeyframes = texts.cropKeyframes;
  if (chain->crop && !chain->cropKeyframes.empty()) {
    FailUsage("--crop and --crop-keyframes exclude each other");
  }
}

void ReadTimeOptions(const OptionTexts& texts, ClipOptions* chain) {
  if (!texts.speed.empty()) chain->speed = ReadSpeed("--speed", texts.speed);
  if (!texts.fps.empty()) chain->frameRate = ReadRate("--fps", texts.fps);
  if (!texts.interpolation.empty()) {
    chain->interpolation = ReadInterpolation("--interpolation", texts.interpolation);
  }
}

void ReadAlphaFill(const OptionTexts& texts, AlphaOptions* alpha) {
  if (!texts.alphaColour.empty()) alpha->colour = ReadColour("--alpha-color", texts.alphaColour);
  if (!texts.alphaGradient.empty()) {
    alpha->gradient = ReadGradient("--alpha-gradient", texts.alphaGradient);
  }
  alpha->image = texts.alphaImage;
  const int fills = (alpha->colour ? 1 : 0) + (alpha->gradient ? 1 : 0) + !alpha->image.empty();
  if (fills > 1) {
    FailUsage("--alpha-color, --alpha-gradient and --alpha-image exclude each other");
  }
}

void ReadAlpha(const OptionTexts& texts, AlphaOptions* alpha) {
  alpha->preset = texts.alphaPreset;
  ReadAlphaFill(texts, alpha);
  alpha->fullHd = texts.alphaFullHd;
  alpha->over = texts.over;
  const auto seconds = [](const char* option, const std::string& text, Least least) {
    return text.empty() ? std::nullopt : std::optional(ReadSeconds(option, text, least));
  };
  alpha->duration = seconds("--alpha-duration", texts.alphaDuration, Least::kAboveZero);
  alpha->pause = seconds("--alpha-pause", texts.alphaPause, Least::kZero);
  alpha->length = seconds("--alpha-length", texts.alphaLength, Least::kAboveZero);
  if (!texts.alphaLoop.empty()) alpha->loop = ReadIndex("--alpha-loop", texts.alphaLoop);
}

ClipOptions ReadClipOptions(const OptionTexts& texts) {
  ClipOptions chain;
  if (!texts.chain.empty()) chain.chain = ReadChain("--chain", texts.chain);
  ReadTimeOptions(texts, &chain);
  if (!texts.size.empty()) chain.size = ReadSize("--size", texts.size);
  if (!texts.decodeScale.empty()) {
    chain.decodeScale = ReadScale("--decode-scale", texts.decodeScale);
  }
  if (!texts.proxy.empty() && texts.noProxy) FailUsage("--proxy and --no-proxy exclude each other");
  chain.proxy = texts.proxy;
  chain.noProxy = texts.noProxy;
  chain.reverse = texts.reverse;
  chain.noReverse = texts.noReverse;
  if (chain.reverse && chain.noReverse) FailUsage("--reverse and --no-reverse exclude each other");
  if (!texts.reverseRange.empty()) {
    // Settings may hold the other half.
    if (!texts.reverse && texts.settings.empty()) FailUsage("--reverse-range needs --reverse");
    chain.reverseRange = ReadSpan("--reverse-range", texts.reverseRange);
  }
  if (!texts.memory.empty()) chain.memory = ReadMemory("--memory", texts.memory);
  if (!texts.stabilize.empty()) {
    chain.stabilize = ReadStabilize("--stabilize", texts.stabilize);
  }
  chain.settings = texts.settings;
  ReadCrop(texts, &chain);
  ReadAlpha(texts, &chain.alpha);
  return chain;
}

void PlanTheOutput(const OptionTexts& texts, Options* options) {
  ExportPlan plan{texts.output, texts.format, texts.codec, {}, {}};
  if (!texts.quality.empty()) plan.quality = ReadIndex("--quality", texts.quality);
  options->form = FormOf(plan);
  options->plan = plan;
}

void ReadSpanOptions(const OptionTexts& texts, Options* options) {
  if (!texts.frames.empty()) options->frames = ReadSpan("--frames", texts.frames);
  if (!texts.progress.empty()) options->progress = ReadProgress("--progress", texts.progress);
}

void ReadRenderOptions(const OptionTexts& texts, Options* options) {
  PlanTheOutput(texts, options);
  ReadSpanOptions(texts, options);
  options->report = texts.report;
  const bool single = options->frames.last && *options->frames.last == options->frames.first;
  if (options->form == OutputForm::kPicture && !single) {
    FailUsage(
        "the output '{}' holds one picture: give a pattern such as frame_%04d.png, or "
        "one frame with --frames N:N",
        texts.output);
  }
}

bool IsPicture(const ExportPlan& plan) {
  try {
    return FormOf(plan) == OutputForm::kPicture;
  } catch (const SessionError&) {
    return false;
  }
}

void PlanThePicture(const OptionTexts& texts, Options* options) {
  options->plan.output = texts.output;
  if (!IsPicture(options->plan)) {
    FailUsage("the output '{}' is no picture: give a name that ends in .png, without %",
              texts.output);
  }
  options->form = OutputForm::kPicture;
}

void ReadFrameOptions(const OptionTexts& texts, Options* options) {
  PlanThePicture(texts, options);
  options->at = ReadIndex("--at", texts.at);
}

void ReadSheetOptions(const OptionTexts& texts, Options* options) {
  PlanThePicture(texts, options);
  ReadSpanOptions(texts, options);
}

void ReadPlot(const OptionTexts& texts, Options* options) {
  options->plot = texts.plot;
  options->output = texts.plot;
  OptionTexts picture;
  picture.output = texts.plot;
  if (!texts.plot.empty()) PlanThePicture(picture, options);
}

void ReadStabilizeOptions(const OptionTexts& texts, Options* options) {
  ReadPlot(texts, options);
  if (!texts.progress.empty()) options->progress = ReadProgress("--progress", texts.progress);
  options->clip.stabilize.emplace();
  if (!texts.level.empty()) options->clip.stabilize = ReadStabilize("--level", texts.level);
  options->saveSettings = texts.settings;
  if (!std::filesystem::exists(texts.settings)) options->clip.settings.clear();
}

void ReadKeyframesOptions(const OptionTexts& texts, Options* options) {
  ReadPlot(texts, options);
  if (!texts.at.empty()) options->atFrame = ReadFrame("--at", texts.at);
}

Options Interpret(const CommandRow& command, const std::string& input, const OptionTexts& texts) {
  Options options;
  options.input = input;
  options.output = texts.output;
  options.json = texts.json;
  options.quiet = texts.quiet;
  if (!texts.verbose.empty()) options.logLevel = ReadLogLevel("--verbose", texts.verbose);
  options.clip = ReadClipOptions(texts);
  options.clip.kept = KeptOptionsOf(command, texts);
  options.clip.onNote = PrintNote;
  options.clip.onOpening = TellOfOpening(input);
  options.saveSettings = texts.saveSettings;
  if (command.name == "render") {
    options.command = Command::kRender;
    ReadRenderOptions(texts, &options);
  } else if (command.name == "frame") {
    options.command = Command::kFrame;
    ReadFrameOptions(texts, &options);
  } else if (command.name == "sheet") {
    options.command = Command::kSheet;
    ReadSheetOptions(texts, &options);
  } else if (command.name == "verify") {
    options.command = Command::kVerify;
    ReadSpanOptions(texts, &options);
  } else if (command.name == "stabilize") {
    options.command = Command::kStabilize;
    ReadStabilizeOptions(texts, &options);
  } else if (command.name == "keyframes") {
    options.command = Command::kKeyframes;
    ReadKeyframesOptions(texts, &options);
  } else if (command.name == "register") {
    options.command = Command::kRegister;
  } else if (command.name == "unregister") {
    options.command = Command::kUnregister;
  }
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
  const bool hasChain = (command.bit & kChainBits) != 0;
  if (!hasChain || texts.settings.empty()) return Interpret(command, input, texts);
  FillFromSettings(SettingsFile::Read(texts.settings), command, &texts);
  try {
    return Interpret(command, input, texts);
  } catch (const SessionError& error) {
    FailUsage("{} (the options kept in '{}' included)", error.what(), texts.settings);
  }
}

}  // namespace cli
