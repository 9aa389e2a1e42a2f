#include "kiv/VideoStab/StabStoredData.h"

#include <cmath>
#include <utility>

#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/PictureFacts.h"
#include "kiv/values/NumberText.h"
#include "kiv/values/Saturate.h"
#include "kiv/values/TextScan.h"

namespace {

constexpr double kSteps = 10000.0;
constexpr int32_t kEntryCapacity = 40;
constexpr int32_t kPathCapacity = 260;

namespace Key = KivKey::MotionData;

void AppendSteps(std::wstring* text, double value) {
  kiv::AppendInteger(text, kiv::SaturateToInt32(value * kSteps));
}

// A value that is cut to the same steps again, so that loading and saving does not wear it down.
double ValueOf(int32_t steps) {
  const double value = steps / kSteps;
  return kiv::SaturateToInt32(value * kSteps) == steps ? value : std::nextafter(value, 2 * value);
}

bool ScanSteps(kiv::TextScan* scan, double* value) {
  int64_t steps = 0;
  if (!scan->Integer(&steps)) return false;
  *value = ValueOf(kiv::ClampToInt32(steps));
  return true;
}

void WriteSettings(const StabSettings& settings, IKivProperties* bag) {
  bag->SetInt(Key::kEnabled, settings.Enable);
  bag->SetRange(Key::kRange, &settings.rngSource);
  bag->SetString(Key::kPath, settings.wstrPath.c_str());
  bag->SetInt(Key::kStream, settings.nStreamIdx);
  bag->SetSize(Key::kSize, &settings.oSize);
  bag->SetRational(Key::kFrameRate, &settings.ratFramerate);
}

void ReadSettings(IKivProperties* bag, StabSettings* settings) {
  bag->GetInt(Key::kEnabled, &settings->Enable);
  bag->GetRange(Key::kRange, &settings->rngSource);
  wchar_t path[kPathCapacity] = {};
  bag->GetString(Key::kPath, path, kPathCapacity);
  settings->wstrPath = path;
  bag->GetInt(Key::kStream, &settings->nStreamIdx);
  bag->GetSize(Key::kSize, &settings->oSize);
  bag->GetRational(Key::kFrameRate, &settings->ratFramerate);
}

bool IsPossibleSide(int32_t side) { return side >= 0 && side <= kiv::kMaxPictureSide; }

HRESULT ReadMotions(IKivProperties* bag, int32_t count, std::vector<StabMotion>* motions) {
  for (int32_t i = 0; i < count; ++i) {
    wchar_t text[kEntryCapacity] = {};
    if (Failed(bag->GetString(Key::Entry(i).c_str(), text, kEntryCapacity))) return E_INVALIDARG;
    motions->push_back(StabMotionFromText(text));
  }
  return count < 0 ? E_INVALIDARG : S_OK;
}

}  // namespace

std::wstring StabMotionText(const StabMotion& motion) {
  std::wstring text = L"dx:";
  AppendSteps(&text, motion.dx);
  text += L',';
  AppendSteps(&text, motion.dy);
  text += L"y,da:";
  AppendSteps(&text, motion.da);
  return text;
}

StabMotion StabMotionFromText(std::wstring_view text) {
  kiv::TextScan scan(text);
  StabMotion motion;
  const bool hasX = scan.Literal(L"dx:") && ScanSteps(&scan, &motion.dx);
  const bool hasY = hasX && scan.Literal(L",") && ScanSteps(&scan, &motion.dy);
  if (hasY && scan.Literal(L"y,da:")) ScanSteps(&scan, &motion.da);
  return motion;
}

HRESULT StoreStabData(const StabStoredData& data, IKivProperties* bag) {
  const KivPropDecorator made = KivCommon::CreateProperties();
  if (!made) return E_OUTOFMEMORY;
  int32_t count = 0;
  for (const StabMotion& motion : data.motions) {
    const HRESULT hr =
        made.Get()->SetString(Key::Entry(count++).c_str(), StabMotionText(motion).c_str());
    if (Failed(hr)) return hr;
  }
  WriteSettings(data.settings, made.Get());
  made.Get()->SetInt(KivKey::Stabilization::kAnalyzedDataSize, count);
  return bag->SetObject(KivKey::Stabilization::kAnalyzedDataStr, made.Get());
}

HRESULT ReadStabData(IKivProperties* bag, StabStoredData* data) {
  KivComPtr<IUnknown> object;
  if (Failed(bag->GetObject(KivKey::Stabilization::kAnalyzedDataStr, object.Put()))) {
    return S_FALSE;
  }
  const auto stored = object.As<IKivProperties>();
  if (!stored) return S_FALSE;
  StabStoredData read{data->settings, {}};
  int32_t count = 0;
  stored->GetInt(KivKey::Stabilization::kAnalyzedDataSize, &count);
  ReadSettings(stored.Get(), &read.settings);
  const KivSize& size = read.settings.oSize;
  if (!IsPossibleSide(size.width) || !IsPossibleSide(size.height)) return E_INVALIDARG;
  if (const HRESULT hr = ReadMotions(stored.Get(), count, &read.motions); Failed(hr)) return hr;
  *data = std::move(read);
  return S_OK;
}
