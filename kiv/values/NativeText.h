// The text of each native value type: what CKivValue writes and reads. Structures are in
// TextForms.h.
//
// Every ReadNative gives the type's zero value for what does not parse.
#pragma once

#include <concepts>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "kiv/values/CKivValue.h"
#include "kiv/values/NumberText.h"
#include "kiv/values/TextForms.h"
#include "kiv/values/TextScan.h"

namespace kiv {

template <typename T>
concept PlainInteger = std::same_as<T, short> || std::same_as<T, unsigned short> ||
    std::same_as<T, int> || std::same_as<T, unsigned int> || std::same_as<T, long long>;

// A character is its own text. Codes above 127 are the characters of the same number, whatever the
// sign of `char`; code 0 is the empty text.
template <typename T>
requires std::same_as<T, char> || std::same_as<T, unsigned char> int32_t
WriteNative(T value, std::wstring* text) {
  if (value) text->push_back(static_cast<unsigned char>(value));
  return 0;
}

template <PlainInteger T>
int32_t WriteNative(T value, std::wstring* text) {
  AppendInteger(text, static_cast<int64_t>(value));
  return 0;
}
inline int32_t WriteNative(const KivLong& value, std::wstring* text) {
  return WriteNative(value.value, text);
}
// "%ld" writes 32 bits with their sign, also of the unsigned type.
inline int32_t WriteNative(const KivULong& value, std::wstring* text) {
  return WriteNative(static_cast<int32_t>(value.value), text);
}

template <std::floating_point T>
int32_t WriteNative(T value, std::wstring* text) {
  AppendFixed(text, static_cast<double>(value));
  return 0;
}

inline int32_t WriteNative(const std::wstring& value, std::wstring* text) {
  *text = value;
  return 0;
}

template <typename T>
requires requires(const T& value, std::wstring* text) { WriteText(value, text); }
int32_t WriteNative(const T& value, std::wstring* text) {
  WriteText(value, text);
  return 0;
}

int32_t WriteNative(const GUID& value, std::wstring* text);
int32_t WriteNative(const KivBlob& value, std::wstring* text);
int32_t WriteNative(const CKivPtr<IUnknown>& value, std::wstring* text);
int32_t WriteNative(const CKivValue& value, std::wstring* text);

// Saturates to the type's range, except that a negative number within the width of an unsigned type
// is the number of the same bits, as a scan with "%d" gives it.
int64_t ReadInteger(std::wstring_view text, int64_t smallest, int64_t largest);

template <typename T>
requires PlainInteger<T> || std::same_as<T, unsigned char> int32_t
ReadNative(std::wstring_view text, T* value) {
  using Signed = std::make_signed_t<T>;
  *value = static_cast<T>(ReadInteger(text, std::numeric_limits<Signed>::min(),
                                      static_cast<int64_t>(std::numeric_limits<T>::max())));
  return 0;
}
inline int32_t ReadNative(std::wstring_view text, KivLong* value) {
  return ReadNative(text, &value->value);
}
inline int32_t ReadNative(std::wstring_view text, KivULong* value) {
  return ReadNative(text, &value->value);
}

template <std::floating_point T>
int32_t ReadNative(std::wstring_view text, T* value) {
  T number = 0;
  TextScan(text).Real(&number);
  *value = number;
  return 0;
}

inline int32_t ReadNative(std::wstring_view text, std::wstring* value) {
  *value = text;
  return 0;
}

template <typename T>
requires requires(std::wstring_view text, T* value) { ReadText(text, value); }
int32_t ReadNative(std::wstring_view text, T* value) {
  ReadText(text, value);
  return 0;
}

// The first character; one beyond 8 bits does not parse.
int32_t ReadNative(std::wstring_view text, char* value);
int32_t ReadNative(std::wstring_view text, GUID* value);
// Memory is bounded by the text, whatever size it announces.
int32_t ReadNative(std::wstring_view text, KivBlob* value);

// The address of "Interface:<address>", 0 when there is none.
uint64_t ReadInterfaceAddress(std::wstring_view text);

// The two parts of "t:<type name>, v:<text>"; what is missing is empty. They view `text`.
struct NestedText {
  std::wstring_view typeName;
  std::wstring_view text;
};
NestedText SplitNested(std::wstring_view text);

}  // namespace kiv
