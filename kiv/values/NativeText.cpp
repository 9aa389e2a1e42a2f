#include "kiv/values/NativeText.h"

#include <algorithm>
#include <limits>

#include "kiv/values/Base64.h"

namespace kiv {

namespace {

constexpr size_t kMaxNestedTypeName = 259;

std::wstring_view UpToComma(std::wstring_view text) { return text.substr(0, text.find(L',')); }

std::wstring EncodeBytes(const KivBlob& blob) {
  if (!blob.pData || blob.uDataSize == 0) return {};
  std::string narrow(Base64EncodedLength(blob.uDataSize) + 1, '\0');
  narrow.resize(Base64Encode(narrow.data(), blob.pData, blob.uDataSize));
  std::wstring wide(narrow.size(), L'\0');
  std::copy(narrow.begin(), narrow.end(), wide.begin());
  return wide;
}

std::string NarrowAscii(std::wstring_view text) {
  std::string narrow(text.size(), '?');
  std::transform(text.begin(), text.end(), narrow.begin(),
                 [](wchar_t c) { return c > 0 && c < 128 ? static_cast<char>(c) : '?'; });
  return narrow;
}

}  // namespace

int32_t WriteNative(const GUID& value, std::wstring* text) {
  wchar_t buffer[kGuidTextCapacity];
  StringFromGUID2(value, buffer, kGuidTextCapacity);
  *text = buffer;
  return 0;
}

int32_t WriteNative(const KivBlob& value, std::wstring* text) {
  const std::wstring data = EncodeBytes(value);
  *text = L"uDataSize:";
  AppendInteger(text, static_cast<int32_t>(value.uDataSize));
  *text += L", bCopy:1, pData:";
  *text += data;
  *text += L", pExtend:";
  return 0;
}

int32_t WriteNative(const CKivPtr<IUnknown>& value, std::wstring* text) {
  *text = L"Interface:0x";
  AppendUnsigned(text, reinterpret_cast<uintptr_t>(value.Get()), 16);
  return 0;
}

int32_t WriteNative(const CKivValue& value, std::wstring* text) {
  *text = L"t:" + value.GetTypeName() + L", v:" + value.GetValueText();
  return 0;
}

int64_t ReadInteger(std::wstring_view text, int64_t smallest, int64_t largest) {
  int64_t number = 0;
  TextScan(text).Integer(&number);
  return std::clamp(number, smallest, largest);
}

int32_t ReadNative(std::wstring_view text, char* value) {
  const wchar_t first = text.empty() ? L'\0' : text[0];
  *value = first > 0 && first < 256 ? static_cast<char>(first) : '\0';
  return 0;
}

int32_t ReadNative(std::wstring_view text, GUID* value) {
  // One character more than a GUID has tells a text that goes on from one that fits.
  CLSIDFromString(std::wstring(text.substr(0, kGuidTextCapacity)).c_str(), value);
  return 0;
}

int32_t ReadNative(std::wstring_view text, KivBlob* value) {
  TextScan scan(text);
  int64_t announced = 0, copied = 0;
  if (scan.Literal(L"uDataSize:") && scan.Integer(&announced) && scan.Literal(L", bCopy:")) {
    scan.Integer(&copied);
  }
  uint8_t* bytes = nullptr;
  size_t count = 0;
  if (announced > 0 && scan.Literal(L", pData:")) {
    const std::string data = NarrowAscii(UpToComma(scan.Rest()));
    const size_t capacity = Base64DecodedCapacity(data.size());
    if (capacity > std::numeric_limits<uint32_t>::max()) return kValueOutOfMemory;
    bytes = KivBlob::AllocateBytes(capacity);
    if (capacity > 0 && !bytes) return kValueOutOfMemory;
    if (bytes) count = Base64Decode(bytes, data.c_str());
  }
  value->Adopt(bytes, static_cast<uint32_t>(count));
  return 0;
}

uint64_t ReadInterfaceAddress(std::wstring_view text) {
  TextScan scan(text);
  uint64_t address = 0;
  if (scan.Literal(L"Interface:")) scan.Address(&address);
  return address;
}

NestedText SplitNested(std::wstring_view text) {
  NestedText parts;
  if (text.substr(0, 2) == L"t:") {
    parts.typeName = UpToComma(text.substr(2)).substr(0, kMaxNestedTypeName);
  }
  constexpr std::wstring_view kMark = L", v:";
  const size_t mark = text.find(kMark);
  if (mark != std::wstring_view::npos) parts.text = text.substr(mark + kMark.size());
  return parts;
}

}  // namespace kiv
