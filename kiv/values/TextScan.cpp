#include "kiv/values/TextScan.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

namespace kiv {

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// Characters that a number's text can be made of.
bool IsNumberPart(wchar_t c) {
  return IsDigit(c) || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'+' ||
         c == L'-' || c == L'.';
}

int HexDigit(wchar_t c) {
  if (IsDigit(c)) return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// The leading part of a text that may be a number, narrowed; short ones take no memory.
class NarrowNumber {
 public:
  explicit NarrowNumber(std::wstring_view text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsNumberPart);
    const auto length = static_cast<size_t>(end - text.begin());
    char* target = short_;
    if (length > sizeof(short_)) {
      long_.resize(length);
      target = long_.data();
    }
    std::transform(text.begin(), end, target, [](wchar_t c) { return static_cast<char>(c); });
    text_ = {target, length};
  }
  NarrowNumber(const NarrowNumber&) = delete;
  NarrowNumber& operator=(const NarrowNumber&) = delete;

  std::string_view text() const { return text_; }

 private:
  char short_[64];
  std::string long_;
  std::string_view text_;
};

// Far beyond every text's length, and small enough to be added to one.
constexpr int64_t kFarExponent = int64_t{1} << 60;

// True when a text that no double can hold is too large rather than too small: its first
// significant digit, moved by the exponent, stands before the point.
bool IsHuge(std::string_view digits, const char* exponentMarks) {
  const size_t mark = std::min(digits.find_first_of(exponentMarks), digits.size());
  const std::string_view mantissa = digits.substr(0, mark);
  const auto point = static_cast<int64_t>(std::min(mantissa.find('.'), mantissa.size()));
  const auto first = static_cast<int64_t>(mantissa.find_first_not_of("0."));
  int64_t exponent = 0;
  if (mark + 1 < digits.size()) {
    std::string_view text = digits.substr(mark + 1);
    const bool negative = text[0] == '-';
    if (negative || text[0] == '+') text.remove_prefix(1);
    const auto result = std::from_chars(text.data(), text.data() + text.size(), exponent);
    if (result.ec != std::errc() || exponent > kFarExponent) exponent = kFarExponent;
    if (negative) exponent = -exponent;
  }
  return point - first + exponent > 0;
}

bool StartsHex(std::string_view text) {
  return text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
         (HexDigit(text[2]) >= 0 || text[2] == '.');
}

// Reads an unsigned number from the start of `text`; returns the characters it took, 0 for none.
template <typename T>
size_t ReadUnsigned(std::string_view text, T* value) {
  const bool hex = StartsHex(text);
  const std::string_view digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits[0] == '-') return 0;
  const auto format = hex ? std::chars_format::hex : std::chars_format::general;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), *value, format);
  if (result.ec == std::errc::invalid_argument) return 0;
  const auto taken = static_cast<size_t>(result.ptr - digits.data());
  if (result.ec == std::errc::result_out_of_range) {
    const bool huge = IsHuge(digits.substr(0, taken), hex ? "pP" : "eE");
    *value = huge ? std::numeric_limits<T>::infinity() : T{0};
  }
  return taken + (hex ? 2 : 0);
}

}  // namespace

bool TextScan::Fail() {
  failed_ = true;
  return false;
}

void TextScan::SkipBlanks() {
  const auto start = std::find_if_not(text_.begin(), text_.end(), IsBlank);
  text_.remove_prefix(static_cast<size_t>(start - text_.begin()));
}

bool TextScan::Literal(std::wstring_view literal) {
  if (failed_) return false;
  for (const wchar_t c : literal) {
    if (IsBlank(c)) {
      SkipBlanks();
      continue;
    }
    if (text_.empty() || text_[0] != c) return Fail();
    text_.remove_prefix(1);
  }
  return true;
}

bool TextScan::Integer(int64_t* value) {
  if (failed_) return false;
  SkipBlanks();
  size_t place = 0;
  const bool negative = !text_.empty() && text_[0] == L'-';
  if (negative || (!text_.empty() && text_[0] == L'+')) ++place;
  if (place >= text_.size() || !IsDigit(text_[place])) return Fail();
  // The smallest value has the larger magnitude.
  const uint64_t limit =
      static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + (negative ? 1 : 0);
  uint64_t magnitude = 0;
  for (; place < text_.size() && IsDigit(text_[place]); ++place) {
    const auto digit = static_cast<uint64_t>(text_[place] - L'0');
    magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
  }
  text_.remove_prefix(place);
  *value = static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

template <typename T>
bool TextScan::ReadReal(T* value) {
  if (failed_) return false;
  SkipBlanks();
  const NarrowNumber number(text_);
  std::string_view text = number.text();
  const bool negative = !text.empty() && text[0] == '-';
  const size_t sign = negative || (!text.empty() && text[0] == '+') ? 1 : 0;
  T magnitude = 0;
  const size_t taken = ReadUnsigned(text.substr(sign), &magnitude);
  if (taken == 0) return Fail();
  text_.remove_prefix(sign + taken);
  *value = negative ? -magnitude : magnitude;
  return true;
}

bool TextScan::Real(double* value) { return ReadReal(value); }
bool TextScan::Real(float* value) { return ReadReal(value); }

bool TextScan::Address(uint64_t* value) {
  if (failed_) return false;
  SkipBlanks();
  std::wstring_view digits = text_;
  if (digits.substr(0, 2) == L"0x" || digits.substr(0, 2) == L"0X") digits.remove_prefix(2);
  uint64_t address = 0;
  size_t count = 0;
  for (; count < digits.size() && HexDigit(digits[count]) >= 0; ++count) {
    if (address >> 60) return Fail();
    address = address << 4 | static_cast<uint64_t>(HexDigit(digits[count]));
  }
  if (count == 0) return Fail();
  text_ = digits.substr(count);
  *value = address;
  return true;
}

}  // namespace kiv
