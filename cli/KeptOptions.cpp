#include "cli/KeptOptions.h"

#include <filesystem>
#include <system_error>

#include "session/Export.h"
#include "session/SessionError.h"

namespace cli {
namespace {

// For whoever loads the settings from another folder.
std::string AbsolutePath(const std::string& path) {
  std::error_code ignored;
  const auto whole = std::filesystem::absolute(path, ignored);
  return whole.empty() ? path : whole.lexically_normal().string();
}

bool IsOfFormat(const OptionRow& row) { return row.facts.group == OptionGroup::kFormat; }

bool SuitsTheOutput(const OptionTexts& texts) {
  Options options;
  for (const auto& [row, text] : texts) {
    if (IsOfFormat(*row)) Read(*row, text, &options);
  }
  try {
    FormOf(options.plan);
    return true;
  } catch (const SessionError&) {
    return false;
  }
}

}  // namespace

void FillFromSettings(const SettingsFile& settings, const CommandRow& command, OptionTexts* texts) {
  OptionTexts filled = *texts;
  for (const OptionRow& row : OptionTable()) {
    if (row.facts.settingsKey == nullptr || !row.IsOf(command)) continue;
    std::string text = settings.Text(row.facts.settingsKey);
    if (!text.empty()) filled.try_emplace(&row, std::move(text));
  }
  const bool suits = SuitsTheOutput(filled);
  for (auto& [row, text] : filled) {
    if (suits || !IsOfFormat(*row)) texts->try_emplace(row, std::move(text));
  }
}

KeptOptions KeptOptionsOf(const OptionTexts& texts) {
  KeptOptions kept;
  for (const auto& [row, text] : texts) {
    if (row->facts.settingsKey == nullptr) continue;
    kept.emplace_back(row->facts.settingsKey, row->facts.isKeptAsPath ? AbsolutePath(text) : text);
  }
  return kept;
}

}  // namespace cli
