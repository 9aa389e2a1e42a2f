#include "kiv/effects/AlphaVideoFields.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Logger.h"

namespace {

namespace Key = KivKey::AlphaVideo;

constexpr size_t kCapacity = AlphaVideoSettings::kPathCapacity;
using RecordPath = char16_t[kCapacity];

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstBeyond = 0x10000;
constexpr char32_t kLast = 0x10FFFF;

bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void Append(std::wstring* text, char32_t c) {
  if (sizeof(wchar_t) == sizeof(char16_t) && c >= kFirstBeyond) {
    *text += static_cast<wchar_t>(0xD800 + ((c - kFirstBeyond) >> 10));
    *text += static_cast<wchar_t>(0xDC00 + ((c - kFirstBeyond) & 0x3FF));
  } else {
    *text += static_cast<wchar_t>(c);
  }
}

// None when the path does not end within its characters.
std::optional<std::wstring> PathFrom(const RecordPath& units) {
  const char16_t* const end = std::find(std::begin(units), std::end(units), u'\0');
  if (end == std::end(units)) return std::nullopt;
  std::wstring text;
  for (const char16_t* at = units; at != end; ++at) {
    const char32_t c = *at;
    if (IsHighSurrogate(c) && IsLowSurrogate(at[1])) {
      Append(&text, kFirstBeyond + ((c - 0xD800) << 10) + (*++at - 0xDC00U));
    } else {
      Append(&text, IsHighSurrogate(c) || IsLowSurrogate(c) ? kReplacement : c);
    }
  }
  return text;
}

void PathTo(const std::wstring& text, RecordPath* units) {
  std::fill(std::begin(*units), std::end(*units), u'\0');
  size_t count = 0;
  for (const wchar_t wide : text) {
    char32_t c = static_cast<char32_t>(wide);
    if (c > kLast) c = kReplacement;
    const size_t needed = c >= kFirstBeyond ? 2 : 1;
    if (count + needed >= kCapacity) return;
    if (needed == 2) (*units)[count++] = static_cast<char16_t>(0xD800 + ((c - kFirstBeyond) >> 10));
    (*units)[count++] =
        static_cast<char16_t>(needed == 2 ? 0xDC00 + ((c - kFirstBeyond) & 0x3FF) : c);
  }
}

struct WholeField {
  const wchar_t* const* key;
  int32_t AlphaVideoFields::*field;
};
constexpr WholeField kWholeFields[] = {
    {&Key::kAlphaVideo_FullHD, &AlphaVideoFields::fullHd},
    {&Key::kAlphaVideo_CanChangeColor, &AlphaVideoFields::canChangeColour},
    {&Key::kAlphaVideo_FillType, &AlphaVideoFields::fillType},
    {&Key::kAlphaVideo_SingleColor, &AlphaVideoFields::singleColour},
    {&Key::kAlphaVideo_GradientColor1, &AlphaVideoFields::gradientColour1},
    {&Key::kAlphaVideo_GradientColor2, &AlphaVideoFields::gradientColour2},
    {&Key::kAlphaVideo_LoopCount, &AlphaVideoFields::loopCount}};

struct RealField {
  const wchar_t* const* key;
  double AlphaVideoFields::*field;
};
constexpr RealField kRealFields[] = {
    {&Key::kAlphaVideo_GradientAngle, &AlphaVideoFields::gradientAngle},
    {&Key::kAlphaVideo_VideoDuration, &AlphaVideoFields::duration},
    {&Key::kAlphaVideo_VideoPauseTime, &AlphaVideoFields::pauseTime}};

void ReadPath(IKivProperties* bag, const wchar_t* key, std::wstring* path) {
  std::wstring stored = StoredAlphaPath(bag, key);
  if (!stored.empty()) *path = std::move(stored);
}

}  // namespace

std::wstring StoredAlphaPath(IKivProperties* bag, const wchar_t* key) {
  wchar_t buffer[kCapacity] = {};
  bag->GetString(key, buffer, static_cast<int32_t>(kCapacity));
  return buffer;
}

HRESULT AlphaVideoFields::TakeRecord(const AlphaVideoSettings& record) {
  auto mask = PathFrom(record.fullHdDataPath);
  auto image = PathFrom(record.imagePath);
  if (!mask || !image) {
    KIV_LOG(LogLevel::kFailure, L"alpha video settings refused: a path is longer than %d",
            static_cast<int>(kCapacity - 1));
    return E_INVALIDARG;
  }
  *this = {record.preset,          record.fullHd,        record.canChangeColour,
           record.fillType,        record.singleColour,  record.gradientColour1,
           record.gradientColour2, record.gradientAngle, record.duration,
           record.pauseTime,       record.loopCount,     *std::move(mask),
           *std::move(image)};
  return S_OK;
}

void AlphaVideoFields::FillRecord(AlphaVideoSettings* record) const {
  record->canChangeColour = canChangeColour;
  record->fillType = fillType;
  record->singleColour = singleColour;
  record->padding = record->padding2 = 0;
  record->gradientAngle = gradientAngle;
  record->gradientColour1 = gradientColour1;
  record->gradientColour2 = gradientColour2;
  record->preset = preset;
  record->fullHd = fullHd;
  PathTo(fullHdDataPath, &record->fullHdDataPath);
  PathTo(imagePath, &record->imagePath);
  record->loopCount = loopCount;
  record->duration = duration;
  record->pauseTime = pauseTime;
}

void AlphaVideoFields::SaveTo(IKivProperties* bag) const {
  bag->SetInt(Key::kAlphaVideo_PresetVideo, preset);
  bag->SetString(Key::kAlphaVideo_FullHDDataFilepath, fullHdDataPath.c_str());
  bag->SetString(Key::kAlphaVideo_ImageFilepath, imagePath.c_str());
  for (const WholeField& row : kWholeFields) bag->SetInt(*row.key, this->*row.field);
  for (const RealField& row : kRealFields) bag->SetDouble(*row.key, this->*row.field);
}

void AlphaVideoFields::ReadFrom(IKivProperties* bag) {
  bag->GetInt(Key::kAlphaVideo_PresetVideo, &preset);
  ReadPath(bag, Key::kAlphaVideo_FullHDDataFilepath, &fullHdDataPath);
  ReadPath(bag, Key::kAlphaVideo_ImageFilepath, &imagePath);
  ReadNumbersFrom(bag);
}

void AlphaVideoFields::ReadNumbersFrom(IKivProperties* bag) {
  for (const WholeField& row : kWholeFields) bag->GetInt(*row.key, &(this->*row.field));
  for (const RealField& row : kRealFields) bag->GetDouble(*row.key, &(this->*row.field));
}

void AlphaVideoFields::ResetNumbers() {
  AlphaVideoFields initial;
  initial.fullHdDataPath.swap(fullHdDataPath);
  initial.imagePath.swap(imagePath);
  *this = std::move(initial);
}
