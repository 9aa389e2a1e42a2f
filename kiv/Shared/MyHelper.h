// Creates the platform's image filters, sets their parameters by name and runs them.
//
// Threads:  one caller at a time for each filter.
// Errors:   a null filter gives E_FAIL. A parameter that does not exist is no error: nothing is
//           set.
#pragma once

#include <cstdint>

#include "kiv/platform/Filters.h"
#include "kiv/platform/Properties.h"

namespace MyHelper {

// `guidText` has braces. `result` (may be null) receives the filter manager's result code, S_OK
// when there is no manager. Null on failure, which is logged.
KivComPtr<IKivCGFilter> CreateFilter(const wchar_t* guidText, HRESULT* result);

KivComPtr<IKivProperties> GetFilterProperties(const KivComPtr<IKivCGFilter>& filter);
KivComPtr<IKivProperties> GetFilterParam(const KivComPtr<IKivProperties>& properties,
                                         int32_t index);
// Compares friendly names without regard to ASCII letter case. Null when none matches.
KivComPtr<IKivProperties> FindFilterParam(const KivComPtr<IKivProperties>& properties,
                                          const wchar_t* friendlyName);

HRESULT SetFilterParamInt(const KivComPtr<IKivCGFilter>& filter, const wchar_t* friendlyName,
                          int32_t value);
HRESULT SetFilterParamDouble(const KivComPtr<IKivCGFilter>& filter, const wchar_t* friendlyName,
                             double value);

// Runs the filter at the size of `output`, which is not written; ReadFilterOutput does that.
// `secondInput` may be null.
HRESULT ApplyFilter(const KivComPtr<IKivCGFilter>& filter, const KivRectF& firstRect,
                    const KivRectF& secondRect, const KivComPtr<IKivFrame>& firstInput,
                    const KivComPtr<IKivFrame>& secondInput, const KivComPtr<IKivFrame>& output);
HRESULT ReadFilterOutput(const KivComPtr<IKivCGFilter>& filter, const KivComPtr<IKivFrame>& frame);

}  // namespace MyHelper
