#include "kiv/values/Base64.h"

#include <array>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<uint8_t, 256> MakeDigits() {
  std::array<uint8_t, 256> digits{};
  for (uint8_t i = 0; i < 64; ++i) digits[static_cast<uint8_t>(kAlphabet[i])] = i;
  return digits;
}
constexpr std::array<uint8_t, 256> kDigits = MakeDigits();

uint32_t Digit(char c) { return kDigits[static_cast<uint8_t>(c)]; }

void EncodeGroup(char* output, uint32_t bits, size_t bytes) {
  for (int i = 0; i < 4; ++i) output[i] = kAlphabet[bits >> (18 - 6 * i) & 63];
  for (size_t i = bytes + 1; i < 4; ++i) output[i] = '=';
}

bool IsWholeGroup(const char* text) {
  for (int i = 0; i < 4; ++i) {
    if (!text[i]) return false;
  }
  return true;
}

}  // namespace

size_t Base64Encode(char* output, const uint8_t* bytes, size_t count) {
  char* out = output;
  size_t i = 0;
  for (; i + 3 <= count; i += 3, out += 4) {
    EncodeGroup(out, static_cast<uint32_t>(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]), 3);
  }
  if (i < count) {
    const size_t rest = count - i;
    uint32_t bits = static_cast<uint32_t>(bytes[i]) << 16;
    if (rest == 2) bits |= static_cast<uint32_t>(bytes[i + 1]) << 8;
    EncodeGroup(out, bits, rest);
    out += 4;
  }
  *out = 0;
  return static_cast<size_t>(out - output);
}

size_t Base64Decode(uint8_t* output, const char* text) {
  uint8_t* out = output;
  for (; IsWholeGroup(text); text += 4) {
    const uint32_t bits =
        Digit(text[0]) << 18 | Digit(text[1]) << 12 | Digit(text[2]) << 6 | Digit(text[3]);
    *out++ = static_cast<uint8_t>(bits >> 16);
    if (text[2] == '=') break;
    *out++ = static_cast<uint8_t>(bits >> 8);
    if (text[3] == '=') break;
    *out++ = static_cast<uint8_t>(bits);
  }
  return static_cast<size_t>(out - output);
}
