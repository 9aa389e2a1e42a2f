// Which source a clip's stabilization is for: exchanged by the stabilizer node, its commands and its
// analysis task.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/KivCommon.h"

// Units:    source frames, source pixels (as shown, before any decode scale).
struct StabSettings {
  int32_t Enable = 0;
  KivRange rngSource = KivCommon::Const::RANGE_INFINITY;
  std::wstring wstrPath;  // full path of the file
  int32_t nStreamIdx = -1;
  KivSize oSize;
  KivRational ratFramerate;

  // Whether both mean the same frames of the same stream. Enable and oSize take no part.
  friend bool operator==(const StabSettings& a, const StabSettings& b) {
    return a.rngSource == b.rngSource && a.nStreamIdx == b.nStreamIdx && a.wstrPath == b.wstrPath &&
           SameValue(a.ratFramerate, b.ratFramerate);
  }

  bool IsOfTheStreamOf(const StabSettings& other) const {
    return nStreamIdx == other.nStreamIdx && wstrPath == other.wstrPath;
  }

  // Whether an analysis could begin with them.
  bool IsUsable() const {
    constexpr int32_t kUnknownEnd = KivCommon::Const::FRAMEINDEX_MAX;
    return nStreamIdx >= 0 && ratFramerate.numerator != 0 && ratFramerate.denominator != 0 &&
           oSize.width != 0 && oSize.height != 0 && rngSource.start != kUnknownEnd &&
           rngSource.end != kUnknownEnd;
  }
};
