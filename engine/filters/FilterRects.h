// Which part of a filter's input goes to which part of its output.
//
// Units:    rectangles in fractions of a picture, brought to whole pixels; {0, 0, 1, 1} is the whole.
// Threads:  any; nothing is kept.
// Errors:   none. Rectangles that are empty, no numbers, or beside their picture leave nothing.
#pragma once

#include "engine/picture/PictureScale.h"

namespace kiv {

// Edges, in fractions of a picture.
struct PictureEdges {
  double left = 0, top = 0, right = 0, bottom = 0;
};

struct RectPair {
  PictureEdges source, target;
};

// What is left of both inside their pictures: where a rectangle reaches beyond its picture, the other
// one loses the same share.
RectPair CutAtEdges(const KivRectF& source, const KivRectF& target);

// Of what is read, less than a pixel is the one it lies in. Of what is written, it is nothing.
SourcePicture PartOf(const SourcePicture& picture, const PictureEdges& edges);
KivRect PixelsOf(const TargetPicture& picture, const PictureEdges& edges);
TargetPicture PartOf(const TargetPicture& picture, const KivRect& pixels);

// Transparent black.
void Clear(const TargetPicture& picture);

}  // namespace kiv
