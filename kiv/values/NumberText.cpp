#include "kiv/values/NumberText.h"

#include <algorithm>
#include <charconv>

namespace kiv {

namespace {

// Sign, 309 digits, point, decimals.
constexpr int kDoubleCapacity = kMaxDecimals + 320;
// Sign and 64 binary digits.
constexpr int kIntegerCapacity = 65;

void AppendAscii(std::wstring* out, const char* begin, const char* end) { out->append(begin, end); }

void AppendDouble(std::wstring* out, double value, std::chars_format format, int precision) {
  char text[kDoubleCapacity];
  const int kept = std::clamp(precision, 0, kMaxDecimals);
  const auto result = std::to_chars(text, text + sizeof(text), value, format, kept);
  AppendAscii(out, text, result.ptr);
}

}  // namespace

void AppendInteger(std::wstring* out, int64_t value) {
  char text[kIntegerCapacity];
  AppendAscii(out, text, std::to_chars(text, text + sizeof(text), value).ptr);
}

void AppendUnsigned(std::wstring* out, uint64_t value, int base, LetterCase letters) {
  char text[kIntegerCapacity];
  char* const end = std::to_chars(text, text + sizeof(text), value, base).ptr;
  if (letters == LetterCase::kUpper) {
    std::transform(text, end, text, [](char c) {
      return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
  }
  AppendAscii(out, text, end);
}

void AppendFixed(std::wstring* out, double value, int decimals) {
  AppendDouble(out, value, std::chars_format::fixed, decimals);
}

void AppendScientific(std::wstring* out, double value, int decimals) {
  AppendDouble(out, value, std::chars_format::scientific, decimals);
}

void AppendGeneral(std::wstring* out, double value, int digits) {
  AppendDouble(out, value, std::chars_format::general, digits);
}

}  // namespace kiv
