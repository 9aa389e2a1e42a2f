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
constexpr float kAsGoodAsOpaque = 254.999F;  // weights add up to 1 but for their rounding
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
  if (bytes[3] == 0xFF) return pixel;
  const float coverage = pixel[3] / kOpaque;
  return pixel * Pixel{coverage, coverage, coverage, 1};
}

// No channel exceeds 255: colour is at most coverage.
void Store(const Pixel& pixel, uint8_t* bytes) {
  Pixel straight = pixel;
  // Division takes longer than all the rest, and most pictures are opaque.
  if (pixel[3] < kAsGoodAsOpaque) {
    const float scale = pixel[3] > 0 ? kOpaque / pixel[3] : 0;
    straight *= Pixel{scale, scale, scale, 1};
  }
  const auto whole = __builtin_convertvector(straight + kRounding, WholePixel);
  const auto packed = __builtin_convertvector(whole, PackedPixel);
  std::memcpy(bytes, &packed, sizeof packed);
}

// What a curve overshoots is cut: no channel below 0, no colour above its coverage.
Pixel WithinRange(const Pixel& pixel) {
  const float alpha = std::clamp(pixel[3], 0.0F, kOpaque);
  const Pixel coverage = {alpha, alpha, alpha, alpha};
  const Pixel positive = pixel > 0 ? pixel : Pixel{};
  return positive < coverage ? positive : coverage;
}

// Source rows brought to the target's width, the latest of them kept: neighbouring target rows are
// made of the same ones.
class Rows {
 public:
  Rows(const SourcePicture& source, const Axis& horizontal, int32_t kept)
      : source_(source),
        horizontal_(horizontal),
        straight_(static_cast<size_t>(source.width)),
        kept_(static_cast<size_t>(std::clamp(kept, 1, kMostKept))) {
    for (KeptRow& row : kept_) row.pixels.resize(horizontal.taps.size());
    const Taps& end = horizontal.taps.back();
    first_ = horizontal.taps.front().first;
    end_ = end.first + end.count;
  }

  int32_t Kept() const { return static_cast<int32_t>(kept_.size()); }
  const Pixel* Row(int32_t number) {
    KeptRow& row = kept_[static_cast<size_t>(number) % kept_.size()];
    if (row.number != number) Make(number, &row);
    return row.pixels.data();
  }

 private:
  // What is made smaller by more than this is made from rows that are not kept, at worst four times.
  static constexpr int32_t kMostKept = 64;
  struct KeptRow {
    int32_t number = -1;
    std::vector<Pixel> pixels;
  };

  void Make(int32_t number, KeptRow* row) {
    const uint8_t* const bytes = source_.pixels + static_cast<size_t>(number) * source_.rowBytes;
    for (int32_t x = first_; x < end_; ++x) {
      straight_[static_cast<size_t>(x)] = Load(bytes + static_cast<size_t>(x) * kBytesPerPixel);
    }
    Pixel* to = row->pixels.data();
    for (const Taps& taps : horizontal_.taps) {
      const Pixel* const first = straight_.data() + taps.first;
      const float* const weights = horizontal_.weights.data() + taps.weights;
      Pixel sum{};
      for (int32_t i = 0; i < taps.count; ++i) sum += first[i] * weights[i];
      *to++ = sum;
    }
    row->number = number;
  }

  const SourcePicture& source_;
  const Axis& horizontal_;
  std::vector<Pixel> straight_;
  std::vector<KeptRow> kept_;
  int32_t first_ = 0, end_ = 0;  // the columns that are drawn on
};

int32_t MostTaps(const Axis& axis) {
  int32_t most = 0;
  for (const Taps& taps : axis.taps) most = std::max(most, taps.count);
  return most;
}

// The sum of `count` rows, four of them in one go: that is what most pictures are made of.
void MixRows(Rows& rows, const Taps& taps, const float* weights, std::vector<Pixel>& mixed) {
  std::fill(mixed.begin(), mixed.end(), Pixel{});
  int32_t i = 0;
  for (; i + 4 <= taps.count && taps.count <= rows.Kept(); i += 4) {
    const Pixel* const a = rows.Row(taps.first + i);
    const Pixel* const b = rows.Row(taps.first + i + 1);
    const Pixel* const c = rows.Row(taps.first + i + 2);
    const Pixel* const d = rows.Row(taps.first + i + 3);
    const float* const w = weights + i;
    for (size_t x = 0; x < mixed.size(); ++x) {
      mixed[x] += a[x] * w[0] + b[x] * w[1] + c[x] * w[2] + d[x] * w[3];
    }
  }
  for (; i < taps.count; ++i) {
    const Pixel* const row = rows.Row(taps.first + i);
    for (size_t x = 0; x < mixed.size(); ++x) mixed[x] += row[x] * weights[i];
  }
}

void Resample(const SourcePicture& source, const Axis& horizontal, const Axis& vertical,
              const TargetPicture& target) {
  Rows rows(source, horizontal, MostTaps(vertical));
  std::vector<Pixel> mixed(static_cast<size_t>(target.width));
  uint8_t* to = target.pixels;
  for (const Taps& taps : vertical.taps) {
    MixRows(rows, taps, vertical.weights.data() + taps.weights, mixed);
    for (size_t x = 0; x < mixed.size(); ++x) Store(WithinRange(mixed[x]), to + x * kBytesPerPixel);
    to += target.rowBytes;
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
