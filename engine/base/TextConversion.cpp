// UTF-8 to wide text and back. What is malformed becomes U+FFFD: one for each maximal part that
// starts like a character and breaks off, so that converting resumes at the next possible start.
#include <cstdint>

#include "kiv/platform/KivCommon.h"

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

struct Lead {
  int trailing;       // bytes that follow
  uint32_t bits;      // payload of the first byte
  uint8_t low, high;  // range of the first trailing byte; excludes overlong forms and surrogates
};

// trailing is -1 for a byte that starts no character.
Lead ReadLead(uint8_t byte) {
  if (byte < 0x80) return {0, byte, 0, 0};
  if (byte < 0xC2 || byte > 0xF4) return {-1, 0, 0, 0};
  if (byte < 0xE0) return {1, byte & 0x1Fu, 0x80, 0xBF};
  if (byte < 0xF0) {
    const uint8_t low = byte == 0xE0 ? 0xA0 : 0x80;
    const uint8_t high = byte == 0xED ? 0x9F : 0xBF;
    return {2, byte & 0x0Fu, low, high};
  }
  const uint8_t low = byte == 0xF0 ? 0x90 : 0x80;
  const uint8_t high = byte == 0xF4 ? 0x8F : 0xBF;
  return {3, byte & 0x07u, low, high};
}

// Reads one character and moves the cursor past it. The terminator is no trailing byte, so the
// cursor never passes it.
uint32_t NextCharacter(const char** cursor) {
  const Lead lead = ReadLead(static_cast<uint8_t>(*(*cursor)++));
  if (lead.trailing < 0) return kReplacement;
  uint32_t character = lead.bits;
  for (int i = 0; i < lead.trailing; ++i) {
    const auto byte = static_cast<uint8_t>(**cursor);
    const uint8_t low = i == 0 ? lead.low : 0x80;
    const uint8_t high = i == 0 ? lead.high : 0xBF;
    if (byte < low || byte > high) return kReplacement;
    character = character << 6 | (byte & 0x3Fu);
    ++*cursor;
  }
  return character;
}

void AppendUtf8(std::string* out, uint32_t character) {
  const auto trailing = [&](int shift) {
    out->push_back(static_cast<char>(0x80 | (character >> shift & 0x3F)));
  };
  if (character < 0x80) {
    out->push_back(static_cast<char>(character));
    return;
  }
  if (character < 0x800) {
    out->push_back(static_cast<char>(0xC0 | character >> 6));
  } else if (character < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | character >> 12));
    trailing(6);
  } else {
    out->push_back(static_cast<char>(0xF0 | character >> 18));
    trailing(12);
    trailing(6);
  }
  trailing(0);
}

bool IsHighSurrogate(uint32_t c) { return c >= 0xD800 && c < 0xDC00; }
bool IsLowSurrogate(uint32_t c) { return c >= 0xDC00 && c < 0xE000; }

}  // namespace

namespace KivCommon {

std::wstring Char2WChar(const char* text) {
  std::wstring wide;
  while (text && *text) wide.push_back(static_cast<wchar_t>(NextCharacter(&text)));
  return wide;
}

std::string WChar2Char(const wchar_t* text) {
  std::string narrow;
  for (; text && *text; ++text) {
    auto character = static_cast<uint32_t>(static_cast<char32_t>(*text));
    // Texts that came from records of UTF-16 units may still hold pairs.
    if (IsHighSurrogate(character) && IsLowSurrogate(static_cast<uint32_t>(text[1]))) {
      ++text;
      character = 0x10000 + ((character & 0x3FF) << 10) + (static_cast<uint32_t>(*text) & 0x3FF);
    }
    if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) {
      character = kReplacement;
    }
    AppendUtf8(&narrow, character);
  }
  return narrow;
}

namespace Guid {

void RemoveBraces(const wchar_t* text, wchar_t* buffer, int32_t capacity) {
  if (!buffer || capacity <= 0) return;
  int32_t length = 0;
  for (; text && *text && length < capacity - 1; ++text) {
    if (*text != L'{' && *text != L'}') buffer[length++] = *text;
  }
  buffer[length] = 0;
}

}  // namespace Guid

}  // namespace KivCommon
