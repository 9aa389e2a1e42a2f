#include "kiv/component/NodeTable.h"

#include "kiv/StreamCommon/VideoStreamer.h"

NodeTable ComponentNodes() {
  static constexpr NodeClass kNodes[] = {
      {NodeType::kSource, &MakeSource<CVideoStreamer>},
  };
  return kNodes;
}
