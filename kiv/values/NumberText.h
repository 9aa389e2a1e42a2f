// Numbers as wide text, always in the "C" locale, whatever locale the process has set.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/values/Export.h"

namespace kiv {

// The most decimals a double can have; more are not written.
constexpr int kMaxDecimals = 1074;

enum class LetterCase { kLower, kUpper };

KIV_VALUES_API void AppendInteger(std::wstring* out, int64_t value);
// `base` is 2 to 36.
KIV_VALUES_API void AppendUnsigned(std::wstring* out, uint64_t value, int base = 10,
                                   LetterCase letters = LetterCase::kLower);
// Plain digits with `decimals` (0 to kMaxDecimals) of them after the point, however large the
// value; "inf" and "nan" with their sign.
KIV_VALUES_API void AppendFixed(std::wstring* out, double value, int decimals = 6);
// As "%e" and "%g" write.
KIV_VALUES_API void AppendScientific(std::wstring* out, double value, int decimals = 6);
KIV_VALUES_API void AppendGeneral(std::wstring* out, double value, int digits = 6);

}  // namespace kiv
