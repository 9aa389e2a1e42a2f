#include "session/SettingsFile.h"

#include <utility>
#include <vector>

#include "kiv/platform/KivCommon.h"
#include "session/Settings.h"

namespace kiv::session {
namespace {

constexpr size_t kLongestText = 4097;  // with the longest path

}  // namespace

struct SettingsFile::Impl {
  KivPropDecorator bag;
};

SettingsFile::SettingsFile(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

SettingsFile SettingsFile::Read(const std::string& path) {
  return SettingsFile(std::make_shared<const Impl>(Impl{ReadSettings(path)}));
}

std::string SettingsFile::Text(const std::string& key) const {
  std::vector<wchar_t> text(kLongestText);
  impl_->bag->GetString(KivCommon::Char2WChar(key.c_str()).c_str(), text.data(),
                        static_cast<int32_t>(text.size()));
  return KivCommon::WChar2Char(text.data());
}

}  // namespace kiv::session
