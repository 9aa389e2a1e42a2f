#include "session/OptionTable.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "session/Fail.h"
#include "session/OptionValues.h"

namespace kiv::session {
namespace {

using Group = OptionGroup;

template <auto Field, auto Read, typename Target = ClipOptions>
void Into(std::string_view option, std::string_view text, Target* target) {
  target->*Field = Read(option, text);
}

template <auto Field, auto Read>
void IntoAlpha(std::string_view option, std::string_view text, ClipOptions* options) {
  options->alpha.*Field = Read(option, text);
}

std::string ReadText(std::string_view, std::string_view text) { return std::string(text); }

bool ReadSwitch(std::string_view option, std::string_view text) {
  if (text == kBareValue) return true;
  if (text == "off") return false;
  FailUsage("{} {}: expected on or off", option, text);
}

double ReadLength(std::string_view option, std::string_view text) {
  return ReadSeconds(option, text, Least::kAboveZero);
}

double ReadMoment(std::string_view option, std::string_view text) {
  return ReadSeconds(option, text, Least::kZero);
}

// In the order that help lists them.
constexpr OptionRow<ClipOptions> kClipOptions[] = {
    {{"speed", "S", "a fraction such as 1/2 or a decimal such as 0.4; below 1 is slow motion",
      Group::kTime},
     Into<&ClipOptions::speed, ReadSpeed>},
    {{"interpolation", "MODE",
      "in slow motion: flow (in-between frames, if not given) or off (source frames repeat)",
      Group::kTime, "Kivclip.interpolation"},
     Into<&ClipOptions::interpolation, ReadInterpolation>},
    {{"fps", "N[/D]", "frame rate of the result, the source's if not given", Group::kTime,
      "Kivclip.fps"},
     Into<&ClipOptions::frameRate, ReadRate>},

    {{"size", "WxH", "output size of the decoding source", Group::kPictures, "Kivclip.size"},
     Into<&ClipOptions::size, ReadSize>},
    {{"decode-scale", "N/D", "scale of that size, such as 1/2", Group::kPictures,
      "Kivclip.decode-scale"},
     Into<&ClipOptions::decodeScale, ReadScale>},
    {{"proxy", "FILE", "read pictures from FILE instead", Group::kPictures},
     Into<&ClipOptions::proxy, ReadText>},
    {{"no-proxy", nullptr, "turn a stored proxy off", Group::kPictures},
     Into<&ClipOptions::noProxy, ReadSwitch>},

    {{"reverse", nullptr, "play backwards", Group::kDirection},
     Into<&ClipOptions::reverse, ReadSwitch>},
    {{"no-reverse", nullptr, "turn a stored reverse off", Group::kDirection},
     Into<&ClipOptions::noReverse, ReadSwitch>},
    {{"reverse-range", "A:B", "the clip's frames A to B only, B first; with --reverse",
      Group::kDirection},
     Into<&ClipOptions::reverseRange, ReadSpan>},

    {{"crop", "L,T,W,H", "cut to this part, in fractions of the picture", Group::kCrop},
     Into<&ClipOptions::crop, ReadRegion>},
    {{"crop-keyframes", "FILE.json",
      "cut each frame to its region in a keyframe document, scaled to the first region's size",
      Group::kCrop},
     Into<&ClipOptions::cropKeyframes, ReadText>},

    {{"alpha-preset", nullptr,
      "the clip is a preset alpha video: a shape that fills a result of any length", Group::kAlpha},
     IntoAlpha<&AlphaOptions::preset, ReadSwitch>},
    {{"alpha-color", "RRGGBB", "fill the shape with this colour", Group::kAlpha},
     IntoAlpha<&AlphaOptions::colour, ReadColour>},
    {{"alpha-gradient", "C1,C2,ANGLE",
      "fill it from one colour to another, in degrees clockwise, 0 from left to right",
      Group::kAlpha},
     IntoAlpha<&AlphaOptions::gradient, ReadGradient>},
    {{"alpha-image", "FILE", "fill it with a picture", Group::kAlpha},
     IntoAlpha<&AlphaOptions::image, ReadText>},
    {{"alpha-full-hd", "FILE",
      "the green of this video is the shape; with a colour, the green of the clip itself",
      Group::kAlpha},
     IntoAlpha<&AlphaOptions::fullHd, ReadText>},
    {{"alpha-duration", "SECONDS", "how long the preset is, as long as its file if not given",
      Group::kAlpha},
     IntoAlpha<&AlphaOptions::duration, ReadLength>},
    {{"alpha-pause", "SECONDS",
      "where the preset pauses when the result is longer; 0: it loops as a whole", Group::kAlpha},
     IntoAlpha<&AlphaOptions::pause, ReadMoment>},
    {{"alpha-loop", "N", "frames looped while it pauses; 0 holds one", Group::kAlpha},
     IntoAlpha<&AlphaOptions::loop, ReadIndex>},
    {{"alpha-length", "SECONDS",
      "how long the result is, as long as the clip of --over or the preset if not given",
      Group::kAlpha, "Kivclip.alpha-length"},
     IntoAlpha<&AlphaOptions::length, ReadLength>},
    {{"over", "CLIP", "lay the shape over this clip, at its size, rate and length", Group::kAlpha,
      "Kivclip.over", nullptr, true},
     IntoAlpha<&AlphaOptions::over, ReadText>},

    {{"stabilize", "LEVEL",
      "steady the picture, 10 if no level is given or stored; more is smoother, 0 turns it off",
      Group::kSteadiness, nullptr, kBareValue},
     Into<&ClipOptions::stabilize, ReadStabilize>},

    {{"chain", "LIST",
      "nodes from the source on: source,stabilizer,alpha,cache,rate,reverse,speed,crop",
      Group::kChain, "Kivclip.chain"},
     Into<&ClipOptions::chain, ReadChain>},
    {{"memory", "MIB", "what kept decoded pictures may take, 512 if not given", Group::kChain},
     Into<&ClipOptions::memory, ReadMemory>},
    {{"settings", "FILE.json", "load the clip's settings before", Group::kChain},
     Into<&ClipOptions::settings, ReadText>},
};

constexpr OptionRow<ExportPlan> kExportOptions[] = {
    {{"frames", "A:B", "result frames A to B only", Group::kSpan, "Kivclip.frames"},
     Into<&ExportPlan::frames, ReadSpan, ExportPlan>},

    {{"format", "NAME",
      "mp4, mov, mkv, webm, png, jpg, y4m, y4m444, bgra or null, whatever the name's "
      "ending",
      Group::kFormat},
     Into<&ExportPlan::format, ReadText, ExportPlan>},
    {{"codec", "NAME", "h264, hevc, av1, vp9, prores, or ffv1 or png (both lossless)",
      Group::kFormat, "Kivclip.codec"},
     Into<&ExportPlan::codec, ReadText, ExportPlan>},
    {{"quality", "N", "0 (smallest file) to 100 (best picture), 70 if not given", Group::kFormat,
      "Kivclip.quality"},
     Into<&ExportPlan::quality, ReadIndex, ExportPlan>},
};

// How many letters must be put in, taken out or changed to make one name of the other.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t before = std::exchange(row[0], i + 1);
    for (size_t k = 0; k < b.size(); ++k) {
      const size_t changed = before + (a[i] == b[k] ? 0 : 1);
      before = row[k + 1];
      row[k + 1] = std::min({changed, row[k] + 1, row[k + 1] + 1});
    }
  }
  return row.back();
}

