#include "engine/picture/PictureScale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "engine/base/Boundary.h"
#include "engine/picture/Frame.h"
#include "engine/picture/ScaleAxis.h"
#include "engine/picture/ScaleKernel.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

// Source rows brought to the target's width, the latest of them kept: neighbouring target rows are
// made of the same ones.
class Rows {
 public:
  Rows(const SourcePicture& source, const ScaleAxis& horizontal, int32_t kept)
      : source_(source), horizontal_(horizontal), kept_(static_cast<size_t>(kept)) {
    const ScaleTaps& end = horizontal.taps.back();
    first_ = horizontal.taps.front().first;
    end_ = std::min(end.first + end.count, source.width);
    // What is read beyond the source's end is weighted with 0.
    straight_ = ScaleRow(static_cast<size_t>(source.width));
    for (KeptRow& row : kept_) row.pixels = ScaleRow(horizontal.taps.size());
  }

  // Stands until as many other rows as are kept have been asked for. Numbers beyond the last one
  // give that one.
  const float* Row(int32_t number) {
    number = std::min(number, source_.height - 1);
    KeptRow& row = kept_[static_cast<size_t>(number) % kept_.size()];
    if (row.number != number) Make(number, &row);
    return row.pixels.Values();
  }

 private:
  struct KeptRow {
    int32_t number = -1;
    ScaleRow pixels;
  };

  void Make(int32_t number, KeptRow* row) {
    const auto first = static_cast<size_t>(first_);
    const uint8_t* const bytes = source_.pixels + static_cast<size_t>(number) * source_.rowBytes;
    LoadScaleRow(bytes + first * kBytesPerPixel, static_cast<size_t>(end_ - first_),
                 straight_.Values() + first * kScaleChannels);
    SampleScaleRow(straight_.Values(), horizontal_.taps, horizontal_.weights.data(),
                   horizontal_.fourEach, row->pixels.Values());
    row->number = number;
  }

  const SourcePicture& source_;
  const ScaleAxis& horizontal_;
  ScaleRow straight_;
  std::vector<KeptRow> kept_;
  int32_t first_ = 0, end_ = 0;  // the columns that are drawn on
};

// What is made smaller by more than this is made from rows that are not kept, at worst four times.
constexpr int32_t kMostKept = 64;

int32_t RowsToKeep(const ScaleAxis& vertical) {
  int32_t most = kScaleTaps;
  for (const ScaleTaps& taps : vertical.taps) most = std::max(most, taps.count);
  return std::min(most, kMostKept);
}

// The rows from tap `at` on. Where nothing is weighted, the first of them stands in.
FourRows RowsAt(Rows& rows, const ScaleTaps& taps, const float* weights, int32_t at) {
  FourRows four{};
  for (int32_t i = 0; i < kScaleTaps; ++i) {
    const float weight = at + i < taps.count ? weights[at + i] : 0;
    four.rows[i] = i > 0 && weight == 0 ? four.rows[0] : rows.Row(taps.first + at + i);
    four.weights[i] = weight;
  }
  return four;
}

void Resample(const SourcePicture& source, const ScaleAxis& horizontal, const ScaleAxis& vertical,
              const TargetPicture& target) {
  Rows rows(source, horizontal, RowsToKeep(vertical));
  const auto width = static_cast<size_t>(target.width);
  ScaleRow sum(width);
  uint8_t* to = target.pixels;
  for (const ScaleTaps& taps : vertical.taps) {
    const float* const weights = vertical.weights.data() + taps.weights;
    FourRows last = RowsAt(rows, taps, weights, 0);
    if (taps.count > kScaleTaps) {
      sum.Clear();
      for (int32_t i = 0; i < taps.count; i += kScaleTaps) {
        AddScaleRows(RowsAt(rows, taps, weights, i), width, sum.Values());
      }
      last = {{sum.Values(), sum.Values(), sum.Values(), sum.Values()}, {1}};
    }
    StoreScaleRows(last, width, to);
    to += target.rowBytes;
  }
}

// False for NaN, too.
bool IsWithin(double begin, double length, int32_t size) {
  return begin >= 0 && length > 0 && begin + length <= size;
}

// Whether every target pixel is a source pixel.
bool IsOnPixels(const KivRectF& region, const TargetPicture& target, ScaleFilter filter) {
  return region.width == target.width && region.height == target.height &&
         std::trunc(region.left) == region.left && std::trunc(region.top) == region.top &&
         filter != ScaleFilter::kSmooth;
}

void CopyRegion(const SourcePicture& source, const KivRectF& region, const TargetPicture& target) {
  const uint8_t* const first = source.pixels + static_cast<size_t>(region.top) * source.rowBytes +
                               static_cast<size_t>(region.left) * kBytesPerPixel;
  for (size_t y = 0; y < static_cast<size_t>(target.height); ++y) {
    std::memcpy(target.pixels + y * target.rowBytes, first + y * source.rowBytes,
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
  if (IsOnPixels(region, target, filter)) {
    CopyRegion(source, region, target);
    return S_OK;
  }
  return AtBoundary([&] {
    const ScaleAxis horizontal =
        MakeScaleAxis({source.width, region.left, region.width}, target.width, filter);
    const ScaleAxis vertical =
        MakeScaleAxis({source.height, region.top, region.height}, target.height, filter);
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
