#include "session/Settings.h"

#include <cerrno>
#include <system_error>

#include "engine/bags/PropertiesJson.h"
#include "engine/base/TextFile.h"
#include "engine/write/WriterFile.h"
#include "kiv/platform/KivCommon.h"
#include "session/Fail.h"
#include "session/SettingsFile.h"

namespace kiv::session {
namespace {

constexpr size_t kLargestSettings = size_t{256} << 20;

}  // namespace

std::string ReadTextFile(const std::string& path, const char* what) {
  std::string text;
  switch (kiv::ReadTextFile(path, kLargestSettings, &text, kiv::FileSource::kAny)) {
    case kiv::FileResult::kDone:
      return text;
    case kiv::FileResult::kTooLarge:
      Fail(ErrorCode::kDamaged, "cannot read {} '{}': too large", what, path);
    case kiv::FileResult::kNotAFile:
      Fail(ErrorCode::kDamaged, "cannot read {} '{}': it is no readable file", what, path);
    case kiv::FileResult::kMissing:
    case kiv::FileResult::kFailed:
      break;
  }
  Fail(ErrorCode::kNotFound, "cannot read {} '{}': {}", what, path,
       std::generic_category().message(errno));
}

KivPropDecorator ReadSettings(const std::string& path) {
  KivPropDecorator bag = KivCommon::CreateProperties();
  if (!bag) Fail(ErrorCode::kNoMemory, "no memory for the settings");
  const std::string text = ReadTextFile(path, "the settings");
  const size_t first = text.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
  if (first == std::string::npos || text[first] != '{') {
    Fail(ErrorCode::kDamaged, "cannot read the settings '{}': it is no settings file", path);
  }
  std::string why;
  if (!kiv::SettingsFromText(text, bag.Get(), &why)) {
    Fail(ErrorCode::kDamaged, "cannot read the settings '{}': {}", path, why);
  }
  return bag;
}

void WriteSettings(IKivProperties* bag, const std::string& path) {
  const std::string text = kiv::SettingsToText(bag);
  if (text.empty()) {
    Fail(ErrorCode::kWriteFailed, "cannot write the settings '{}': they cannot be listed", path);
  }
  WriteTextFile(path, text);
}

void StoreTexts(const SettingsTexts& texts, IKivProperties* settings) {
  for (const auto& [key, text] : texts) {
    settings->SetString(KivCommon::Char2WChar(key.c_str()).c_str(),
                        KivCommon::Char2WChar(text.c_str()).c_str());
  }
}

void WriteTextFile(const std::string& path, const std::string& text) {
  kiv::WriterFile file;
  auto error = file.Open(path);
  if (!error) error = file.Write(text.data(), text.size());
  if (!error) error = file.Commit();
  if (error) Fail(ErrorCode::kWriteFailed, "{}", *error);
}

}  // namespace kiv::session
