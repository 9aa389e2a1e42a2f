#include "engine/filters/FilterRects.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/picture/Frame.h"
#include "kiv/values/Saturate.h"

namespace kiv {
namespace {

// One direction of a rectangle, in pixels.
struct Span {
  int32_t begin = 0;
  int32_t length = 0;
};

Span WholePixels(double begin, double end, int32_t limit) {
  const int32_t first = std::clamp(SaturateToInt32(std::round(begin * limit)), 0, limit);
  const int32_t last = std::clamp(SaturateToInt32(std::round(end * limit)), 0, limit);
  return {first, std::max(last - first, 0)};
}

Span AtLeastOne(const Span& span, int32_t limit) {
  return span.length > 0 ? span : Span{std::min(span.begin, limit - 1), 1};
}

// One direction of both; false when nothing is left.
bool Cut(double source, double sourceLength, double target, double targetLength,
         double* (&edges)[4]) {
  if (!(sourceLength > 0) || !(targetLength > 0)) return false;
  if (std::isnan(source) || std::isnan(target)) return false;
  const double begin = std::max({0.0, -source / sourceLength, -target / targetLength});
  const double end = std::min({1.0, (1 - source) / sourceLength, (1 - target) / targetLength});
  if (!(begin < end)) return false;
  *edges[0] = source + begin * sourceLength;
  *edges[1] = source + end * sourceLength;
  *edges[2] = target + begin * targetLength;
  *edges[3] = target + end * targetLength;
  return true;
}

template <typename Picture>
Picture PartOf(const Picture& picture, const Span& columns, const Span& rows) {
  return {picture.pixels + static_cast<size_t>(rows.begin) * picture.rowBytes +
              static_cast<size_t>(columns.begin) * kBytesPerPixel,
          columns.length, rows.length, picture.rowBytes};
}

}  // namespace

RectPair CutAtEdges(const KivRectF& source, const KivRectF& target) {
  RectPair pair;
  PictureEdges &from = pair.source, &to = pair.target;
  double* columns[] = {&from.left, &from.right, &to.left, &to.right};
  double* rows[] = {&from.top, &from.bottom, &to.top, &to.bottom};
  const bool isLeft = Cut(source.left, source.width, target.left, target.width, columns) &&
                      Cut(source.top, source.height, target.top, target.height, rows);
  return isLeft ? pair : RectPair{};
}

SourcePicture PartOf(const SourcePicture& picture, const PictureEdges& edges) {
  if (!picture.pixels) return picture;
  return PartOf(picture,
                AtLeastOne(WholePixels(edges.left, edges.right, picture.width), picture.width),
                AtLeastOne(WholePixels(edges.top, edges.bottom, picture.height), picture.height));
}

KivRect PixelsOf(const TargetPicture& picture, const PictureEdges& edges) {
  const Span columns = WholePixels(edges.left, edges.right, picture.width);
  const Span rows = WholePixels(edges.top, edges.bottom, picture.height);
  return {columns.begin, rows.begin, columns.length, rows.length};
}

TargetPicture PartOf(const TargetPicture& picture, const KivRect& pixels) {
  return PartOf(picture, Span{pixels.left, pixels.width}, Span{pixels.top, pixels.height});
}

void Clear(const TargetPicture& picture) {
  for (int32_t row = 0; row < picture.height; ++row) {
    std::memset(picture.pixels + static_cast<size_t>(row) * picture.rowBytes, 0,
                static_cast<size_t>(picture.width) * kBytesPerPixel);
  }
}

}  // namespace kiv
