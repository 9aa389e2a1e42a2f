#include "engine/common/PictureScale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "engine/common/Boundary.h"
#include "engine/common/Frame.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// Blue, green, red, alpha of one pixel side by side, so that one instruction handles all four.
typedef float Pixel __attribute__((vector_size(16)));
typedef int32_t WholePixel __attribute__((vector_size(16)));
typedef uint8_t PackedPixel __attribute__((vector_size(4)));
constexpr float kOpaque = 255.0F;
constexpr float kRounding = 0.5F;

// Which source positions an output position is made of.
struct Taps {
  int32_t first = 0;
  int32_t count = 0;
  size_t weights = 0;  // where its weights start; they add up to 1
};

struct Axis {
  std::vector<Taps> taps;
  std::vector<float> weights;

  void Begin(int32_t first) { taps.push_back({first, 0, weights.size()}); }
  void Add(double weight) {
    ++taps.back().count;
    weights.push_back(static_cast<float>(weight));
  }
};

// A stretch of `length` source pixels from `begin` on, out of `size`.
struct Stretch {
  int32_t size = 0;
  double begin = 0, length = 0;
};

void AddArea(Axis& axis, int32_t size, double begin, double end) {
  const int32_t first = std::clamp(SaturateToInt32(begin), 0, size - 1);
  axis.Begin(first);
  for (int32_t i = first; i < size; ++i) {
    const double covered = std::min<double>(i + 1, end) - std::max<double>(i, begin);
    if (i > first && covered <= 0) break;
    axis.Add(covered / (end - begin));
  }
}

void AddLinear(Axis& axis, int32_t size, double centre) {
  const double place = std::clamp<double>(centre - 0.5, 0, size - 1);
  const int32_t first = SaturateToInt32(place);
  const double fraction = place - first;
  axis.Begin(first);
  axis.Add(1 - fraction);
  if (fraction > 0) axis.Add(fraction);
}

// A cubic over four points, of the family that keeps ramps straight (B + 2C = 1): `blur` 0 goes through
// the points with the slopes of their neighbours, 1 is the smoothest.
double CubicWeight(double distance, double blur) {
  const double x = std::fabs(distance);
  const double slope = (1 - blur) / 2;
  if (x < 1) {
    const double cube = 12 - 9 * blur - 6 * slope;
    const double square = -18 + 12 * blur + 6 * slope;
    return ((cube * x + square) * x * x + 6 - 2 * blur) / 6;
  }
  if (x >= 2) return 0;
  const double cube = -blur - 6 * slope;
  const double square = 6 * blur + 30 * slope;
  const double line = -12 * blur - 48 * slope;
  return (((cube * x + square) * x + line) * x + 8 * blur + 24 * slope) / 6;
}

constexpr double kThroughThePoints = 0;
// Where a hard black and white edge crosses the middle grey, this stays within 0.09 pixel of the true
// place while the edge moves over the pixels; the curve through the points only within 0.13.
constexpr double kEvenlySoft = 0.5;

struct Curve {
  double blur = kThroughThePoints;
  double stretch = 1;  // source pixels that it is drawn over for each of its own
};

// What falls beyond the edges counts as the edge pixel.
void AddCurve(Axis& axis, int32_t size, double centre, const Curve& curve) {
  const double place = centre - 0.5;
  const int32_t from = SaturateToInt32(std::floor(place - 2 * curve.stretch)) + 1;
  const int32_t to = SaturateToInt32(std::ceil(place + 2 * curve.stretch)) - 1;
  const int32_t first = std::clamp(from, 0, size - 1);
  const int32_t last = std::clamp(to, 0, size - 1);
  std::vector<double> weights(static_cast<size_t>(last - first) + 1);
  double sum = 0;
  for (int32_t i = from; i <= to; ++i) {
    const double weight = CubicWeight((i - place) / curve.stretch, curve.blur);
    weights[static_cast<size_t>(std::clamp(i, first, last) - first)] += weight;
    sum += weight;
  }
  axis.Begin(first);
  for (const double weight : weights) axis.Add(weight / sum);
}

Axis MakeAxis(const Stretch& from, int32_t to, ScaleFilter filter) {
  Axis axis;
  const double scale = from.length / to;
  for (int32_t i = 0; i < to; ++i) {
    const double centre = from.begin + (i + 0.5) * scale;
    if (filter == ScaleFilter::kNearest) {
      axis.Begin(std::clamp(SaturateToInt32(centre), 0, from.size - 1));
      axis.Add(1);
    } else if (filter == ScaleFilter::kCubic) {
      AddCurve(axis, from.size, centre, {kThroughThePoints, std::max(scale, 1.0)});
    } else if (filter == ScaleFilter::kSmooth) {
      AddCurve(axis, from.size, centre, {kEvenlySoft, std::max(scale, 1.0)});
    } else if (filter == ScaleFilter::kArea && scale > 1) {
      AddArea(axis, from.size, from.begin + i * scale, from.begin + (i + 1) * scale);
    } else {
      AddLinear(axis, from.size, centre);
    }
  }
  return axis;
}

Pixel Load(const uint8_t* bytes) {
  PackedPixel packed;
  std::memcpy(&packed, bytes, sizeof packed);
  const Pixel pixel = __builtin_convertvector(packed, Pixel);
  const float coverage = pixel[3] / kOpaque;
  return pixel * Pixel{coverage, coverage, coverage, 1};
}

// No channel exceeds 255: colour is at most coverage.
void Store(const Pixel& pixel, uint8_t* bytes) {
  const float scale = pixel[3] > 0 ? kOpaque / pixel[3] : 0;
  const Pixel straight = pixel * Pixel{scale, scale, scale, 1} + kRounding;
  const auto whole = __builtin_convertvector(straight, WholePixel);
  const auto packed = __builtin_convertvector(whole, PackedPixel);
  std::memcpy(bytes, &packed, sizeof packed);
}

