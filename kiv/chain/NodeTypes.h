// The ids by which a host names node classes when it builds a chain.
#pragma once

#include <cstdint>

// X(id, name, class)
#define KIV_NODE_TYPES(X)               \
  X(0, Source, CVideoStreamer)          \
  X(1, AlphaVideo, CVideoAlphaVideo)    \
  X(2, FrameCache, CVideoFrameCache)    \
  X(3, Stabilizer, CKivVideoStabilizer) \
  X(4, Crop, CVideoCrop)                \
  X(5, FrameRate, CVideoSlider)         \
  X(6, Reverse, CVideoReverse)          \
  X(7, Speed, CVideoShifter)

enum class NodeType : int32_t {
#define KIV_NODE_ENUM(id, name, className) k##name = id,
  KIV_NODE_TYPES(KIV_NODE_ENUM)
#undef KIV_NODE_ENUM
};
