#include "host/KeptOptions.h"

#include <array>

#include "engine/media/Writer.h"
#include "host/OptionValues.h"
#include "kiv/platform/KivCommon.h"

namespace host {
namespace {

constexpr size_t kLongestText = 1024;

std::wstring KeyOf(const OptionRow& row) {
  const std::string name = row.names;
  return L"Kivclip." + KivCommon::Char2WChar(name.substr(name.find_first_not_of('-')).c_str());
}

bool IsKeptBy(const CommandRow& command, const OptionRow& row) {
  return row.isKept && (row.commands & command.bit) != 0;
}

std::string TextIn(IKivProperties* settings, const OptionRow& row) {
  std::array<wchar_t, kLongestText> text{};
  settings->GetString(KeyOf(row).c_str(), text.data(), static_cast<int32_t>(text.size()));
  return KivCommon::WChar2Char(text.data());
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
    kept.emplace_back(KeyOf(row), texts.*row.text);
  }
  return kept;
}

void StoreKeptOptions(const KeptOptions& options, IKivProperties* settings) {
  for (const auto& [key, text] : options) {
    settings->SetString(key.c_str(), KivCommon::Char2WChar(text.c_str()).c_str());
  }
}

}  // namespace host
