// What the tags of a video stream say about how it is to be shown.
#pragma once

#include "engine/media/colour/PictureConverter.h"
#include "engine/media/read/MediaInput.h"
#include "kiv/platform/Media.h"

namespace kiv {

// Rotation and mirroring from the stream's display matrix; none when it is no quarter turn.
Orientation OrientationOf(const AVStream& stream);
// The size as shown; {0, 0} when a picture of that size is not decoded.
KivSize ShownSizeOf(const AVCodecParameters& parameters, Orientation orientation);
// The decoder that keeps what the codec's own one would drop; empty when that one does.
const char* PreferredDecoder(const AVStream& stream);
// Everything but what takes the packets to know: rate, number of frames, duration, key frames.
KivStreamInfo DescribeStream(const MediaInput& input, int stream);

}  // namespace kiv
