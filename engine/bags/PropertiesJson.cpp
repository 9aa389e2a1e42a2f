#include "engine/bags/PropertiesJson.h"

#include <json/json.h>

#include <algorithm>
#include <vector>

#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace kiv {

namespace {

using KivCommon::Char2WChar;
using KivCommon::WChar2Char;

constexpr const wchar_t* kByteTypeName = ValueTypeOf<unsigned char>::kName;

// The text that reads back as the value. A byte's canonical text is the character, but a number is
// what is read.
std::wstring DocumentText(const CKivValue& value) {
  std::wstring text = value.GetValueText();
  if (value.GetTypeName() != kByteTypeName) return text;
  return std::to_wstring(text.empty() ? 0 : static_cast<int>(text[0]));
}

class BagWriter {
 public:
  bool Write(IKivProperties* bag, Json::Value* out) {
    KivComPtr<IKivProperties> holder(bag);
    const auto list = holder.As<IKivPropertyList>();
    const auto identity = holder.As<IUnknown>();
    const bool inside = std::find(path_.begin(), path_.end(), identity.Get()) != path_.end();
    if (!list || inside || path_.size() >= static_cast<size_t>(kMaxBagDepth)) return false;
    *out = Json::Value(Json::objectValue);
    path_.push_back(identity.Get());
    const bool written = WriteEntries(bag, list.Get(), out);
    path_.pop_back();
    return written;
  }

 private:
  bool WriteEntries(IKivProperties* bag, IKivPropertyList* list, Json::Value* out) {
    std::wstring key(static_cast<size_t>(kMaxPropertyKeyLength) + 1, L'\0');
    const int32_t count = list->GetCount();
    for (int32_t i = 0; i < count; ++i) {
      if (++entries_ > kMaxDocumentEntries) return false;
      if (Failed(list->GetKey(i, key.data(), kMaxPropertyKeyLength + 1))) return false;
      if (!WriteEntry(bag, list, key.c_str(), out)) return false;
    }
    return true;
  }

  bool WriteEntry(IKivProperties* bag, IKivPropertyList* list, const wchar_t* key,
                  Json::Value* out) {
    KivComPtr<IUnknown> object;
    if (Succeeded(bag->GetObject(key, object.Put()))) {
      const auto inner = object.As<IKivProperties>();
      return !inner || Write(inner.Get(), &(*out)[WChar2Char(key)]);
    }
    CKivValue value;
    if (Failed(list->GetValue(key, &value))) return false;
    if (value.CarriesInterface()) return true;
    Json::Value entry;
    entry["type"] = WChar2Char(value.GetTypeName().c_str());
    entry["value"] = WChar2Char(DocumentText(value).c_str());
    (*out)[WChar2Char(key)] = entry;
    return true;
  }

  std::vector<IUnknown*> path_;
  size_t entries_ = 0;
};

// What was read and is not in the bag yet: a value, or a bag when that is set.
struct Staged {
  std::wstring key;
  CKivValue value;
  KivPropDecorator inner;
};

class BagReader {
 public:
  explicit BagReader(std::string* error) : error_(error) {}

  bool Read(const Json::Value& json, IKivProperties* bag, int depth) {
    if (depth > kMaxBagDepth) return Refuse("bags are nested too deeply");
    if (!json.isObject()) return Refuse("not an object of entries");
    std::vector<Staged> staged;
    for (auto member = json.begin(); member != json.end(); ++member) {
      Staged& entry = staged.emplace_back();
      key_ = member.name();
      entry.key = Char2WChar(key_.c_str());
      if (entry.key.size() > static_cast<size_t>(kMaxPropertyKeyLength)) {
        return Refuse("the key is too long");
      }
      if (!ReadMember(*member, depth, &entry)) return false;
    }
    return Commit(staged, bag);
  }

 private:
  bool Refuse(const std::string& reason) {
    *error_ = key_.empty() ? reason : "\"" + key_.substr(0, 80) + "\": " + reason;
    return false;
  }

  // A bag has members of its own only; an entry's "type" is a text.
  bool ReadMember(const Json::Value& json, int depth, Staged* entry) {
    if (!json.isObject()) return Refuse("neither an entry nor a bag");
    if (json["type"].isString()) return ReadEntry(json, entry);
    entry->inner = KivCommon::CreateProperties();
    if (!entry->inner) return Refuse("out of memory");
    return Read(json, entry->inner.Get(), depth + 1);
  }

  bool ReadEntry(const Json::Value& json, Staged* entry) {
    const std::string typeName = json["type"].asString();
    if (!json["value"].isString()) return Refuse("the value is not a text");
    const int32_t result = entry->value.FromString(Char2WChar(typeName.c_str()),
                                                   Char2WChar(json["value"].asCString()));
    if (result == kValueUnknownType) {
      return Refuse("unknown type \"" + typeName.substr(0, 80) + "\"");
    }
    if (result != 0) return Refuse("out of memory");
    if (entry->value.CarriesInterface()) return Refuse("an interface cannot be stored");
    return true;
  }

  bool Commit(const std::vector<Staged>& staged, IKivProperties* bag) {
    for (const Staged& entry : staged) {
      const HRESULT hr = entry.inner ? bag->SetObject(entry.key.c_str(), entry.inner.Get())
                                     : bag->SetValue(entry.key.c_str(), &entry.value);
      if (Failed(hr)) return Refuse("the bag takes no more");
    }
    return true;
  }

  std::string* error_;
  std::string key_;
};

}  // namespace

bool WriteProperties(IKivProperties* bag, Json::Value* out) {
  if (!bag || !out) return false;
  try {
    Json::Value json;
    if (!BagWriter().Write(bag, &json)) return false;
    out->swap(json);
    return true;
  } catch (...) {
    return false;
  }
}

bool ReadProperties(const Json::Value& json, IKivProperties* bag, std::string* error) {
  if (!bag || !error) return false;
  try {
    return BagReader(error).Read(json, bag, 1);
  } catch (...) {
    *error = "out of memory";
    return false;
  }
}

}  // namespace kiv
