#include "engine/filters/ResizeFilter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// One direction of a rectangle, in pixels.
struct Span {
  int32_t begin = 0;
  int32_t length = 0;
};

struct SpanPair {
  Span source;
  Span target;
};

Span WholePixels(double begin, double end, int32_t limit) {
  const int32_t first = std::clamp(SaturateToInt32(std::round(begin)), 0, limit);
  const int32_t last = std::clamp(SaturateToInt32(std::round(end)), 0, limit);
  return {first, std::max(last - first, 0)};
}

// Where a rectangle reaches beyond its picture, the other one loses the same share.
SpanPair Fit(double source, double sourceLength, int32_t sourceSize, double target,
             double targetLength, int32_t targetSize) {
  if (!(sourceLength > 0) || !(targetLength > 0)) return {};
  const double begin = std::max({0.0, -source / sourceLength, -target / targetLength});
  const double end = std::min({1.0, (1 - source) / sourceLength, (1 - target) / targetLength});
  if (!(begin < end)) return {};
  SpanPair fit{WholePixels((source + begin * sourceLength) * sourceSize,
                           (source + end * sourceLength) * sourceSize, sourceSize),
               WholePixels((target + begin * targetLength) * targetSize,
                           (target + end * targetLength) * targetSize, targetSize)};
  if (fit.source.length == 0) {  // less than half a pixel: show the one it lies in
    fit.source = {std::min(fit.source.begin, sourceSize - 1), 1};
  }
  return fit;
}

ScaleFilter FilterOf(int32_t quality) {
  return static_cast<ScaleFilter>(std::clamp(quality, 0, static_cast<int32_t>(ScaleFilter::kArea)));
}

void Clear(const TargetPicture& picture) {
  for (int32_t row = 0; row < picture.height; ++row) {
    std::memset(picture.pixels + static_cast<size_t>(row) * picture.rowBytes, 0,
                static_cast<size_t>(picture.width) * kBytesPerPixel);
  }
}

template <typename Picture>
Picture Part(const Picture& picture, const Span& columns, const Span& rows) {
  return {picture.pixels + static_cast<size_t>(rows.begin) * picture.rowBytes +
              static_cast<size_t>(columns.begin) * kBytesPerPixel,
          columns.length, rows.length, picture.rowBytes};
}

}  // namespace

CResizeFilter::CResizeFilter()
    : FilterBase({{L"Quality", static_cast<int32_t>(ScaleFilter::kArea)}}) {}

HRESULT CResizeFilter::Process(const FilterInputs& inputs, const TargetPicture& output) {
  const KivRectF& from = inputs.firstRect;
  const KivRectF& to = inputs.targetRect;
  const SpanPair columns =
      Fit(from.left, from.width, inputs.first.width, to.left, to.width, output.width);
  const SpanPair rows =
      Fit(from.top, from.height, inputs.first.height, to.top, to.height, output.height);
  const bool isWhole = columns.target.length == output.width && rows.target.length == output.height;
  if (!isWhole) Clear(output);
  if (columns.target.length == 0 || rows.target.length == 0) return S_OK;
  return ScalePicture(Part(inputs.first, columns.source, rows.source),
                      Part(output, columns.target, rows.target), FilterOf(ValueOf(0)));
}

}  // namespace kiv
