#include "cli/KeptOptions.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "cli/OptionValues.h"
#include "engine/write/Writer.h"
#include "kiv/platform/KivCommon.h"

namespace host {
namespace {

constexpr size_t kLongestText = 4097;  // with the longest path

std::wstring KeyOf(const OptionRow& row) {
  const std::string name = row.names;
  return L"Kivclip." + KivCommon::Char2WChar(name.substr(name.find_first_not_of('-')).c_str());
}

bool IsKeptBy(const CommandRow& command, const OptionRow& row) {
  return row.isKept && (row.commands & command.bit) != 0;
}

std::string TextIn(IKivProperties* settings, const OptionRow& row) {
  std::vector<wchar_t> text(kLongestText);
  settings->GetString(KeyOf(row).c_str(), text.data(), static_cast<int32_t>(text.size()));
  return KivCommon::WChar2Char(text.data());
}

// For whoever loads the settings from another folder.
std::string AbsolutePath(const std::string& path) {
  std::error_code ignored;
  const auto whole = std::filesystem::absolute(path, ignored);
  return whole.empty() ? path : whole.lexically_normal().string();
}

bool SuitsTheOutput(const OptionTexts& texts) {
  kiv::OutputRequest request{texts.output, texts.format, texts.codec};
  if (!texts.quality.empty()) request.quality = ReadIndex("--quality", texts.quality);
  kiv::OutputPlan plan;
  return !kiv::PlanOutput(request, &plan);
}

}  // namespace

void FillFromSettings(IKivProperties* settings, const CommandRow& command, OptionTexts* texts) {
  const OptionTexts typed = *texts;
  for (const OptionRow& row : OptionTable()) {
    if (!IsKeptBy(command, row) || !(texts->*row.text).empty()) continue;
    texts->*row.text = TextIn(settings, row);
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

void StoreKeptOptions(const KeptOptions& options, IKivProperties* settings) {
  for (const auto& [key, text] : options) {
    settings->SetString(key.c_str(), KivCommon::Char2WChar(text.c_str()).c_str());
  }
}

}  // namespace host
