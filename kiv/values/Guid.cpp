#include "kiv/values/Guid.h"

namespace {

constexpr wchar_t kHexDigits[] = L"0123456789ABCDEF";
constexpr int kTextLength = 38;

int HexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  return -1;
}

bool IsDashPlace(int place) { return place == 9 || place == 14 || place == 19 || place == 24; }

}  // namespace

int32_t StringFromGUID2(const GUID& guid, wchar_t* text, int32_t capacity) {
  if (!text || capacity < kGuidTextCapacity) return 0;
  uint8_t bytes[16];
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(guid.Data1 >> (24 - 8 * i));
  for (int i = 0; i < 2; ++i) bytes[4 + i] = static_cast<uint8_t>(guid.Data2 >> (8 - 8 * i));
  for (int i = 0; i < 2; ++i) bytes[6 + i] = static_cast<uint8_t>(guid.Data3 >> (8 - 8 * i));
  std::memcpy(bytes + 8, guid.Data4, 8);

  text[0] = L'{';
  int digit = 0;
  for (int place = 1; place < kTextLength - 1; ++place) {
    if (IsDashPlace(place)) {
      text[place] = L'-';
      continue;
    }
    const uint8_t byte = bytes[digit / 2];
    text[place] = kHexDigits[digit % 2 == 0 ? byte >> 4 : byte & 15];
    ++digit;
  }
  text[kTextLength - 1] = L'}';
  text[kTextLength] = 0;
  return kGuidTextCapacity;
}

HRESULT CLSIDFromString(const wchar_t* text, GUID* guid) {
  if (!guid) return E_POINTER;
  *guid = GUID{};
  if (!text || text[0] != L'{') return E_INVALIDARG;
  uint8_t bytes[16] = {};
  int digit = 0;
  for (int place = 1; place < kTextLength - 1; ++place) {
    if (IsDashPlace(place)) {
      if (text[place] != L'-') return E_INVALIDARG;
      continue;
    }
    const int value = HexValue(text[place]);
    if (value < 0) return E_INVALIDARG;
    bytes[digit / 2] = static_cast<uint8_t>(bytes[digit / 2] << 4 | value);
    ++digit;
  }
  if (text[kTextLength - 1] != L'}' || text[kTextLength] != 0) return E_INVALIDARG;
  for (int i = 0; i < 4; ++i) guid->Data1 = guid->Data1 << 8 | bytes[i];
  guid->Data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
  guid->Data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(guid->Data4, bytes + 8, 8);
  return S_OK;
}