// The columns that an axis draws on.
struct Columns {
  int32_t first = 0, count = 0;
};

Columns ColumnsOf(const Axis& horizontal) {
  const Taps& end = horizontal.taps.back();
  const int32_t first = horizontal.taps.front().first;
  return {first, end.first + end.count - first};
}

// `mixed` holds the columns from `left` on.
void MixRows(const SourcePicture& source, const Axis& vertical, int32_t row, int32_t left,
             std::vector<Pixel>& mixed) {
  const Taps taps = vertical.taps[static_cast<size_t>(row)];
  const uint8_t* const first = source.pixels + static_cast<size_t>(taps.first) * source.rowBytes +
                               static_cast<size_t>(left) * kBytesPerPixel;
  std::fill(mixed.begin(), mixed.end(), Pixel{});
  for (int32_t i = 0; i < taps.count; ++i) {
    const float weight = vertical.weights[taps.weights + static_cast<size_t>(i)];
    const uint8_t* from = first + static_cast<size_t>(i) * source.rowBytes;
    for (Pixel& pixel : mixed) {
      pixel += Load(from) * weight;
      from += kBytesPerPixel;
    }
  }
}

// What a curve overshoots is cut: no channel below 0, no colour above its coverage.
Pixel WithinRange(const Pixel& pixel) {
  const float alpha = std::clamp(pixel[3], 0.0F, kOpaque);
  const Pixel coverage = {alpha, alpha, alpha, alpha};
  const Pixel positive = pixel > 0 ? pixel : Pixel{};
  return positive < coverage ? positive : coverage;
}

void MixColumns(const std::vector<Pixel>& mixed, const Axis& horizontal, int32_t left,
                uint8_t* to) {
  for (const Taps& taps : horizontal.taps) {
    const Pixel* const first = mixed.data() + (taps.first - left);
    const float* const weights = horizontal.weights.data() + taps.weights;
    Pixel sum{};
    for (int32_t i = 0; i < taps.count; ++i) {
      sum += first[i] * weights[i];
    }
    Store(WithinRange(sum), to);
    to += kBytesPerPixel;
  }
}

void Resample(const SourcePicture& source, const Axis& horizontal, const Axis& vertical,
              const TargetPicture& target) {
  const Columns columns = ColumnsOf(horizontal);
  std::vector<Pixel> mixed(static_cast<size_t>(columns.count));
  for (int32_t row = 0; row < target.height; ++row) {
    MixRows(source, vertical, row, columns.first, mixed);
    MixColumns(mixed, horizontal, columns.first,
               target.pixels + static_cast<size_t>(row) * target.rowBytes);
  }
}

// False for what is no number, too.
bool IsWithin(double begin, double length, int32_t size) {
  return begin >= 0 && length > 0 && begin + length <= size;
}

bool IsWhole(const SourcePicture& source, const KivRectF& region) {
  return region.width == source.width && region.height == source.height;
}

void CopyPicture(const SourcePicture& source, const TargetPicture& target) {
  for (int32_t row = 0; row < target.height; ++row) {
    const auto y = static_cast<size_t>(row);
    std::memcpy(target.pixels + y * target.rowBytes, source.pixels + y * source.rowBytes,
                static_cast<size_t>(target.width) * kBytesPerPixel);
  }
}

}  // namespace

HRESULT ScalePicture(const SourcePicture& source, const TargetPicture& target, ScaleFilter filter) {
  return ScaleRegion(source,
                     {0, 0, static_cast<double>(source.width), static_cast<double>(source.height)},
                     target, filter);
}

HRESULT ScaleRegion(const SourcePicture& source, const KivRectF& region,
                    const TargetPicture& target, ScaleFilter filter) {
  if (!source.pixels || !target.pixels) return E_INVALIDARG;
  if (!IsPictureSize(source.width, source.height)) return E_INVALIDARG;
  if (!IsPictureSize(target.width, target.height)) return E_INVALIDARG;
  if (!IsWithin(region.left, region.width, source.width)) return E_INVALIDARG;
  if (!IsWithin(region.top, region.height, source.height)) return E_INVALIDARG;
  const bool sameSize = source.width == target.width && source.height == target.height;
  if (IsWhole(source, region) && sameSize && filter != ScaleFilter::kSmooth) {
    CopyPicture(source, target);
    return S_OK;
  }
  return AtBoundary([&] {
    const Axis horizontal =
        MakeAxis({source.width, region.left, region.width}, target.width, filter);
    const Axis vertical =
        MakeAxis({source.height, region.top, region.height}, target.height, filter);
    Resample(source, horizontal, vertical, target);
    return S_OK;
  });
}

}  // namespace kiv

namespace KivCommon::ImageFunc {

HRESULT ResizeImage(IUnknown*, IKivBitmap* source, IKivBitmap* target, int32_t) {
  if (!source || !target) return E_INVALIDARG;
  if (source == target) return S_OK;
  if (!source->GetPixels() || !target->GetPixels()) return E_NOTREADY;
  const auto rowBytes = [](IKivBitmap* bitmap) {
    return static_cast<size_t>(std::max(bitmap->GetWidth(), 0)) * kiv::kBytesPerPixel;
  };
  return kiv::ScalePicture({static_cast<const uint8_t*>(source->GetPixels()), source->GetWidth(),
                            source->GetHeight(), rowBytes(source)},
                           {static_cast<uint8_t*>(target->GetPixels()), target->GetWidth(),
                            target->GetHeight(), rowBytes(target)},
                           kiv::ScaleFilter::kArea);
}

}  // namespace KivCommon::ImageFunc
