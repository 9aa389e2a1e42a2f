#include "kiv/Shared/MyHelper.h"

#include <algorithm>
#include <string_view>

#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/CKivValue.h"

namespace MyHelper {
namespace {

constexpr int32_t kGuidCapacity = 256;
constexpr int32_t kNameCapacity = 100;
// The line that logs of filter creation have always named; readers of logs search for it.
constexpr int kLoggedLine = 101;

wchar_t AsciiLower(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

bool SameName(std::wstring_view a, std::wstring_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return AsciiLower(x) == AsciiLower(y); });
}

template <typename T>
HRESULT SetFilterParam(const KivComPtr<IKivCGFilter>& filter, const wchar_t* friendlyName,
                       const T& value) {
  if (!filter) return E_FAIL;
  const auto param = FindFilterParam(GetFilterProperties(filter), friendlyName);
  if (!param) return S_OK;
  CKivValue holder;
  if (holder.SetValue(value) != 0) return E_OUTOFMEMORY;
  return param->SetValue(KivKey::Filter::Property::kValue_Current, &holder);
}

}  // namespace

KivComPtr<IKivCGFilter> CreateFilter(const wchar_t* guidText, HRESULT* result) {
  if (result) *result = S_OK;
  const auto manager = KivCommon::GetCGFilterManager();
  if (!manager) return nullptr;
  wchar_t bare[kGuidCapacity] = {};
  KivCommon::Guid::RemoveBraces(guidText, bare, kGuidCapacity);
  KivComPtr<IKivCGFilter> filter;
  const HRESULT hr = manager->CreateFilter(KivCommon::GetCGDevice().Get(), bare, &filter);
  if (!filter) {
    KIV_LOG_AT(LogLevel::kFilter, kLoggedLine, L"Create filter failed. Filter GUID : %ls",
               guidText);
  }
  if (result) *result = hr;
  return filter;
}

KivComPtr<IKivProperties> GetFilterProperties(const KivComPtr<IKivCGFilter>& filter) {
  return filter.As<IKivProperties>();
}

KivComPtr<IKivProperties> GetFilterParam(const KivComPtr<IKivProperties>& properties,
                                         int32_t index) {
  using KivKey::Filter::Property::kParamsArray;
  using KivKey::Filter::Property::kParamsArrayLength;
  if (!properties || index < 0 || index >= kParamsArrayLength) return nullptr;
  KivComPtr<IUnknown> object;
  if (Failed(properties->GetObject(kParamsArray[index], object.Put()))) return nullptr;
  return object.As<IKivProperties>();
}

KivComPtr<IKivProperties> FindFilterParam(const KivComPtr<IKivProperties>& properties,
                                          const wchar_t* friendlyName) {
  if (!properties || !friendlyName) return nullptr;
  int32_t count = 0;
  properties->GetInt(KivKey::Filter::Property::kCount, &count);
  // A count beyond the platform's array is not believed.
  count = std::min(count, KivKey::Filter::Property::kParamsArrayLength);
  for (int32_t i = 0; i < count; ++i) {
    auto param = GetFilterParam(properties, i);
    if (!param) continue;
    wchar_t name[kNameCapacity] = {};
    param->GetString(KivKey::Filter::Property::kFriendName, name, kNameCapacity);
    if (SameName(friendlyName, name)) return param;
  }
  return nullptr;
}

HRESULT SetFilterParamInt(const KivComPtr<IKivCGFilter>& filter, const wchar_t* friendlyName,
                          int32_t value) {
  return SetFilterParam(filter, friendlyName, value);
}

HRESULT SetFilterParamDouble(const KivComPtr<IKivCGFilter>& filter, const wchar_t* friendlyName,
                             double value) {
  return SetFilterParam(filter, friendlyName, value);
}

HRESULT ApplyFilter(const KivComPtr<IKivCGFilter>& filter, const KivRectF& firstRect,
                    const KivRectF& secondRect, const KivComPtr<IKivFrame>& firstInput,
                    const KivComPtr<IKivFrame>& secondInput, const KivComPtr<IKivFrame>& output) {
  if (!filter) return E_FAIL;
  if (!output) return E_POINTER;
  filter->SetRects(&secondRect, &firstRect);
  filter->SetRunMode(0);
  filter->SetInputCount(1);
  filter->SetFirstInput(firstInput.Get());
  filter->SetSecondInput(secondInput.Get());
  const KivSize size = kiv::SizeOf(*output);
  return filter->Run(&size);
}

HRESULT ReadFilterOutput(const KivComPtr<IKivCGFilter>& filter, const KivComPtr<IKivFrame>& frame) {
  return filter ? filter->ReadOutput(frame.Get()) : E_FAIL;
}

}  // namespace MyHelper
