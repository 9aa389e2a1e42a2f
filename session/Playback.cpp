#include "session/Playback.h"

#include <algorithm>
#include <limits>
#include <string>

#include "kiv/base/FrameTime.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/FrameSpans.h"
#include "session/NodeNames.h"
#include "session/OptionValues.h"

namespace kiv::session {
namespace {

// A single picture has no frame rate; it is shown at 25 a second.
constexpr KivRational kRateOfStills{25, 1};

// Products of a frame count and two fractions.
__extension__ using Wide = __int128;

int32_t IntOr(IKivProperties* bag, const wchar_t* key, int32_t fallback) {
  bag->GetInt(key, &fallback);
  return fallback;
}

void CopyInt(IKivProperties* from, const wchar_t* key, IKivProperties* to) {
  int32_t value = 0;
  if (Succeeded(from->GetInt(key, &value))) to->SetInt(key, value);
}

KivRange StoredRange(const ClipOptions& options, IKivProperties* settings, int32_t frameCount) {
  KivRange range{0, frameCount - 1};
  settings->GetRange(KivKey::Speed::kReverse_Range, &range);
  if (range.start < 0 || range.start > range.end || range.end >= frameCount) {
    Fail(ErrorCode::kDamaged,
         "the settings '{}' reverse frames {} to {}, but the clip has the frames 0 to {}",
         options.settings, range.start, range.end, frameCount - 1);
  }
  return range;
}

KivRational StoredSpeed(const ClipOptions& options, IKivProperties* settings) {
  KivRational speed{1, 1};
  settings->GetRational(KivKey::Speed::kScale, &speed);
  if (!IsSpeed(FromKiv(speed))) {
    Fail(ErrorCode::kDamaged, "the settings '{}' have no possible speed: {}/{}", options.settings,
         speed.numerator, speed.denominator);
  }
  return speed;
}

bool Has(const std::vector<int32_t>& nodes, NodeType type) {
  return std::count(nodes.begin(), nodes.end(), static_cast<int32_t>(type)) > 0;
}

// A node that the playback cannot do without must be among those that were named.
void RequireNode(const std::vector<int32_t>& nodes, NodeType type, const char* option,
                 const char* name) {
  if (Has(nodes, type)) return;
  FailUsage("{} needs the node '{}' in --chain", option, name);
}

// The stabilizer uses the source's frame numbers, the rate node reads times that neither of the
// others tells, and the reverse node mirrors the numbers of the frames that it is given.
void CheckOrder(const std::vector<int32_t>& nodes) {
  NodeType last = NodeType::kSource;
  for (const int32_t node : nodes) {
    const auto type = static_cast<NodeType>(node);
    const bool isOrdered = type == NodeType::kStabilizer || type == NodeType::kFrameRate ||
                           type == NodeType::kReverse || type == NodeType::kSpeed;
    if (!isOrdered) continue;
    if (type < last)
      FailUsage("--chain must name stabilizer, rate, reverse and speed in this order");
    last = type;
  }
}

// A preset holds and repeats frames, and the stabilizer above it would take them for later ones.
void CheckHeldFrames(const std::vector<int32_t>& nodes) {
  const auto stabilizer =
      std::find(nodes.begin(), nodes.end(), static_cast<int32_t>(NodeType::kStabilizer));
  if (std::count(nodes.begin(), stabilizer, static_cast<int32_t>(NodeType::kAlphaVideo)) > 0) {
    FailUsage("--chain must name stabilizer before alpha when a preset is shown");
  }
}

// The rate node's frames that show those used, and no other. It steps by times, whatever the mean rate.
KivRange RatedFrames(const Playback& playback, const KivStreamInfo& info, const FrameTimes& times) {
  const KivRange& used = playback.used;
  if (!playback.rated) return used;
  constexpr int32_t kMost = KivCommon::Const::FRAMEINDEX_MAX;
  const auto lastFor = [&](int32_t frame) {
    return kiv::LastRatedFor(times(frame), playback.frameRate.ToDouble(), kMost);
  };
  const int64_t start = used.start == 0 ? 0 : lastFor(used.start - 1) + 1;
  const int64_t end = used.end == info.frameCount - 1
                          ? std::min<int64_t>(RatedTotal(playback, info), kMost + int64_t{1}) - 1
                          : lastFor(used.end);
  return {kiv::ClampToInt32(start), kiv::ClampToInt32(end)};
}

// A clip need not end with a whole frame of the rate node. What is left counts when it is slowed down.
Wide FramesOf(const Playback& playback, const KivStreamInfo& info, const KivRange& rated) {
  const KivRational from = SourceRate(info);
  const KivRational& to = playback.frameRate;
  const bool isWhole = playback.used.end == info.frameCount - 1;
  const Wide unit = isWhole ? Wide{to.denominator} * from.numerator : 1;
  const Wide end =
      isWhole ? Wide{info.frameCount} * to.numerator * from.denominator : Wide{rated.end} + 1;
  return (end - rated.start * unit) * playback.speed.denominator /
         (unit * playback.speed.numerator);
}

}  // namespace

int64_t RatedTotal(const Playback& playback, const KivStreamInfo& info) {
  const KivRational from = SourceRate(info);
  const KivRational& to = playback.frameRate;
  const Wide total = Wide{info.frameCount} * to.numerator * from.denominator /
                     (Wide{to.denominator} * from.numerator);
  constexpr Wide kMost = std::numeric_limits<int64_t>::max();
  return static_cast<int64_t>(std::min(total, kMost));
}

Playback PlaybackOf(const ClipOptions& options, IKivProperties* settings,
                    const KivStreamInfo& info) {
  Playback playback{false, {0, info.frameCount - 1}, SourceRate(info)};
  playback.rated = options.frameRate || Has(NodeTypesOf(options.chain), NodeType::kFrameRate);
  if (options.frameRate) playback.frameRate = ToKiv(*options.frameRate);
  const bool enabled = IntOr(settings, KivKey::Speed::kEnabled, 1) == 1;
  if (options.speed) {
    playback.speed = ToKiv(*options.speed);
  } else if (enabled) {
    playback.speed = StoredSpeed(options, settings);
  }
  const bool stored =
      !options.noReverse && enabled && IntOr(settings, KivKey::Speed::kReverse, 0) == 1;
  playback.reverse = options.reverse || stored;
  if (options.reverseRange) {
    if (!playback.reverse) FailUsage("--reverse-range needs --reverse");
    playback.used = ResolveRange(*options.reverseRange, "--reverse-range", "clip", info.frameCount);
  } else if (!options.reverse && stored) {
    playback.used = StoredRange(options, settings, info.frameCount);
  }
  return playback;
}

KivRational SourceRate(const KivStreamInfo& info) {
  const bool hasRate = info.frameRate.numerator > 0 && info.frameRate.denominator > 0;
  return hasRate ? info.frameRate : kRateOfStills;
}

ResultShape ResultOf(const Playback& playback, const KivStreamInfo& info, const FrameTimes& times) {
  const KivRange rated = RatedFrames(playback, info, times);
  const Wide frames = FramesOf(playback, info, rated);
  if (frames < 1) {
    FailUsage("the result has no frame: {} of the clip are used",
              playback.used.end - playback.used.start + 1);
  }
  // The node's arithmetic ends there.
  if (frames >= KivCommon::Const::FRAMEINDEX_MAX || rated.end >= KivCommon::Const::FRAMEINDEX_MAX) {
    FailUsage("the result has more frames than can be counted");
  }
  return {static_cast<int32_t>(frames), playback.frameRate, rated};
}

std::vector<int32_t> NodesFor(const ClipOptions& options, const Playback& playback,
                              FurtherNodes further) {
  std::vector<int32_t> nodes = NodeTypesOf(options.chain);
  if (nodes.empty()) {
    nodes.push_back(static_cast<int32_t>(NodeType::kSource));
    if (further.stabilizer) nodes.push_back(static_cast<int32_t>(NodeType::kStabilizer));
    if (further.alpha) nodes.push_back(static_cast<int32_t>(NodeType::kAlphaVideo));
    if (playback.reverse) nodes.push_back(static_cast<int32_t>(NodeType::kFrameCache));
    if (playback.rated) nodes.push_back(static_cast<int32_t>(NodeType::kFrameRate));
    if (playback.reverse) nodes.push_back(static_cast<int32_t>(NodeType::kReverse));
    if (playback.IsShifted()) nodes.push_back(static_cast<int32_t>(NodeType::kSpeed));
  }
  if (further.alpha) RequireNode(nodes, NodeType::kAlphaVideo, "--alpha-preset", "alpha");
  if (further.stabilizer) {
    RequireNode(nodes, NodeType::kStabilizer, "--stabilize", "stabilizer");
  }
  if (playback.reverse) RequireNode(nodes, NodeType::kReverse, "--reverse", "reverse");
  if (playback.IsShifted()) RequireNode(nodes, NodeType::kSpeed, "--speed", "speed");
  if (playback.rated) RequireNode(nodes, NodeType::kFrameRate, "--fps", "rate");
  CheckOrder(nodes);
  if (further.alpha && further.stabilizer) CheckHeldFrames(nodes);
  return nodes;
}

void StorePlayback(const Playback& playback, IKivProperties* settings) {
  if (!playback.reverse && !playback.IsShifted()) return;
  settings->SetInt(KivKey::Speed::kEnabled, 1);
  settings->SetRational(KivKey::Speed::kScale, &playback.speed);
  if (!playback.reverse) return;
  settings->SetInt(KivKey::Speed::kReverse, 1);
  settings->SetRange(KivKey::Speed::kReverse_Range, &playback.used);
}

InitialBags MakeInitialBags(const Playback& playback, const ResultShape& result,
                            const KivStreamInfo& info, IKivProperties* clipSettings) {
  InitialBags bags{KivCommon::CreateProperties(), KivCommon::CreateProperties()};
  if (!bags.settings || !bags.facts) {
    Fail(ErrorCode::kNoMemory, "no memory for the chain's settings");
  };
  bags.settings->SetInt(KivKey::Speed::kEnabled, 1);
  bags.settings->SetInt(KivKey::Speed::kReverse, playback.reverse ? 1 : 0);
  // The reverse node exchanges the ends of its range. From 0 on, its first frame is the last one
  // used, so that the result counts from 0 and what lies between is simply never asked for.
  const KivRange mirrored{0, result.rated.end};
  bags.settings->SetRange(KivKey::Speed::kReverse_Range, &mirrored);
  bags.settings->SetInt(KivKey::Render::kRender_CacheEnable,
                        IntOr(clipSettings, KivKey::Render::kRender_CacheEnable, 0));
  bags.settings->SetRational(KivKey::Render::kRender_Framerate, &playback.frameRate);
  bags.settings->SetRational(KivKey::Speed::kScale, &playback.speed);
  bags.settings->SetInt(KivKey::Speed::kInterpolationMode,
                        IntOr(clipSettings, KivKey::Speed::kInterpolationMode, 0));

  CopyInt(clipSettings, KivKey::Stabilization::kEnabled, bags.settings.Get());
  CopyInt(clipSettings, KivKey::Stabilization::kLevel, bags.settings.Get());

  const KivRational sourceRate = SourceRate(info);
  bags.facts->SetInt(KivKey::OfVideo(KivKey::Source::kSource_TotalFrameCount).c_str(),
                     info.frameCount);
  bags.facts->SetRational(KivKey::OfVideo(KivKey::Source::kSource_Framerate).c_str(), &sourceRate);
  bags.facts->SetRational(KivKey::Source::kSource_Framerate, &sourceRate);
  bags.facts->SetSize(KivKey::Source::kSource_Size, &info.size);
  return bags;
}

}  // namespace kiv::session