template <typename Target>
const OptionRow<Target>& Find(std::span<const OptionRow<Target>> rows, std::string_view name) {
  std::string wanted(name);
  std::replace(wanted.begin(), wanted.end(), '_', '-');
  const auto nearest =
      std::min_element(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
        return Distance(wanted, a.facts.name) < Distance(wanted, b.facts.name);
      });
  if (nearest->facts.name != wanted) {
    FailUsage("there is no option '{}': the nearest is {}", name, SpelledOut(nearest->facts));
  }
  return *nearest;
}

template <typename Target>
void Apply(std::span<const OptionRow<Target>> rows, std::string_view name, std::string_view text,
           Target* target) {
  const OptionRow<Target>& row = Find(rows, name);
  const std::string option = SpelledOut(row.facts);
  if (text.empty()) FailUsage("{}: no value given", option);
  row.read(option, text, target);
}

}  // namespace

std::span<const OptionRow<ClipOptions>> ClipOptionTable() { return kClipOptions; }

std::span<const OptionRow<ExportPlan>> ExportOptionTable() { return kExportOptions; }

std::string SpelledOut(const OptionFacts& option) { return std::string("--") + option.name; }

void ApplyOption(ClipOptions* options, std::string_view name, std::string_view text) {
  Apply(ClipOptionTable(), name, text, options);
}

void ApplyOption(ExportPlan* plan, std::string_view name, std::string_view text) {
  Apply(ExportOptionTable(), name, text, plan);
}

void CheckOptions(const ClipOptions& options) {
  if (!options.proxy.empty() && options.noProxy) {
    FailUsage("--proxy and --no-proxy exclude each other");
  }
  if (options.reverse && options.noReverse) {
    FailUsage("--reverse and --no-reverse exclude each other");
  }
  // Settings may hold the other half.
  if (options.reverseRange && !options.reverse && options.settings.empty()) {
    FailUsage("--reverse-range needs --reverse");
  }
  if (options.crop && !options.cropKeyframes.empty()) {
    FailUsage("--crop and --crop-keyframes exclude each other");
  }
  const AlphaOptions& alpha = options.alpha;
  const int fills = (alpha.colour ? 1 : 0) + (alpha.gradient ? 1 : 0) + !alpha.image.empty();
  if (fills > 1) {
    FailUsage("--alpha-color, --alpha-gradient and --alpha-image exclude each other");
  }
}

}  // namespace kiv::session
