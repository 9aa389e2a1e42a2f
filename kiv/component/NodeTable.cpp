#include "kiv/component/NodeTable.h"

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/speed/VideoShifter.h"
#include "kiv/speed/VideoSlider.h"

NodeTable ComponentNodes() {
  static constexpr NodeClass kNodes[] = {
      {NodeType::kSource, &MakeSource<CVideoStreamer>},
      {NodeType::kFrameRate, &MakeNode<CVideoSlider>},
      {NodeType::kSpeed, &MakeNode<CVideoShifter>},
  };
  return kNodes;
}
