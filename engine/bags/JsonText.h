// JSON documents read without trust: bounded in size, depth and number of parts before a parser sees
// them, and without exceptions.
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>

namespace kiv {

struct JsonLimits {
  size_t bytes;
  int depth;
  size_t parts;  // objects, arrays and members together
};

// False with one line in `error` for what is not JSON (strictly: no comments, no key twice, an object
// or array at the top) or beyond the limits; `value` is then untouched.
bool ParseJson(const std::string& text, const JsonLimits& limits, Json::Value* value,
               std::string* error);
// Indented by two blanks and ended by a line feed, for people.
std::string WriteJson(const Json::Value& value);
// Without blanks, for machines.
std::string WriteCompactJson(const Json::Value& value);

}  // namespace kiv
