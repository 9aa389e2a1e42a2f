// printf-style formatting of wide text in the "C" locale.
#pragma once

#include <cstdarg>
#include <string>

#include "kiv/values/Export.h"

namespace kiv {

// Knows the flags - + 0 # and blank, width and precision (also *), the lengths hh h l ll j z t, and
// the conversions d i u x X o c s p f F e E g G and %%. %s and %ls take wide text, %hs UTF-8. A
// null text is written "(null)", an unknown conversion as it stands. Widths and precisions beyond
// kMaxFormatWidth are cut to it.
constexpr int kMaxFormatWidth = 4096;
KIV_ENGINE_API std::wstring FormatWide(const wchar_t* format, va_list arguments);
// The same with the arguments in place.
KIV_ENGINE_API std::wstring FormatWideText(const wchar_t* format, ...);

}  // namespace kiv
