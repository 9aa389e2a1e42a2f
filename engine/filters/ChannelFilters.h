// The filters that work on coverage: alpha channel, green channel, pre-multiplied alpha.
//
// Inputs are scaled if their size differs from the place they are put in.
//
// Units:    colours as fractions of full; angles in degrees clockwise, 0 to the right.
// Threads:  one caller at a time for each filter.
// Errors:   as FilterBase.
#pragma once

#include "engine/filters/FilterBase.h"

namespace kiv {

// Colours a shape: everything takes the fill's colour, and the shape stands in the alpha channel with
// its edges as they were. What a pixel's colour was plays no part, so nothing shines through at edges.
class CAlphaChannelFilter final : public FilterBase {
 public:
  // "mode" 0 fills with r0 g0 b0; any other runs from there to r1 g1 b1 in the direction "theta",
  // from the rectangle's corner farthest back to the one farthest ahead. "channelChoose" says which
  // channel of the input is the coverage: 0 blue, 1 green, 2 red, 3 (at first) alpha.
  CAlphaChannelFilter();

 protected:
  HRESULT Process(const FilterInputs& inputs, const TargetPicture& output) override;
};

// The second input's colours with the first input's green as coverage. Without a first input the
// second one's own coverage stays.
class CGreenChannelFilter final : public FilterBase {
 public:
  CGreenChannelFilter() : FilterBase({}) {}

 protected:
  bool HasInputs(const FilterInputs& inputs) const override;
  HRESULT Process(const FilterInputs& inputs, const TargetPicture& output) override;
};

// Multiplies colour by alpha.
class CPremultiplyFilter final : public FilterBase {
 public:
  CPremultiplyFilter() : FilterBase({}) {}

 protected:
  HRESULT Process(const FilterInputs& inputs, const TargetPicture& output) override;
};

}  // namespace kiv
