#include "draw/KeyframePlot.h"

#include <cstddef>
#include <span>
#include <vector>

#include "draw/Plot.h"
#include "kiv/values/Saturate.h"

namespace kiv::draw {
namespace {

constexpr session::Size kPlotSize{1280, 720};
// No picture shows more points than this apart.
constexpr int64_t kMostPoints = 2000;
// Of the frames between the first and the last keyframe, how much is shown beyond them.
constexpr int64_t kMarginShare = 20;

// The values in the order of a region's.
struct Channel {
  const char* name;
  uint32_t colour;
};
constexpr Channel kRegionChannels[] = {
    {"left", 0xFF4FA3FF}, {"top", 0xFF59D36B}, {"width", 0xFFFFB13D}, {"height", 0xFFFF6B81}};
constexpr Channel kNumberChannels[] = {{"value", 0xFF4FA3FF}};

struct Frames {
  int64_t first, last, step;
};
Frames Shown(int64_t first, int64_t last) {
  const int64_t margin = (last - first) / kMarginShare + 1;
  const int64_t span = last - first + 2 * margin;
  return {first - margin, last + margin, span / kMostPoints + 1};
}

}  // namespace

Picture DrawKeyframes(const session::KeyframeDocument& document) {
  const std::span<const Channel> channels = document.HoldsRegions()
                                                ? std::span<const Channel>(kRegionChannels)
                                                : std::span<const Channel>(kNumberChannels);
  std::vector<Curve> curves;
  for (const Channel& channel : channels) curves.push_back({channel.name, channel.colour, {}, {}});
  const auto add = [&](std::vector<PointF> Curve::*points, int64_t frame,
                       const session::KeyframeValue& value) {
    for (size_t i = 0; i < curves.size(); ++i) {
      (curves[i].*points).push_back({static_cast<double>(frame), value[i]});
    }
  };
  const auto keyframes = document.Keyframes();
  for (const session::Keyframe& key : keyframes) add(&Curve::marks, key.frame, key.value);
  // The corners of the curves are at the keyframes, or closer together than points need to be.
  const Frames shown = Shown(keyframes.front().frame, keyframes.back().frame);
  for (int64_t frame = shown.first; frame <= shown.last; frame += shown.step) {
    add(&Curve::points, frame, document.ValueAt(kiv::ClampToInt32(frame)));
  }
  return DrawPlot(curves, kPlotSize);
}

}  // namespace kiv::draw
