#include <json/json.h>

#include "engine/bags/JsonText.h"
#include "engine/bags/PropertiesJson.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace kiv {

namespace {

constexpr char kFormat[] = "kivclip-settings";
constexpr int kVersion = 1;
// Around the outermost bag stand the document and "clip"; inside the innermost the entry.
constexpr int kDepthAroundBags = 3;
// An entry counts as three parts: itself and its two members.
constexpr JsonLimits kLimits{size_t{64} << 20, kMaxBagDepth + kDepthAroundBags,
                             3 * kMaxDocumentEntries};

bool IsKnownMember(const std::string& name) {
  return name == "format" || name == "version" || name == "clip";
}

bool Refuse(const std::string& reason, std::string* error) {
  *error = reason;
  return false;
}

bool CheckHeader(const Json::Value& document, std::string* error) {
  const char* const kNotOurs = "not a kivclip settings document";
  if (!document.isObject() || !document["format"].isString()) return Refuse(kNotOurs, error);
  if (document["format"].asString() != kFormat) return Refuse(kNotOurs, error);
  const Json::Value& version = document["version"];
  if (!version.isInt() || version.asInt() < 1) {
    return Refuse("the settings document has no version", error);
  }
  if (version.asInt() > kVersion) {
    return Refuse("settings version " + std::to_string(version.asInt()) +
                      " is newer than this program's " + std::to_string(kVersion),
                  error);
  }
  return document["clip"].isObject() || Refuse("\"clip\" is not an object", error);
}

bool KeepUnknownMembers(const Json::Value& document, IKivProperties* bag) {
  Json::Value unknown(Json::objectValue);
  for (auto member = document.begin(); member != document.end(); ++member) {
    if (!IsKnownMember(member.name())) unknown[member.name()] = *member;
  }
  if (unknown.empty()) return true;
  const std::wstring text = KivCommon::Char2WChar(WriteCompactJson(unknown).c_str());
  return Succeeded(bag->SetString(kUnknownMembersKey, text.c_str()));
}

// The bag's text may be anybody's, so it is read with the care of a document.
void RestoreUnknownMembers(Json::Value* document) {
  Json::Value& clip = (*document)["clip"];
  Json::Value stored;
  if (!clip.removeMember(KivCommon::WChar2Char(kUnknownMembersKey), &stored)) return;
  Json::Value unknown;
  std::string ignored;
  if (!stored["value"].isString()) return;
  if (!ParseJson(stored["value"].asString(), kLimits, &unknown, &ignored)) return;
  if (!unknown.isObject()) return;
  for (auto member = unknown.begin(); member != unknown.end(); ++member) {
    if (!IsKnownMember(member.name())) (*document)[member.name()] = *member;
  }
}

bool ReadDocument(const std::string& text, IKivProperties* bag, std::string* error) {
  Json::Value document;
  if (!ParseJson(text, kLimits, &document, error)) return false;
  if (!CheckHeader(document, error)) return false;
  if (!ReadProperties(document["clip"], bag, error)) return false;
  return KeepUnknownMembers(document, bag) || Refuse("out of memory", error);
}

}  // namespace

std::string SettingsToText(IKivProperties* bag) {
  try {
    Json::Value document;
    document["format"] = kFormat;
    document["version"] = kVersion;
    if (!WriteProperties(bag, &document["clip"])) return {};
    RestoreUnknownMembers(&document);
    return WriteJson(document);
  } catch (...) {
    return {};
  }
}

bool SettingsFromText(const std::string& text, IKivProperties* bag, std::string* error) {
  if (!bag || !error) return false;
  try {
    return ReadDocument(text, bag, error);
  } catch (...) {
    return Refuse("out of memory", error);
  }
}

}  // namespace kiv
