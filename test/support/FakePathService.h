// A path service that translates nothing and knows one named value.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "engine/common/CountedObject.h"
#include "kiv/platform/PathService.h"
#include "test/support/CallLog.h"
#include "test/support/Ledger.h"

namespace test {

// Calls read "GetNamedValue" and "TranslateLocation".
class FakePathService : public kiv::CountedObject<IKivPathService> {
 public:
  static KivComPtr<FakePathService> Make() {
    UseLedger();
    return KivComPtr<FakePathService>::Adopt(new FakePathService);
  }

  HRESULT GetNamedValue(const wchar_t* name, wchar_t* buffer, int32_t capacity) override {
    log.Add("GetNamedValue");
    if (name != std::wstring(L"NOT_FOUND_JPEG_PATH") || value.empty()) return E_NOTFOUND;
    return Copy(value, buffer, capacity);
  }
  HRESULT TranslateLocation(const wchar_t* location, wchar_t* buffer, int32_t capacity) override {
    log.Add("TranslateLocation");
    return Copy(location, buffer, capacity);
  }

  CallLog log;
  std::wstring value;

 private:
  static HRESULT Copy(const std::wstring& text, wchar_t* buffer, int32_t capacity) {
    const size_t length = std::min(text.size(), static_cast<size_t>(capacity) - 1);
    text.copy(buffer, length);
    buffer[length] = 0;
    return S_OK;
  }
};

}  // namespace test
