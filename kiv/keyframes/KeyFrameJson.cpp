#include "kiv/keyframes/KeyFrameJson.h"

#include <json/json.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>

#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

using KivCommon::Char2WChar;
using KivCommon::WChar2Char;

// A document is three levels deep; members that it does not know may be deeper.
constexpr int kMaxDepth = 32;
// Each part of a document takes memory of its own when parsed; these characters begin one.
constexpr std::string_view kPartMarks = ",{[";
constexpr ptrdiff_t kMaxParts = ptrdiff_t{2} << 20;
constexpr size_t kMostBytesPerCharacter = 4;
constexpr size_t kFirstBuffer = 4096;
constexpr const wchar_t* kByteTypeName = ValueTypeOf<unsigned char>::kName;

// The text that reads back as the value. A byte's canonical text is the character, but a number is
// what is read.
std::wstring DocumentText(const CKivValue& value) {
  std::wstring text = value.GetValueText();
  if (value.GetTypeName() != kByteTypeName) return text;
  return std::to_wstring(text.empty() ? 0 : static_cast<int>(text[0]));
}

Json::Value FrameToJson(const KeyFrame& frame) {
  Json::Value json(Json::objectValue);
  json["index"] = frame.index;
  json["valueType"] = WChar2Char(frame.value->GetTypeName().c_str());
  json["valueValue"] = WChar2Char(DocumentText(*frame.value).c_str());
  return json;
}

std::wstring Widen(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

ptrdiff_t PartsOf(const std::string& text) {
  return std::count_if(text.begin(), text.end(),
                       [](char c) { return kPartMarks.find(c) != std::string_view::npos; });
}

bool IsWithinLimits(const std::string& text) {
  return text.size() <= kMaxKeyFrameDocument && PartsOf(text) <= kMaxParts;
}

// `params` is left null.
Json::Value HeaderToJson(const KeyFrameHeader& header) {
  Json::Value root(Json::objectValue);
  root["splineType"] = static_cast<int32_t>(header.spline.type);
  root["splineDegree"] = static_cast<int32_t>(header.spline.degree);
  root["FrameRateNum"] = static_cast<Json::Int64>(header.frameRate.numerator);
  root["FrameRateDen"] = static_cast<Json::Int64>(header.frameRate.denominator);
  root["dataType"] = header.dataType;
  root["params"] = Json::nullValue;
  return root;
}

// Makes compact texts, one after the other.
class Writer {
 public:
  std::string Write(const Json::Value& json) {
    stream_.str({});
    writer_->write(json, &stream_);
    return stream_.str();
  }

 private:
  static std::unique_ptr<Json::StreamWriter> New() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
  }

  const std::unique_ptr<Json::StreamWriter> writer_ = New();
  std::ostringstream stream_;
};

// Sums up how long a document gets, to the character.
class DocumentRoom {
 public:
  explicit DocumentRoom(const KeyFrameHeader& header) {
    Json::Value root = HeaderToJson(header);
    root["params"] = Json::arrayValue;
    Take(writer_.Write(root) + "\n");
  }

  // False once it is too long.
  bool Take(const std::vector<KeyFrame>& frames) {
    return std::all_of(frames.begin(), frames.end(), [this](const KeyFrame& frame) {
      Take((count_++ == 0 ? "" : ",") + writer_.Write(FrameToJson(frame)));
      return characters_ <= kMaxKeyFrameDocument && parts_ <= kMaxParts;
    });
  }

 private:
  void Take(const std::string& text) {
    characters_ += text.size();
    parts_ += PartsOf(text);
  }

  Writer writer_;
  size_t count_ = 0;
  size_t characters_ = 0;
  ptrdiff_t parts_ = 0;
};

// Takes the document from an object that was parsed; false for a member of the wrong form.
class DocumentReader {
 public:
  explicit DocumentReader(KeyFrameDocument* document) : document_(*document) {}

  bool Read(const Json::Value& root) {
    KeyFrameHeader& header = document_.header;
    int32_t type = 0, degree = 0, numerator = 0, denominator = 0;
    if (!root.isObject() || !Integer(root, "splineType", &type) ||
        !Integer(root, "splineDegree", &degree) || !Integer(root, "FrameRateNum", &numerator) ||
        !Integer(root, "FrameRateDen", &denominator) ||
        !Integer(root, "dataType", &header.dataType)) {
      return false;
    }
    header.spline = {static_cast<uint32_t>(degree), static_cast<uint32_t>(type)};
    header.frameRate = {numerator, denominator};
    return ReadFrames(root["params"]);
  }

 private:
  static const Json::Value* Member(const Json::Value& object, std::string_view name) {
    return object.find(name.data(), name.data() + name.size());
  }

