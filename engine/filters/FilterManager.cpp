#include "engine/filters/FilterManager.h"

#include <algorithm>
#include <string_view>

#include "engine/base/Boundary.h"
#include "engine/base/CountedObject.h"
#include "engine/filters/ChannelFilters.h"
#include "engine/filters/ResizeFilter.h"
#include "kiv/platform/ImageProc.h"
#include "kiv/platform/KeyNames.h"

namespace kiv {
namespace {

struct FilterClass {
  const wchar_t* const* guid;  // with braces
  FilterBase* (*create)();
};

template <typename Filter>
FilterBase* Create() {
  return new Filter;
}

constexpr FilterClass kFilterClasses[] = {
    {&KivKey::Filter::kFilterGUID_Resize, &Create<CResizeFilter>},
    {&KivKey::Filter::kFilterGUID_AlphaChannel, &Create<CAlphaChannelFilter>},
    {&KivKey::Filter::kFilterGUID_GreenChannel, &Create<CGreenChannelFilter>},
    {&KivKey::Filter::kFilterGUID_preMultAlpha, &Create<CPremultiplyFilter>},
};

wchar_t LowerAscii(wchar_t c) { return c >= L'A' && c <= L'Z' ? c + (L'a' - L'A') : c; }

bool IsGuid(std::wstring_view braced, std::wstring_view bare) {
  const std::wstring_view inside = braced.substr(1, braced.size() - 2);
  return std::equal(inside.begin(), inside.end(), bare.begin(), bare.end(),
                    [](wchar_t a, wchar_t b) { return LowerAscii(a) == LowerAscii(b); });
}

// Filters run on the processor, so a device has nothing to say.
class CDevice final : public CountedObject<IKivCGDevice> {};

// And pictures are resized without any state to keep.
class CImageProc final : public CountedObject<IKivImageProc> {};

class CFilterManager final : public CountedObject<IKivCGFilterManager> {
 public:
  HRESULT CreateFilter(IKivCGDevice*, const wchar_t* guid,
                       KivComPtr<IKivCGFilter>* filter) override {
    if (!filter) return E_POINTER;
    filter->Reset();
    if (!guid) return E_INVALIDARG;
    const auto* const found =
        std::find_if(std::begin(kFilterClasses), std::end(kFilterClasses),
                     [guid](const FilterClass& entry) { return IsGuid(*entry.guid, guid); });
    if (found == std::end(kFilterClasses)) return E_NOTFOUND;
    return AtBoundary([&] {
      const auto made = KivComPtr<FilterBase>::Adopt(found->create());
      const HRESULT hr = made->Publish();
      if (Succeeded(hr)) *filter = made;
      return hr;
    });
  }
};

}  // namespace

HRESULT CreateFilterManagerObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CFilterManager>(outer, iid, object);
}

HRESULT CreateImageProcObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CImageProc>(outer, iid, object);
}

HRESULT CreateDeviceObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CDevice>(outer, iid, object);
}

}  // namespace kiv
