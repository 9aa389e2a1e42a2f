#include "engine/registry/RegistryFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "engine/bags/JsonText.h"
#include "engine/base/TextFile.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"
#include "kiv/platform/Registry.h"

namespace kiv {

namespace {

constexpr char kFormat[] = "kiv-registry";
constexpr int kVersion = 1;
// Each key is an object in the "keys" object of the one above; two more stand around the root.
constexpr JsonLimits kLimits{size_t{4} << 20, 2 * static_cast<int>(kMaxRegistryDepth) + 4, 100000};

wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? c - L'A' + L'a' : c; }

std::wstring Wide(const std::string& text) { return KivCommon::Char2WChar(text.c_str()); }
std::string Narrow(const std::wstring& text) { return KivCommon::WChar2Char(text.c_str()); }

// The member, an empty object when missing, null when it is something else.
const Json::Value* ObjectMember(const Json::Value& object, const char* name) {
  static const Json::Value kEmpty(Json::objectValue);
  const Json::Value* const member = object.find(name, name + std::char_traits<char>::length(name));
  if (!member) return &kEmpty;
  return member->isObject() ? member : nullptr;
}

bool ReadNode(const Json::Value& json, size_t depth, RegistryNode* node) {
  if (!json.isObject() || depth > kMaxRegistryDepth) return false;
  const Json::Value* const values = ObjectMember(json, "values");
  const Json::Value* const keys = ObjectMember(json, "keys");
  if (!values || !keys) return false;
  for (const std::string& name : values->getMemberNames()) {
    if (!(*values)[name].isString()) return false;
    node->SetValue(Wide(name), Wide((*values)[name].asString()));
  }
  for (const std::string& name : keys->getMemberNames()) {
    bool made = false;
    if (name.empty() || !ReadNode((*keys)[name], depth + 1, node->Make({Wide(name)}, &made))) {
      return false;
    }
  }
  return true;
}

Json::Value WriteNode(const RegistryNode& node) {
  Json::Value json(Json::objectValue);
  for (const auto& [name, text] : node.values) json["values"][Narrow(name)] = Narrow(text);
  for (const RegistryNode& key : node.keys) json["keys"][Narrow(key.name)] = WriteNode(key);
  return json;
}

bool ReadDocument(const std::string& text, RegistryNode* root) {
  Json::Value document;
  std::string error;
  if (!ParseJson(text, kLimits, &document, &error) || !document.isObject()) return false;
  const Json::Value format = document.get("format", "");
  const Json::Value version = document.get("version", 0);
  if (!format.isString() || format.asString() != kFormat) return false;
  if (!version.isInt() || version.asInt() != kVersion) return false;
  return ReadNode(document.get("root", Json::objectValue), 0, root);
}

std::string& Failure() {
  thread_local std::string failure;
  return failure;
}

std::string ReasonOf(FileResult result, int error) {
  switch (result) {
    case FileResult::kNotAFile:
      return "it is not a regular file";
    case FileResult::kTooLarge:
      return "it is too large";
    case FileResult::kFailed:
      return std::generic_category().message(error);
    default:
      return "it is damaged or of a newer version";
  }
}

}  // namespace

bool SameIgnoringCase(std::wstring_view a, std::wstring_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return Lower(x) == Lower(y); });
}

RegistryNode* RegistryNode::FindKey(std::wstring_view keyName) {
  for (RegistryNode& key : keys) {
    if (SameIgnoringCase(key.name, keyName)) return &key;
  }
  return nullptr;
}

RegistryNode* RegistryNode::Find(const RegistryPathNames& path) {
  RegistryNode* node = this;
  for (const std::wstring& step : path) {
    node = node->FindKey(step);
    if (!node) return nullptr;
  }
  return node;
}

const std::wstring* RegistryNode::FindValue(std::wstring_view valueName) const {
  for (const auto& [known, text] : values) {
    if (SameIgnoringCase(known, valueName)) return &text;
  }
  return nullptr;
}

RegistryNode* RegistryNode::Make(const RegistryPathNames& path, bool* made) {
  RegistryNode* node = this;
  for (const std::wstring& step : path) {
    RegistryNode* next = node->FindKey(step);
    if (!next) {
      next = &node->keys.emplace_back();
      next->name = step;
      *made = true;
    }
    node = next;
  }
  return node;
}

void RegistryNode::SetValue(std::wstring_view valueName, std::wstring text) {
  for (auto& [known, stored] : values) {
    if (!SameIgnoringCase(known, valueName)) continue;
    stored = std::move(text);
    return;
  }
  values.emplace_back(valueName, std::move(text));
}

void RegistryNode::RemoveKey(std::wstring_view keyName) {
  std::erase_if(keys, [&](const RegistryNode& key) { return SameIgnoringCase(key.name, keyName); });
}

std::string RegistryPath() {
  if (const char* const file = std::getenv("KIV_REGISTRY"); file && *file) return file;
  const char* const data = std::getenv("XDG_DATA_HOME");
  if (data && *data == '/') return std::string(data) + "/kiv/registry.json";
  const char* const home = std::getenv("HOME");
  return home && *home ? std::string(home) + "/.local/share/kiv/registry.json" : std::string();
}

std::string TakeRegistryFailure() { return std::exchange(Failure(), {}); }

void NoteRegistryFailure(const char* what, const std::string& why) {
  Failure() = "the registry file '" + RegistryPath() + "' cannot be " + what + ": " + why;
}

int32_t LoadRegistry(RegistryNode* root) {
  std::string text;
  const FileResult result = ReadTextFile(RegistryPath(), kLimits.bytes, &text);
  if (result == FileResult::kMissing) return ERROR_SUCCESS;
  const std::string why = ReasonOf(result, errno);
  if (result == FileResult::kDone && ReadDocument(text, root)) return ERROR_SUCCESS;
  NoteRegistryFailure("read", why);
  KIV_LOG(LogLevel::kFailure, L"Registry file %hs is damaged, of a newer version or unreadable",
          RegistryPath().c_str());
  return ERROR_ACCESS_DENIED;
}

int32_t SaveRegistry(const RegistryNode& root) {
  Json::Value document;
  document["format"] = kFormat;
  document["version"] = kVersion;
  document["root"] = WriteNode(root);
  const std::string text = WriteJson(document);
  // What could not be read back must not be written.
  const FileResult result =
      text.size() > kLimits.bytes ? FileResult::kTooLarge : ReplaceTextFile(RegistryPath(), text);
  if (result == FileResult::kDone) return ERROR_SUCCESS;
  NoteRegistryFailure("written", ReasonOf(result, errno));
  return ERROR_ACCESS_DENIED;
}

}  // namespace kiv
