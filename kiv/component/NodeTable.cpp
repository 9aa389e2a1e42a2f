#include "kiv/component/NodeTable.h"

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/effects/VideoCrop.h"

NodeTable ComponentNodes() {
  static constexpr NodeClass kNodes[] = {
      {NodeType::kSource, &MakeSource<CVideoStreamer>},
      {NodeType::kCrop, &MakeNode<CVideoCrop>},
  };
  return kNodes;
}
