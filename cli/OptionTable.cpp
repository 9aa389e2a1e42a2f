#include "cli/OptionTable.h"

#include <vector>

#include "cli/CliValues.h"
#include "session/OptionValues.h"

namespace cli {
namespace {

constexpr OptionGroup kGroup = OptionGroup::kFrontEnd;

using Text = std::string_view;

void ReadOutput(Text, Text text, Options* options) {
  options->output = text;
  options->plan.output = text;
}

// The clip's settings, read if they are there, and written.
void ReadOwnSettings(Text, Text text, Options* options) {
  options->clip.settings = text;
  options->saveSettings = text;
}

void ReadLevel(Text option, Text text, Options* options) {
  options->clip.stabilize = ReadStabilize(option, text);
}

template <auto Field>
void Store(Text, Text text, Options* options) {
  options->*Field = text;
}

template <auto Field>
void Switch(Text, Text text, Options* options) {
  options->*Field = text == kBareValue;
}

template <auto Field, auto ReadValue>
void Into(Text option, Text text, Options* options) {
  options->*Field = ReadValue(option, text);
}

constexpr auto kRequired = Presence::kRequired;
constexpr auto kOptional = Presence::kOptional;

// What is written, and which frames.
constexpr OptionRow kOutputs[] = {
    {{"output", "OUTPUT",
      "a .mp4, .mov, .mkv, .webm or .y4m file, a pattern with %d ending in .png or .jpg, - or null",
      OptionGroup::kFormat},
     ReadOutput,
     kRenderBit,
     kRequired,
     "-o"},
    {{"output", "FILE.png", "the picture to write, .png or .jpg, or - for a PNG on standard output",
      OptionGroup::kFormat},
     ReadOutput,
     kFrameBit | kSheetBit,
     kRequired,
     "-o"},
    {{"at", "N", "the frame of the result, 0 for the first", kGroup},
     Into<&Options::at, ReadIndex>,
     kFrameBit,
     kRequired},
};

constexpr OptionRow kOfOneCommand[] = {
    {{"level", "LEVEL", "how strongly it will be steadied, 10 if not given or stored", kGroup},
     ReadLevel,
     kStabilizeBit},
    {{"plot", "FILE.png", "draw the camera's path as it is and as it will be", kGroup},
     Store<&Options::plot>,
     kStabilizeBit},
    {{"settings", "FILE.json", "the clip's settings, kept but for the motion data, or a new file",
      kGroup},
     ReadOwnSettings,
     kStabilizeBit,
     kRequired},
    {{"plot", "FILE.png", "draw the curves", kGroup}, Store<&Options::plot>, kKeyframesBit},
    {{"at", "N", "print the value at frame N", kGroup},
     Into<&Options::atFrame, ReadFrame>,
     kKeyframesBit},
};

constexpr OptionRow kSaveSettings[] = {
    {{"save-settings", "FILE.json", "save the clip's settings after", kGroup},
     Store<&Options::saveSettings>,
     kChainBits},
};

constexpr OptionRow kMessages[] = {
    {{"progress", "FORM", "json, bar or none; a bar on a terminal, else none, if not given",
      kGroup},
     Into<&Options::progress, ReadProgress>,
     kProgressBits},
    {{"report", "FILE.json", "write what was done, and how long it took", kGroup},
     Store<&Options::report>,
     kRenderBit},
    {{"json", nullptr, "as one JSON object", kGroup}, Switch<&Options::json>, kInfoBit},
    {{"quiet", nullptr, "no notes and no progress, errors only", kGroup},
     Switch<&Options::quiet>,
     kEveryBit,
     kOptional,
     "-q"},
    {{"verbose", "LEVEL", "log to standard error: failure (all, if not given), filter or creation",
      kGroup, nullptr, "failure"},
     Into<&Options::logLevel, ReadLogLevel>,
     kEveryBit},
};

class Table {
 public:
  Table() {
    Add(kOutputs);
    AddExport(OptionGroup::kSpan, kSpanBits);
    for (const auto& row : ClipOptionTable()) {
      if (row.facts.group != OptionGroup::kChain) AddChain(row);
    }
    Add(kOfOneCommand);
    for (const auto& row : ClipOptionTable()) {
      if (row.facts.group == OptionGroup::kChain) AddChain(row);
    }
    Add(kSaveSettings);
    AddExport(OptionGroup::kFormat, kRenderBit);
    Add(kMessages);
  }
  std::span<const OptionRow> Rows() const { return rows_; }

 private:
  void Add(std::span<const OptionRow> rows) { rows_.insert(rows_.end(), rows.begin(), rows.end()); }
  void AddChain(const kiv::session::OptionRow<ClipOptions>& row) {
    rows_.push_back({row.facts, row.read, kChainBits});
  }
  void AddExport(OptionGroup group, unsigned commands) {
    for (const auto& row : ExportOptionTable()) {
      if (row.facts.group == group) rows_.push_back({row.facts, row.read, commands});
    }
  }

  std::vector<OptionRow> rows_;
};

// Where a row's reader puts the value.
ClipOptions* TargetOf(OptionReader<ClipOptions>, Options* options) { return &options->clip; }
ExportPlan* TargetOf(OptionReader<ExportPlan>, Options* options) { return &options->plan; }
Options* TargetOf(OptionReader<Options>, Options* options) { return options; }

}  // namespace

bool OptionRow::IsOf(const CommandRow& command) const { return (commands & command.bit) != 0; }

std::span<const OptionRow> OptionTable() {
  static const Table table;
  return table.Rows();
}

void Read(const OptionRow& row, std::string_view text, Options* options) {
  std::visit([&](auto read) { read(SpelledOut(row.facts), text, TargetOf(read, options)); },
             row.read);
}

}  // namespace cli
