#include "cli/KeptOptions.h"

#include <filesystem>
#include <system_error>

#include "session/Export.h"
#include "session/OptionValues.h"
#include "session/SessionError.h"

namespace cli {
namespace {

std::string KeyOf(const OptionRow& row) {
  const std::string name = row.names;
  return "Kivclip." + name.substr(name.find_first_not_of('-'));
}

bool IsKeptBy(const CommandRow& command, const OptionRow& row) {
  return row.isKept && (row.commands & command.bit) != 0;
}

// For whoever loads the settings from another folder.
std::string AbsolutePath(const std::string& path) {
  std::error_code ignored;
  const auto whole = std::filesystem::absolute(path, ignored);
  return whole.empty() ? path : whole.lexically_normal().string();
}

bool SuitsTheOutput(const OptionTexts& texts) {
  ExportPlan plan{texts.output, texts.format, texts.codec, {}, {}};
  if (!texts.quality.empty()) plan.quality = ReadIndex("--quality", texts.quality);
  try {
    FormOf(plan);
    return true;
  } catch (const SessionError&) {
    return false;
  }
}

}  // namespace

void FillFromSettings(const SettingsFile& settings, const CommandRow& command, OptionTexts* texts) {
  const OptionTexts typed = *texts;
  for (const OptionRow& row : OptionTable()) {
    if (!IsKeptBy(command, row) || !(texts->*row.text).empty()) continue;
    texts->*row.text = settings.Text(KeyOf(row));
  }
  if (SuitsTheOutput(*texts)) return;
  texts->codec = typed.codec;
  texts->quality = typed.quality;
}

KeptOptions KeptOptionsOf(const CommandRow& command, const OptionTexts& texts) {
  KeptOptions kept;
  for (const OptionRow& row : OptionTable()) {
    if (!IsKeptBy(command, row) || (texts.*row.text).empty()) continue;
    const std::string& text = texts.*row.text;
    kept.emplace_back(KeyOf(row), row.text == &OptionTexts::over ? AbsolutePath(text) : text);
  }
  return kept;
}

}  // namespace cli
