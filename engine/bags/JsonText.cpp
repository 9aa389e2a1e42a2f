#include "engine/bags/JsonText.h"

#include <algorithm>
#include <exception>
#include <memory>

namespace kiv {

namespace {

// Where the scan over a text stands; braces inside texts do not count.
struct Shape {
  int depth = 0;
  int deepest = 0;
  size_t parts = 0;
};

void Count(char c, Shape* shape) {
  if (c == '{' || c == '[') {
    shape->deepest = std::max(shape->deepest, ++shape->depth);
    ++shape->parts;
  } else if (c == '}' || c == ']') {
    --shape->depth;
  } else if (c == ',') {
    ++shape->parts;
  }
}

Shape ShapeOf(const std::string& text) {
  Shape shape;
  bool inText = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (inText && text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      inText = !inText;
    } else if (!inText) {
      Count(text[i], &shape);
    }
  }
  return shape;
}

const char* BeyondLimits(const std::string& text, const JsonLimits& limits) {
  if (text.size() > limits.bytes) return "the document is too large";
  const Shape shape = ShapeOf(text);
  if (shape.deepest > limits.depth) return "the document is nested too deeply";
  if (shape.parts > limits.parts) return "the document has too many entries";
  return nullptr;
}

std::string OneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\n';
    if (!blank) line += c;
    if (blank && !line.empty() && line.back() != ' ') line += ' ';
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

std::string Write(const Json::Value& value, const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

}  // namespace

bool ParseJson(const std::string& text, const JsonLimits& limits, Json::Value* value,
               std::string* error) {
  if (const char* const complaint = BeyondLimits(text, limits)) {
    *error = complaint;
    return false;
  }
  try {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value parsed;
    std::string complaints;
    if (reader->parse(text.data(), text.data() + text.size(), &parsed, &complaints)) {
      value->swap(parsed);
      return true;
    }
    *error = OneLine("not JSON: " + complaints);
  } catch (const std::exception& failure) {
    *error = OneLine(std::string("not JSON: ") + failure.what());
  }
  return false;
}

std::string WriteJson(const Json::Value& value) { return Write(value, "  ") + "\n"; }

std::string WriteCompactJson(const Json::Value& value) { return Write(value, ""); }

}  // namespace kiv
