#include "kiv/platform/OsServices.h"

#include <cstdarg>
#include <string>

#include "engine/base/Boundary.h"
#include "engine/base/WideFormat.h"

namespace {

thread_local int32_t entries = 0;

HRESULT CopyFormatted(wchar_t* buffer, int32_t capacity, const wchar_t* format, va_list arguments) {
  const std::wstring text = kiv::FormatWide(format, arguments);
  const size_t length = text.copy(buffer, static_cast<size_t>(capacity) - 1);
  buffer[length] = 0;
  return length < text.size() ? E_INSUFFICIENT_BUFFER : S_OK;
}

}  // namespace

HRESULT CoInitialize(void*) { return entries++ == 0 ? S_OK : S_FALSE; }

void CoUninitialize() {
  if (entries > 0) --entries;
}

HRESULT StringCchPrintfW(wchar_t* buffer, int32_t capacity, const wchar_t* format, ...) {
  if (!buffer || capacity <= 0 || !format) return E_INVALIDARG;
  buffer[0] = 0;
  va_list arguments;
  va_start(arguments, format);
  const HRESULT hr =
      kiv::AtBoundary([&] { return CopyFormatted(buffer, capacity, format, arguments); });
  va_end(arguments);
  return hr;
}
