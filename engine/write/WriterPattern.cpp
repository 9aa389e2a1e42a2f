#include "engine/write/WriterPattern.h"

#include <fmt/format.h>

#include "engine/write/Writer.h"

namespace kiv {
namespace {

constexpr int kMaxWidth = 20;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads what follows a '%'. False for anything but [0][digits]d.
bool ParseConversion(std::string_view text, size_t* at, NamePattern* pattern) {
  size_t i = *at;
  pattern->fill = i < text.size() && text[i] == '0' ? '0' : ' ';
  for (; i < text.size() && IsDigit(text[i]); ++i) {
    pattern->width = pattern->width * 10 + (text[i] - '0');
    if (pattern->width > kMaxWidth) return false;
  }
  if (i >= text.size() || text[i] != 'd') return false;
  *at = i + 1;
  return true;
}

}  // namespace

std::optional<std::string> ParseNamePattern(std::string_view text, NamePattern* pattern) {
  NamePattern result;
  bool found = false;
  for (size_t i = 0; i < text.size();) {
    std::string& literal = found ? result.after : result.before;
    if (text[i] != '%') {
      literal += text[i++];
    } else if (text.substr(i, 2) == "%%") {
      literal += '%';
      i += 2;
    } else if (found) {
      return "it has more than one %: one %d or %04d stands for the number, %% for a percent sign";
    } else if (!ParseConversion(text, &++i, &result)) {
      return "only %d and %04d may follow a percent sign, %% stands for the sign itself";
    } else {
      found = true;
    }
  }
  if (!found) return "it has no %d for the picture's number";
  if (result.after.find('/') != std::string::npos) return "the number must stand in the file name";
  *pattern = std::move(result);
  return std::nullopt;
}

bool MayBePicture(const std::string& pattern, const std::string& name) {
  NamePattern parts;
  if (ParseNamePattern(pattern, &parts)) return false;
  const size_t around = parts.before.size() + parts.after.size();
  if (name.size() <= around || !name.starts_with(parts.before) || !name.ends_with(parts.after)) {
    return false;
  }
  const std::string number = name.substr(parts.before.size(), name.size() - around);
  return number.find_first_not_of(" 0123456789") == std::string::npos;
}

std::string PictureName(const std::string& pattern, int32_t number) {
  NamePattern parsed;
  if (ParseNamePattern(pattern, &parsed)) return pattern;
  const std::string digits = parsed.fill == '0' ? fmt::format("{:0{}}", number, parsed.width)
                                                : fmt::format("{:{}}", number, parsed.width);
  return parsed.before + digits + parsed.after;
}

}  // namespace kiv
