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

void AddArea(Axis& axis, int32_t from, double begin, double end) {
  const int32_t first = std::clamp(SaturateToInt32(begin), 0, from - 1);
  axis.Begin(first);
  for (int32_t i = first; i < from; ++i) {
    const double covered = std::min<double>(i + 1, end) - std::max<double>(i, begin);
    if (i > first && covered <= 0) break;
    axis.Add(covered / (end - begin));
  }
}

void AddLinear(Axis& axis, int32_t from, double centre) {
  const double place = std::clamp<double>(centre - 0.5, 0, from - 1);
  const int32_t first = SaturateToInt32(place);
  const double fraction = place - first;
  axis.Begin(first);
  axis.Add(1 - fraction);
  if (fraction > 0) axis.Add(fraction);
}

Axis MakeAxis(int32_t from, int32_t to, ScaleFilter filter) {
  Axis axis;
  const double scale = static_cast<double>(from) / to;
  for (int32_t i = 0; i < to; ++i) {
    const double centre = (i + 0.5) * scale;
    if (filter == ScaleFilter::kNearest) {
      axis.Begin(std::min(SaturateToInt32(centre), from - 1));
      axis.Add(1);
    } else if (filter == ScaleFilter::kArea && from > to) {
      AddArea(axis, from, i * scale, (i + 1) * scale);
    } else {
      AddLinear(axis, from, centre);
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

// No channel exceeds 255: weights are not negative, add up to 1, and colour is at most coverage.
void Store(const Pixel& pixel, uint8_t* bytes) {
  const float scale = pixel[3] > 0 ? kOpaque / pixel[3] : 0;
  const Pixel straight = pixel * Pixel{scale, scale, scale, 1} + kRounding;
  const auto whole = __builtin_convertvector(straight, WholePixel);
  const auto packed = __builtin_convertvector(whole, PackedPixel);
  std::memcpy(bytes, &packed, sizeof packed);
}

void MixRows(const SourcePicture& source, const Axis& vertical, int32_t row,
             std::vector<Pixel>& mixed) {
  const Taps taps = vertical.taps[static_cast<size_t>(row)];
  const uint8_t* const first = source.pixels + static_cast<size_t>(taps.first) * source.rowBytes;
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

void MixColumns(const std::vector<Pixel>& mixed, const Axis& horizontal, uint8_t* to) {
  for (const Taps& taps : horizontal.taps) {
    const Pixel* const first = mixed.data() + taps.first;
    const float* const weights = horizontal.weights.data() + taps.weights;
    Pixel sum{};
    for (int32_t i = 0; i < taps.count; ++i) {
      sum += first[i] * weights[i];
    }
    Store(sum, to);
    to += kBytesPerPixel;
  }
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
  if (!source.pixels || !target.pixels) return E_INVALIDARG;
  if (!IsPictureSize(source.width, source.height)) return E_INVALIDARG;
  if (!IsPictureSize(target.width, target.height)) return E_INVALIDARG;
  if (source.width == target.width && source.height == target.height) {
    CopyPicture(source, target);
    return S_OK;
  }
  return AtBoundary([&] {
    const Axis horizontal = MakeAxis(source.width, target.width, filter);
    const Axis vertical = MakeAxis(source.height, target.height, filter);
    std::vector<Pixel> mixed(static_cast<size_t>(source.width));
    for (int32_t row = 0; row < target.height; ++row) {
      MixRows(source, vertical, row, mixed);
      MixColumns(mixed, horizontal, target.pixels + static_cast<size_t>(row) * target.rowBytes);
    }
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
