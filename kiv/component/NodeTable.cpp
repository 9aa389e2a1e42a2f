#include "kiv/component/NodeTable.h"

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/cache/VideoFrameCache.h"
#include "kiv/cache/VideoReverse.h"
#include "kiv/effects/VideoCrop.h"

NodeTable ComponentNodes() {
  static constexpr NodeClass kNodes[] = {
      {NodeType::kSource, &MakeSource<CVideoStreamer>},
      {NodeType::kFrameCache, &MakeNode<CVideoFrameCache>},
      {NodeType::kReverse, &MakeNode<CVideoReverse>},
      {NodeType::kCrop, &MakeNode<CVideoCrop>},
  };
  return kNodes;
}
