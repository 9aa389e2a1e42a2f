#include "kiv/component/NodeTable.h"

#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/VideoStab/KivVideoStabilizer.h"
#include "kiv/cache/VideoFrameCache.h"
#include "kiv/cache/VideoReverse.h"
#include "kiv/effects/VideoAlphaVideo.h"
#include "kiv/effects/VideoCrop.h"
#include "kiv/speed/VideoShifter.h"
#include "kiv/speed/VideoSlider.h"

NodeTable ComponentNodes() {
  static constexpr NodeClass kNodes[] = {
      {NodeType::kSource, &MakeSource<CVideoStreamer>},
      {NodeType::kAlphaVideo, &MakeNode<CVideoAlphaVideo>},
      {NodeType::kFrameCache, &MakeNode<CVideoFrameCache>},
      {NodeType::kStabilizer, &MakeNode<CKivVideoStabilizer>},
      {NodeType::kReverse, &MakeNode<CVideoReverse>},
      {NodeType::kCrop, &MakeNode<CVideoCrop>},
      {NodeType::kFrameRate, &MakeNode<CVideoSlider>},
      {NodeType::kSpeed, &MakeNode<CVideoShifter>},
  };
  return kNodes;
}
