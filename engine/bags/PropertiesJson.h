// Property bags as JSON, and the settings document that holds a clip's bag.
//
// An entry is {"type": "...", "value": "..."} with a value's type name and canonical text, a bag inside
// a bag an object of entries. The document is
//   {"format": "kivclip-settings", "version": 1, "clip": {<key>: <entry or bag>, ...}}
// Interfaces are never written, and refused when read.
// Threads:  any; a bag must not be changed meanwhile.
// Errors:   false with one line in `error`; the bag is then unchanged. Nothing is thrown.
#pragma once

#include <string>

#include "kiv/platform/Properties.h"

namespace Json {
class Value;
}

namespace kiv {

// Bags inside bags, the outermost included.
constexpr int kMaxBagDepth = 32;
// Entries of one document.
constexpr size_t kMaxDocumentEntries = 1000000;
// Top-level members of a document that this version does not know are kept in the bag as one text
// under this key, and written back.
constexpr const wchar_t* kUnknownMembersKey = L"Settings.UnknownMembers";

// False when a bag contains itself or cannot be listed, and beyond the two limits.
bool WriteProperties(IKivProperties* bag, Json::Value* out);
// Adds to what the bag holds; an entry of the same key is replaced.
bool ReadProperties(const Json::Value& json, IKivProperties* bag, std::string* error);

// Empty when the bag cannot be written.
KIV_ENGINE_API std::string SettingsToText(IKivProperties* bag);
KIV_ENGINE_API bool SettingsFromText(const std::string& text, IKivProperties* bag,
                                     std::string* error);

}  // namespace kiv
