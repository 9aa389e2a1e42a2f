// Motion data as it stands in a clip's settings: one text for each frame, in a bag of its own.
//
// Units:    StabMotion's; texts hold ten thousandths.
// Threads:  any.
// Errors:   as the functions say; std::bad_alloc is thrown.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kiv/VideoStab/StabSettings.h"
#include "kiv/platform/Properties.h"
#include "kiv/platform/Stabilizer.h"

// "dx:5000,-12500y,da:10" for {0.5, -1.25, 0.001}: cut towards zero, in the "C" locale.
std::wstring StabMotionText(const StabMotion& motion);
// Text that cannot be read is 0.
StabMotion StabMotionFromText(std::wstring_view text);

struct StabStoredData {
  StabSettings settings;
  std::vector<StabMotion> motions;
};

// Puts `data` into `bag`. E_OUTOFMEMORY when no bag can be made for it.
HRESULT StoreStabData(const StabStoredData& data, IKivProperties* bag);

// Reads what `bag` holds. Missing settings stay as they are in `data`, except the path, which becomes
// empty. S_FALSE, with nothing changed, when the bag holds no such data; E_INVALIDARG,
// with nothing changed, when the count is negative, when there are fewer entries than announced,
// or when the size is impossible. Time and memory grow with the entries present.
HRESULT ReadStabData(IKivProperties* bag, StabStoredData* data);
