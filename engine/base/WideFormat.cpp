#include "engine/base/WideFormat.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kiv/platform/KivCommon.h"
#include "kiv/values/NumberText.h"

namespace kiv {

namespace {

enum class Length { kChar, kShort, kInt, kLong, kLongLong, kMax, kSize, kDifference };

struct Directive {
  bool left = false, plus = false, blank = false, zero = false, alternate = false;
  int width = 0;
  int precision = -1;
  Length length = Length::kInt;
  wchar_t conversion = 0;
};

// A va_list that can be handed on by reference, whatever type it is underneath.
struct Arguments {
  va_list list;
};

int ReadNumber(const wchar_t** cursor) {
  int number = 0;
  for (; **cursor >= L'0' && **cursor <= L'9'; ++*cursor) {
    number = std::min(number * 10 + (**cursor - L'0'), kMaxFormatWidth);
  }
  return number;
}

void ReadFlags(const wchar_t** cursor, Directive* directive) {
  for (;; ++*cursor) {
    switch (**cursor) {
      case L'-':
        directive->left = true;
        break;
      case L'+':
        directive->plus = true;
        break;
      case L' ':
        directive->blank = true;
        break;
      case L'0':
        directive->zero = true;
        break;
      case L'#':
        directive->alternate = true;
        break;
      default:
        return;
    }
  }
}

int ClampWidth(int64_t value) {
  return static_cast<int>(std::min<int64_t>(value, kMaxFormatWidth));
}

void ReadWidth(const wchar_t** cursor, Arguments* arguments, Directive* directive) {
  if (**cursor != L'*') {
    directive->width = ReadNumber(cursor);
    return;
  }
  ++*cursor;
  const int64_t width = va_arg(arguments->list, int);
  if (width < 0) directive->left = true;
  directive->width = ClampWidth(width < 0 ? -width : width);
}

void ReadPrecision(const wchar_t** cursor, Arguments* arguments, Directive* directive) {
  if (**cursor != L'.') return;
  ++*cursor;
  if (**cursor != L'*') {
    directive->precision = ReadNumber(cursor);
    return;
  }
  ++*cursor;
  directive->precision = ClampWidth(std::max(va_arg(arguments->list, int), -1));
}

Length ReadLength(const wchar_t** cursor) {
  const wchar_t first = **cursor;
  if (first == L'h' || first == L'l') {
    ++*cursor;
    if (**cursor != first) return first == L'h' ? Length::kShort : Length::kLong;
    ++*cursor;
    return first == L'h' ? Length::kChar : Length::kLongLong;
  }
  if (first != L'j' && first != L'z' && first != L't') return Length::kInt;
  ++*cursor;
  return first == L'j' ? Length::kMax : first == L'z' ? Length::kSize : Length::kDifference;
}

int64_t TakeSigned(Arguments* arguments, Length length) {
  switch (length) {
    case Length::kChar:
      return static_cast<signed char>(va_arg(arguments->list, int));
    case Length::kShort:
      return static_cast<short>(va_arg(arguments->list, int));
    case Length::kInt:
      return va_arg(arguments->list, int);
    case Length::kLong:
      return va_arg(arguments->list, long);
    case Length::kLongLong:
      return va_arg(arguments->list, long long);
    case Length::kMax:
      return va_arg(arguments->list, intmax_t);
    case Length::kSize:
      return static_cast<int64_t>(va_arg(arguments->list, size_t));
    case Length::kDifference:
      return va_arg(arguments->list, ptrdiff_t);
  }
  return 0;
}

uint64_t TakeUnsigned(Arguments* arguments, Length length) {
  const auto value = static_cast<uint64_t>(TakeSigned(arguments, length));
  switch (length) {
    case Length::kChar:
      return value & 0xFF;
    case Length::kShort:
      return value & 0xFFFF;
    case Length::kInt:
      return value & 0xFFFFFFFF;
    default:
      return value;
  }
}

void Pad(std::wstring* out, const Directive& directive, const std::wstring& text) {
  const size_t width = static_cast<size_t>(directive.width);
  const size_t fill = width > text.size() ? width - text.size() : 0;
  if (!directive.left) out->append(fill, L' ');
  *out += text;
  if (directive.left) out->append(fill, L' ');
}

// Zeros of the 0 flag stand between `sign` (or "0x") and the digits.
void PadNumber(std::wstring* out, const Directive& directive, const std::wstring& sign,
               const std::wstring& digits, bool zeroFill) {
  std::wstring text = sign;
  const size_t width = static_cast<size_t>(directive.width);
  const size_t length = sign.size() + digits.size();
  if (zeroFill && !directive.left && width > length) text.append(width - length, L'0');
  text += digits;
  Pad(out, directive, text);
}

std::wstring SignText(const Directive& directive, bool negative) {
  return negative ? L"-" : directive.plus ? L"+" : directive.blank ? L" " : L"";
}

std::wstring Digits(const Directive& directive, uint64_t value, int base, LetterCase letters) {
  std::wstring digits;
  if (value != 0 || directive.precision != 0) AppendUnsigned(&digits, value, base, letters);
  const size_t wanted = static_cast<size_t>(std::max(directive.precision, 0));
  if (wanted > digits.size()) digits.insert(0, wanted - digits.size(), L'0');
  return digits;
}

void WriteSigned(std::wstring* out, const Directive& directive, Arguments* arguments) {
  const int64_t value = TakeSigned(arguments, directive.length);
  const uint64_t magnitude =
      value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  PadNumber(out, directive, SignText(directive, value < 0),
            Digits(directive, magnitude, 10, LetterCase::kLower),
            directive.zero && directive.precision < 0);
}

void WriteUnsigned(std::wstring* out, const Directive& directive, Arguments* arguments) {
  const uint64_t value = TakeUnsigned(arguments, directive.length);
  const wchar_t kind = directive.conversion;
  const int base = kind == L'u' ? 10 : kind == L'o' ? 8 : 16;
  std::wstring prefix;
  if (directive.alternate && value != 0 && base != 10) {
    prefix = base == 8 ? L"0" : kind == L'X' ? L"0X" : L"0x";
  }
  const LetterCase letters = kind == L'X' ? LetterCase::kUpper : LetterCase::kLower;
  PadNumber(out, directive, prefix, Digits(directive, value, base, letters),
            directive.zero && directive.precision < 0);
}

bool IsUpper(wchar_t c) { return c >= L'A' && c <= L'Z'; }

void WriteDouble(std::wstring* out, const Directive& directive, Arguments* arguments) {
  const double value = va_arg(arguments->list, double);
  const int precision = directive.precision < 0 ? 6 : directive.precision;
  std::wstring text;
  switch (directive.conversion) {
    case L'e':
    case L'E':
      AppendScientific(&text, value, precision);
      break;
    case L'g':
    case L'G':
      AppendGeneral(&text, value, precision);
      break;
    default:
      AppendFixed(&text, value, precision);
      break;
  }
  const bool negative = text[0] == L'-';
  if (negative) text.erase(0, 1);
  const bool finite = text[0] >= L'0' && text[0] <= L'9';
  if (IsUpper(directive.conversion)) {
    for (wchar_t& c : text) c = c >= L'a' && c <= L'z' ? c - L'a' + L'A' : c;
  }
  PadNumber(out, directive, SignText(directive, negative), text, directive.zero && finite);
}

void WriteText(std::wstring* out, const Directive& directive, Arguments* arguments) {
  std::wstring text;
  const size_t limit =
      directive.precision < 0 ? std::wstring::npos : static_cast<size_t>(directive.precision);
  if (directive.length == Length::kShort) {
    const char* const narrow = va_arg(arguments->list, const char*);
    text = narrow ? KivCommon::Char2WChar(narrow) : L"(null)";
    if (text.size() > limit) text.resize(limit);
  } else {
    const wchar_t* const wide = va_arg(arguments->list, const wchar_t*);
    // A text with a precision need not be terminated.
    size_t length = 0;
    while (wide && length < limit && wide[length]) ++length;
    text = wide ? std::wstring(wide, length) : L"(null)";
  }
  Pad(out, directive, text);
}

void WritePointer(std::wstring* out, const Directive& directive, Arguments* arguments) {
  const auto address = reinterpret_cast<uintptr_t>(va_arg(arguments->list, void*));
  std::wstring text = L"0x";
  AppendUnsigned(&text, address, 16);
  Pad(out, directive, text);
}

// False for a conversion that is not known; no argument is then taken.
bool WriteDirective(std::wstring* out, const Directive& directive, Arguments* arguments) {
  switch (directive.conversion) {
    case L'd':
    case L'i':
      WriteSigned(out, directive, arguments);
      return true;
    case L'u':
    case L'x':
    case L'X':
    case L'o':
      WriteUnsigned(out, directive, arguments);
      return true;
    case L'f':
    case L'F':
    case L'e':
    case L'E':
    case L'g':
    case L'G':
      WriteDouble(out, directive, arguments);
      return true;
    case L's':
      WriteText(out, directive, arguments);
      return true;
    case L'c':
      Pad(out, directive, std::wstring(1, static_cast<wchar_t>(va_arg(arguments->list, int))));
      return true;
    case L'p':
      WritePointer(out, directive, arguments);
      return true;
    case L'%':
      out->push_back(L'%');
      return true;
    default:
      return false;
  }
}

std::wstring Format(const wchar_t* cursor, Arguments* arguments) {
  std::wstring out;
  while (*cursor) {
    if (*cursor != L'%') {
      out.push_back(*cursor++);
      continue;
    }
    const wchar_t* const start = cursor++;
    Directive directive;
    ReadFlags(&cursor, &directive);
    ReadWidth(&cursor, arguments, &directive);
    ReadPrecision(&cursor, arguments, &directive);
    directive.length = ReadLength(&cursor);
    directive.conversion = *cursor;
    if (*cursor) ++cursor;
    if (!WriteDirective(&out, directive, arguments)) out.append(start, cursor);
  }
  return out;
}

}  // namespace

std::wstring FormatWide(const wchar_t* format, va_list arguments) {
  if (!format) return {};
  Arguments copy;
  va_copy(copy.list, arguments);
  std::wstring text = Format(format, &copy);
  va_end(copy.list);
  return text;
}

std::wstring FormatWideText(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::wstring text = FormatWide(format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace kiv
