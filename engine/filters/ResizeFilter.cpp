#include "engine/filters/ResizeFilter.h"

#include <algorithm>

namespace kiv {
namespace {

ScaleFilter FilterOf(int32_t quality) {
  return static_cast<ScaleFilter>(std::clamp(quality, 0, static_cast<int32_t>(ScaleFilter::kArea)));
}

}  // namespace

CResizeFilter::CResizeFilter()
    : FilterBase({{L"Quality", static_cast<int32_t>(ScaleFilter::kArea)}}) {}

HRESULT CResizeFilter::Process(const FilterInputs& inputs, const TargetPicture& output) {
  return ScalePicture(inputs.first, output, FilterOf(ValueOf(0)));
}

}  // namespace kiv
