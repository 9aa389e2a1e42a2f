// keyframes: prints or draws what a keyframe document gives at each frame.

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "cli/Messages.h"
#include "draw/Plot.h"
#include "engine/write/Writer.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/values/Saturate.h"
#include "session/ComponentLoader.h"
#include "session/Fail.h"
#include "session/KeyframeFile.h"
#include "session/PictureFile.h"

namespace host {
namespace {

constexpr KivSize kPlotSize{1280, 720};
// More points than this no picture shows apart.
constexpr int64_t kMostPoints = 2000;
// Of the frames between the first and the last keyframe, how much is shown beyond them.
constexpr int64_t kMarginShare = 20;

std::string TextOf(double value) { return fmt::format("{:.6f}", value); }
// As --crop takes it.
std::string TextOf(const KivRectF& value) {
  return fmt::format("{:.6f},{:.6f},{:.6f},{:.6f}", value.left, value.top, value.width,
                     value.height);
}

template <typename Value>
struct Channel {
  const char* name;
  uint32_t colour;
  double (*read)(const Value&);
};
constexpr Channel<KivRectF> kRectChannels[] = {
    {"left", 0xFF4FA3FF, [](const KivRectF& value) { return value.left; }},
    {"top", 0xFF59D36B, [](const KivRectF& value) { return value.top; }},
    {"width", 0xFFFFB13D, [](const KivRectF& value) { return value.width; }},
    {"height", 0xFFFF6B81, [](const KivRectF& value) { return value.height; }}};
constexpr Channel<double> kNumberChannels[] = {
    {"value", 0xFF4FA3FF, [](const double& value) { return value; }}};

// One document, with the records of its kind.
template <typename Record>
class Document {
 public:
  using Value = decltype(Record::value);
  explicit Document(IKivKeyFrameParam& keyframes) : keyframes_(keyframes) {}

  void List() const {
    std::string text;
    Record record;
    for (int32_t i = 0; keyframes_.GetKeyFrameAt(i, &record); ++i) {
      text += fmt::format("{} {}\n", record.index, TextOf(record.value));
    }
    PrintOutput(text);
  }
  void PrintAt(int32_t frame) const { PrintOutput(TextOf(ValueAt(frame)) + "\n"); }

  template <size_t kCount>
  std::vector<Curve> Curves(const Channel<Value> (&channels)[kCount]) const {
    std::vector<Curve> curves;
    for (const auto& channel : channels) curves.push_back({channel.name, channel.colour, {}, {}});
    const auto add = [&](std::vector<KivPointF> Curve::*points, int64_t frame, const Value& value) {
      for (size_t i = 0; i < kCount; ++i) {
        (curves[i].*points).push_back({static_cast<double>(frame), channels[i].read(value)});
      }
    };
    Record record;
    for (int32_t i = 0; keyframes_.GetKeyFrameAt(i, &record); ++i) {
      add(&Curve::marks, record.index, record.value);
    }
    // The corners of the curves are at the keyframes, or closer together than points need to be.
    const Frames shown = Shown(curves[0].marks);
    for (int64_t frame = shown.first; frame <= shown.last; frame += shown.step) {
      add(&Curve::points, frame, ValueAt(kiv::ClampToInt32(frame)));
    }
    return curves;
  }

 private:
  struct Frames {
    int64_t first, last, step;
  };
  static Frames Shown(const std::vector<KivPointF>& marks) {
    const int64_t first = kiv::SaturateToInt64(marks.front().x);
    const int64_t last = kiv::SaturateToInt64(marks.back().x);
    const int64_t margin = (last - first) / kMarginShare + 1;
    const int64_t span = last - first + 2 * margin;
    return {first - margin, last + margin, span / kMostPoints + 1};
  }
  Value ValueAt(int32_t frame) const {
    Value value{};
    if (!keyframes_.GetValueAt(frame, &value)) FailRun("the keyframes have no value at {}", frame);
    return value;
  }

  IKivKeyFrameParam& keyframes_;
};

template <typename Record, typename Channels>
void Show(const Options& options, const Document<Record>& document, const Channels& channels) {
  if (!options.plot.empty()) {
    const std::vector<uint8_t> picture = DrawPlot(document.Curves(channels), kPlotSize);
    WritePicture(options.plan, kPlotSize, picture.data());
  }
  if (options.atFrame) document.PrintAt(*options.atFrame);
  if (options.plot.empty() && !options.atFrame) document.List();
}

// A parameter as the component makes it: a crop node holds one.
KivComPtr<IKivKeyFrameParam> NewKeyframes(IKivVideoStreamProcessInternal& process) {
  const int32_t nodes[] = {static_cast<int32_t>(NodeType::kSource),
                           static_cast<int32_t>(NodeType::kCrop)};
  process.BuildChain(nodes, 2);
  KivComPtr<IKivKeyFrameParam> keyframes;
  process.GetCropKeyFrameParam(keyframes.Put());
  if (!keyframes) FailRun("the component has no keyframes");
  return keyframes;
}

}  // namespace

void RunKeyframes(const Options& options) {
  CheckFiles(options);
  const auto process = ComponentLoader::ByClassId().CreateProcess();
  const auto keyframes = NewKeyframes(*process);
  if (LoadKeyframes(options.input, *keyframes) == KeyFrameKind::kRectF) {
    Show(options, Document<KeyFrameRectF>(*keyframes), kRectChannels);
  } else {
    Show(options, Document<KeyFrameDouble>(*keyframes), kNumberChannels);
  }
}

}  // namespace host
