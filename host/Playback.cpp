#include "host/Playback.h"

#include <algorithm>
#include <string>

#include "host/HostError.h"
#include "host/InputChecks.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"

namespace host {
namespace {

// One picture is no frame rate; it is shown as one at 25 a second.
constexpr KivRational kRateOfStills{25, 1};

std::wstring VideoKey(const wchar_t* key) { return std::wstring(key) + L".Video"; }

int32_t IntOr(IKivProperties* bag, const wchar_t* key, int32_t fallback) {
  bag->GetInt(key, &fallback);
  return fallback;
}

KivRange StoredRange(const ChainOptions& options, IKivProperties* settings, int32_t frameCount) {
  KivRange range{0, frameCount - 1};
  settings->GetRange(KivKey::Speed::kReverse_Range, &range);
  if (range.start < 0 || range.start > range.end || range.end >= frameCount) {
    FailRun("the settings '{}' reverse frames {} to {}, but the clip has the frames 0 to {}",
            options.settings, range.start, range.end, frameCount - 1);
  }
  return range;
}

// A node that the playback cannot do without must be among those that were named.
void RequireNode(const std::vector<int32_t>& nodes, NodeType type, const char* option,
                 const char* name) {
  if (std::count(nodes.begin(), nodes.end(), static_cast<int32_t>(type)) > 0) return;
  FailUsage("{} needs the node '{}' in --chain", option, name);
}

}  // namespace

Playback PlaybackOf(const ChainOptions& options, IKivProperties* settings,
                    const KivStreamInfo& info) {
  Playback playback{false, {0, info.frameCount - 1}};
  if (options.reverse) {
    playback.reverse = true;
    if (!options.reverseRange) return playback;
    playback.used = ResolveRange(*options.reverseRange, "--reverse-range", "clip", info.frameCount);
    return playback;
  }
  playback.reverse = IntOr(settings, KivKey::Speed::kReverse, 0) == 1 &&
                     IntOr(settings, KivKey::Speed::kEnabled, 1) == 1;
  if (playback.reverse) playback.used = StoredRange(options, settings, info.frameCount);
  return playback;
}

KivRational SourceRate(const KivStreamInfo& info) {
  const bool hasRate = info.frameRate.numerator > 0 && info.frameRate.denominator > 0;
  return hasRate ? info.frameRate : kRateOfStills;
}

ResultShape ResultOf(const Playback& playback, const KivStreamInfo& info) {
  return {playback.used.end - playback.used.start + 1, SourceRate(info)};
}

std::vector<int32_t> NodesFor(const ChainOptions& options, const Playback& playback) {
  std::vector<int32_t> nodes = options.nodes;
  if (nodes.empty()) {
    nodes.push_back(static_cast<int32_t>(NodeType::kSource));
    if (playback.reverse) {
      nodes.push_back(static_cast<int32_t>(NodeType::kFrameCache));
      nodes.push_back(static_cast<int32_t>(NodeType::kReverse));
    }
  }
  if (playback.reverse) RequireNode(nodes, NodeType::kReverse, "--reverse", "reverse");
  return nodes;
}

void StorePlayback(const Playback& playback, IKivProperties* settings) {
  if (!playback.reverse) return;
  settings->SetInt(KivKey::Speed::kEnabled, 1);
  settings->SetInt(KivKey::Speed::kReverse, 1);
  settings->SetRange(KivKey::Speed::kReverse_Range, &playback.used);
}

InitialBags MakeInitialBags(const Playback& playback, const KivStreamInfo& info,
                            IKivProperties* clipSettings) {
  InitialBags bags{KivCommon::CreateProperties(), KivCommon::CreateProperties()};
  if (!bags.settings || !bags.facts) FailRun("no memory for the chain's settings");
  bags.settings->SetInt(KivKey::Speed::kEnabled, 1);
  bags.settings->SetInt(KivKey::Speed::kReverse, playback.reverse ? 1 : 0);
  // The reverse node exchanges the ends of its range. From 0 on, its first frame is the last one
  // used, so that the result counts from 0 and what lies between is simply never asked for.
  const KivRange mirrored{0, playback.used.end};
  bags.settings->SetRange(KivKey::Speed::kReverse_Range, &mirrored);
  bags.settings->SetInt(KivKey::Render::kRender_CacheEnable,
                        IntOr(clipSettings, KivKey::Render::kRender_CacheEnable, 0));
  const KivRational rate = ResultOf(playback, info).frameRate;
  bags.settings->SetRational(KivKey::Render::kRender_Framerate, &rate);

  const KivRational sourceRate = SourceRate(info);
  bags.facts->SetInt(VideoKey(KivKey::Source::kSource_TotalFrameCount).c_str(), info.frameCount);
  bags.facts->SetRational(VideoKey(KivKey::Source::kSource_Framerate).c_str(), &sourceRate);
  bags.facts->SetRational(KivKey::Source::kSource_Framerate, &sourceRate);
  bags.facts->SetSize(KivKey::Source::kSource_Size, &info.size);
  return bags;
}

}  // namespace host
