#include "engine/filters/ChannelFilters.h"

#include <algorithm>
#include <cmath>

#include "engine/filters/ChannelKernel.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

enum AlphaParameter : size_t { kMode, kTheta, kR0, kG0, kB0, kR1, kG1, kB1, kChannelChoose };

constexpr double kPi = 3.14159265358979323846;
constexpr double kMostCode = 255;
constexpr int32_t kLastChannel = 3;

struct Rows {
  const uint8_t* Row(int32_t y) const {
    return picture.pixels + static_cast<size_t>(y) * picture.rowBytes;
  }
  SourcePicture picture;
  PictureMemory scaled;
};

// The picture itself when it has the output's size.
HRESULT FitRows(const SourcePicture& picture, const TargetPicture& output, Rows* rows) {
  rows->picture = picture;
  if (picture.width == output.width && picture.height == output.height) return S_OK;
  HRESULT hr = rows->scaled.Resize(output.width, output.height);
  if (Failed(hr)) return hr;
  const size_t rowBytes = rows->scaled.RowBytes();
  hr = ScalePicture(picture, {rows->scaled.Pixels(), output.width, output.height, rowBytes},
                    ScaleFilter::kArea);
  rows->picture = {rows->scaled.Pixels(), output.width, output.height, rowBytes};
  return hr;
}

uint8_t* RowOf(const TargetPicture& output, int32_t y) {
  return output.pixels + static_cast<size_t>(y) * output.rowBytes;
}

template <typename MakeRow>
HRESULT ForEachRow(const SourcePicture& picture, const TargetPicture& output,
                   const MakeRow& makeRow) {
  Rows rows;
  if (const HRESULT hr = FitRows(picture, output, &rows); Failed(hr)) return hr;
  const auto width = static_cast<size_t>(output.width);
  for (int32_t y = 0; y < output.height; ++y) makeRow(rows.Row(y), width, y, RowOf(output, y));
  return S_OK;
}

// NaN counts as 0.
double Fraction(double value) { return value > 0 ? std::min(value, 1.0) : 0; }

uint8_t CodeOf(double fraction) {
  return static_cast<uint8_t>(SaturateToInt32(Fraction(fraction) * kMostCode + 0.5));
}

// The share of the second colour at a pixel's middle, linear in x and y: 0 and 1 at the corners of
// `place` that lie farthest back and ahead.
struct Ramp {
  Ramp(double degrees, const KivRectF& place) {
    const double angle = (std::isfinite(degrees) ? degrees : 0) * kPi / 180;
    const double along = std::cos(angle), down = std::sin(angle);
    const double length = std::abs(along) * place.width + std::abs(down) * place.height;
    perColumn = along / length;
    perRow = down / length;
    first = 0.5 + perColumn * (0.5 - place.left - place.width / 2) +
            perRow * (0.5 - place.top - place.height / 2);
    if (!std::isfinite(first)) first = perColumn = perRow = 0;  // larger than any picture
  }
  double first = 0, perColumn = 0, perRow = 0;
};

}  // namespace

CAlphaChannelFilter::CAlphaChannelFilter()
    : FilterBase({{L"mode", 0},
                  {L"theta", 0, ParameterKind::kReal},
                  {L"r0", 1, ParameterKind::kReal},
                  {L"g0", 1, ParameterKind::kReal},
                  {L"b0", 1, ParameterKind::kReal},
                  {L"r1", 0, ParameterKind::kReal},
                  {L"g1", 0, ParameterKind::kReal},
                  {L"b1", 0, ParameterKind::kReal},
                  {L"channelChoose", kLastChannel}}) {}

HRESULT CAlphaChannelFilter::Process(const FilterInputs& inputs, const TargetPicture& output) {
  const int32_t channel = std::clamp(ValueOf(kChannelChoose), 0, kLastChannel);
  if (ValueOf(kMode) == 0) {
    const FillColour colour{CodeOf(RealOf(kB0)), CodeOf(RealOf(kG0)), CodeOf(RealOf(kR0))};
    return ForEachRow(inputs.first, output,
                      [&](const uint8_t* in, size_t width, int32_t, uint8_t* out) {
                        FillRow(in, width, channel, colour, out);
                      });
  }
  const Ramp ramp(RealOf(kTheta), inputs.place);
  GradientRamp row;
  row.step = static_cast<float>(ramp.perColumn);
  constexpr AlphaParameter kColours[][2] = {{kB0, kB1}, {kG0, kG1}, {kR0, kR1}};
  for (size_t c = 0; c < 3; ++c) {
    const double from = Fraction(RealOf(kColours[c][0]));
    row.from[c] = static_cast<float>(from * kMostCode);
    row.change[c] = static_cast<float>((Fraction(RealOf(kColours[c][1])) - from) * kMostCode);
  }
  return ForEachRow(inputs.first, output,
                    [&](const uint8_t* in, size_t width, int32_t y, uint8_t* out) {
                      row.first = static_cast<float>(ramp.first + ramp.perRow * y);
                      GradientRow(in, width, channel, row, out);
                    });
}

bool CGreenChannelFilter::HasInputs(const FilterInputs& inputs) const {
  return inputs.second.pixels != nullptr;
}

HRESULT CGreenChannelFilter::Process(const FilterInputs& inputs, const TargetPicture& output) {
  if (!inputs.first.pixels) return ScalePicture(inputs.second, output, ScaleFilter::kArea);
  Rows mask;
  if (const HRESULT hr = FitRows(inputs.first, output, &mask); Failed(hr)) return hr;
  return ForEachRow(inputs.second, output,
                    [&](const uint8_t* picture, size_t width, int32_t y, uint8_t* out) {
                      GreenCoverageRow(mask.Row(y), picture, width, out);
                    });
}

HRESULT CPremultiplyFilter::Process(const FilterInputs& inputs, const TargetPicture& output) {
  return ForEachRow(inputs.first, output,
                    [](const uint8_t* in, size_t width, int32_t, uint8_t* out) {
                      PremultiplyRow(in, width, out);
                    });
}

}  // namespace kiv