  // A missing member leaves `value` as it is.
  static bool Integer(const Json::Value& object, std::string_view name, int32_t* value) {
    const Json::Value* const json = Member(object, name);
    if (!json) return true;
    if (!json->isInt()) return false;  // 25.0 is one
    *value = json->asInt();
    return true;
  }

  static bool Text(const Json::Value& object, std::string_view name, std::wstring* text) {
    const Json::Value* const json = Member(object, name);
    if (!json) return true;
    if (!json->isString()) return false;
    const std::string narrow = json->asString();
    if (narrow.size() > kMaxKeyFrameText * kMostBytesPerCharacter) return false;
    *text = Char2WChar(narrow.c_str());
    return text->size() <= kMaxKeyFrameText;
  }

  bool ReadFrames(const Json::Value& params) {
    if (params.isNull()) return true;
    if (!params.isArray() && !params.isObject()) return false;
    document_.frames.reserve(params.size());
    return std::all_of(params.begin(), params.end(),
                       [this](const Json::Value& json) { return ReadFrame(json); });
  }

  bool ReadFrame(const Json::Value& json) {
    int32_t index = 0;
    std::wstring typeName, text;
    if (!json.isObject() || !Integer(json, "index", &index) ||
        !Text(json, "valueType", &typeName) || !Text(json, "valueValue", &text)) {
      return false;
    }
    auto value = std::make_unique<CKivValue>();
    const int32_t result = value->FromString(typeName, text);
    if (result == kValueOutOfMemory) throw std::bad_alloc();
    // What was read is written again one day, and has to be read then.
    if (value->CarriesInterface() || value->GetValueText().size() > kMaxKeyFrameText) return false;
    document_.frames.push_back(MakeKeyFrame(index, std::move(value)));
    return true;
  }

  KeyFrameDocument& document_;
};

// The parser reports what is not JSON by its result, and what is too deep by an exception.
bool Parse(const std::string& text, Json::Value* root) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  builder["allowTrailingCommas"] = false;
  builder["failIfExtra"] = true;
  builder["stackLimit"] = kMaxDepth;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(text.data(), text.data() + text.size(), root, nullptr);
  } catch (const Json::Exception&) {
    return false;
  }
}

}  // namespace

std::wstring WriteKeyFrameDocument(const KeyFrameHeader& header,
                                   const std::vector<KeyFrame>& frames) {
  Json::Value root = HeaderToJson(header);
  Json::Value& params = root["params"];
  for (const KeyFrame& frame : frames) params.append(FrameToJson(frame));
  const std::string text = Writer().Write(root) + "\n";
  return IsWithinLimits(text) ? Widen(text) : std::wstring();
}

bool IsWritable(const KeyFrameHeader& header, const std::vector<KeyFrame>& frames,
                const std::vector<KeyFrame>& more) {
  DocumentRoom room(header);
  return room.Take(frames) && room.Take(more);
}

std::optional<KeyFrameDocument> ReadKeyFrameDocument(const std::wstring& text) {
  if (text.empty() || text.size() > kMaxKeyFrameDocument) return std::nullopt;
  const std::string narrow = WChar2Char(text.c_str());
  Json::Value root;
  if (!IsWithinLimits(narrow) || !Parse(narrow, &root)) return std::nullopt;
  KeyFrameDocument document;
  if (!DocumentReader(&document).Read(root)) return std::nullopt;
  return document;
}

void StoreKeyFrameText(IKivProperties* bag, const wchar_t* name, const std::wstring& text) {
  bag->SetInt(KivKey::DocumentSizeOf(name).c_str(),
              ClampToInt32(static_cast<int64_t>(text.size()) + 1));
  bag->SetString(KivKey::DocumentOf(name).c_str(), text.c_str());
}

std::optional<std::wstring> StoredKeyFrameText(IKivProperties* bag, const wchar_t* name) {
  int32_t length = 0;
  if (Failed(bag->GetInt(KivKey::DocumentSizeOf(name).c_str(), &length))) return std::nullopt;
  const size_t capacity =
      std::min(static_cast<size_t>(std::max(length, 0)), kMaxKeyFrameDocument) + 1;
  const std::wstring key = KivKey::DocumentOf(name);
  std::wstring text;
  for (size_t room = std::min(kFirstBuffer, capacity);; room = std::min(room * 4, capacity)) {
    text.assign(room, L'\0');
    bag->GetString(key.c_str(), text.data(), static_cast<int32_t>(room));
    text.resize(text.find(L'\0'));
    if (text.size() + 1 < room || room == capacity) return text;
  }
}

}  // namespace kiv
