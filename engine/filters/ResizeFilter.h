// Scales a part of the first input into a part of the output.
//
// Threads:  one caller at a time for each filter.
// Errors:   as FilterBase.
#pragma once

#include "engine/filters/FilterBase.h"

namespace kiv {

class CResizeFilter final : public FilterBase {
 public:
  // "Quality": 0 nearest, 1 linear, 2 (at first) the mean of what a pixel covers.
  CResizeFilter();

 protected:
  HRESULT Process(const FilterInputs& inputs, const TargetPicture& output) override;
};

}  // namespace kiv
