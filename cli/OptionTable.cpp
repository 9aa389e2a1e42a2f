#include "cli/OptionTable.h"

#include <algorithm>

#include "session/OptionValues.h"

namespace cli {
namespace {

constexpr OptionRow Text(const char* names, unsigned commands, const char* valueName,
                         std::string OptionTexts::*text, const char* help,
                         Presence presence = Presence::kOptional) {
  return {names, commands, presence, valueName, help, text, nullptr, nullptr, false};
}

constexpr OptionRow Flag(const char* names, unsigned commands, bool OptionTexts::*flag,
                         const char* help) {
  return {names, commands, Presence::kOptional, nullptr, help, nullptr, flag, nullptr, false};
}

// The value follows an equals sign; without one it is `standIn`.
constexpr OptionRow MayHaveValue(OptionRow row, const char* standIn) {
  row.standIn = standIn;
  return row;
}

constexpr OptionRow Kept(OptionRow row) {
  row.isKept = true;
  return row;
}

constexpr OptionRow kOptions[] = {
    Text("-o,--output", kRenderBit, "OUTPUT", &OptionTexts::output,
         "a .mp4, .mov, .mkv, .webm or .y4m file, a pattern with %d ending in .png, - or null",
         Presence::kRequired),
    Text("-o,--output", kFrameBit | kSheetBit, "FILE.png", &OptionTexts::output,
         "the picture to write", Presence::kRequired),
    Text("--at", kFrameBit, "N", &OptionTexts::at, "the frame of the result, 0 for the first",
         Presence::kRequired),
    Kept(Text("--frames", kSpanBits, "A:B", &OptionTexts::frames, "result frames A to B only")),
    Text("--speed", kChainBits, "S", &OptionTexts::speed,
         "a fraction such as 1/2 or a decimal such as 0.4; below 1 is slow motion"),
    Kept(Text(
        "--interpolation", kChainBits, "MODE", &OptionTexts::interpolation,
        "in slow motion: flow (in-between frames, if not given) or off (source frames repeat)")),
    Kept(Text("--fps", kChainBits, "N[/D]", &OptionTexts::fps,
              "frame rate of the result, the source's if not given")),
    Kept(Text("--size", kChainBits, "WxH", &OptionTexts::size,
              "output size of the decoding source")),
    Kept(Text("--decode-scale", kChainBits, "N/D", &OptionTexts::decodeScale,
              "scale of that size, such as 1/2")),
    Text("--proxy", kChainBits, "FILE", &OptionTexts::proxy, "read pictures from FILE instead"),
    Flag("--no-proxy", kChainBits, &OptionTexts::noProxy, "turn a stored proxy off"),
    Flag("--reverse", kChainBits, &OptionTexts::reverse, "play backwards"),
    Flag("--no-reverse", kChainBits, &OptionTexts::noReverse, "turn a stored reverse off"),
    Text("--reverse-range", kChainBits, "A:B", &OptionTexts::reverseRange,
         "the clip's frames A to B only, B first; with --reverse"),
    Text("--crop", kChainBits, "L,T,W,H", &OptionTexts::crop,
         "cut to this part, in fractions of the picture"),
    Text("--crop-keyframes", kChainBits, "FILE.json", &OptionTexts::cropKeyframes,
         "cut each frame to its region in a keyframe document, scaled to the first region's size"),
    Flag("--alpha-preset", kChainBits, &OptionTexts::alphaPreset,
         "the clip is a preset alpha video: a shape that fills a result of any length"),
    Text("--alpha-color", kChainBits, "RRGGBB", &OptionTexts::alphaColour,
         "fill the shape with this colour"),
    Text("--alpha-gradient", kChainBits, "C1,C2,ANGLE", &OptionTexts::alphaGradient,
         "fill it from one colour to another, in degrees clockwise, 0 from left to right"),
    Text("--alpha-image", kChainBits, "FILE", &OptionTexts::alphaImage, "fill it with a picture"),
    Text("--alpha-full-hd", kChainBits, "FILE", &OptionTexts::alphaFullHd,
         "the green of this video is the shape; with a colour, the green of the clip itself"),
    Text("--alpha-duration", kChainBits, "SECONDS", &OptionTexts::alphaDuration,
         "how long the preset is, as long as its file if not given"),
    Text("--alpha-pause", kChainBits, "SECONDS", &OptionTexts::alphaPause,
         "where the preset pauses when the result is longer; 0: it loops as a whole"),
    Text("--alpha-loop", kChainBits, "N", &OptionTexts::alphaLoop,
         "frames looped while it pauses; 0 holds one"),
    Kept(Text("--alpha-length", kChainBits, "SECONDS", &OptionTexts::alphaLength,
              "how long the result is, as long as the clip of --over or the preset if not given")),
    Kept(Text("--over", kChainBits, "CLIP", &OptionTexts::over,
              "lay the shape over this clip, at its size, rate and length")),
    MayHaveValue(Text("--stabilize", kChainBits, "LEVEL", &OptionTexts::stabilize,
                      "steady the picture, 10 if no level is given or stored; more is smoother, 0 "
                      "turns it off"),
                 kiv::session::kBareValue),
    Text("--level", kStabilizeBit, "LEVEL", &OptionTexts::level,
         "how strongly it will be steadied, 10 if not given or stored"),
    Text("--plot", kStabilizeBit, "FILE.png", &OptionTexts::plot,
         "draw the camera's path as it is and as it will be"),
    Text("--settings", kStabilizeBit, "FILE.json", &OptionTexts::settings,
         "the clip's settings, kept but for the motion data, or a new file", Presence::kRequired),
    Text("--plot", kKeyframesBit, "FILE.png", &OptionTexts::plot, "draw the curves"),
    Text("--at", kKeyframesBit, "N", &OptionTexts::at, "print the value at frame N"),
    Kept(Text("--chain", kChainBits, "LIST", &OptionTexts::chain,
              "nodes from the source on: source,stabilizer,alpha,cache,rate,reverse,speed,crop")),
    Text("--memory", kChainBits, "MIB", &OptionTexts::memory,
         "what kept decoded pictures may take, 512 if not given"),
    Text("--settings", kChainBits, "FILE.json", &OptionTexts::settings,
         "load the clip's settings before"),
    Text("--save-settings", kChainBits, "FILE.json", &OptionTexts::saveSettings,
         "save the clip's settings after"),
    Text("--format", kRenderBit, "NAME", &OptionTexts::format,
         "mp4, mov, mkv, webm, png, y4m, y4m444, bgra or null, whatever the name's ending"),
    Kept(Text("--codec", kRenderBit, "NAME", &OptionTexts::codec,
              "h264, vp9, ffv1 or png (both lossless), or prores")),
    Kept(Text("--quality", kRenderBit, "N", &OptionTexts::quality,
              "0 (smallest file) to 100 (best picture), 70 if not given")),
    Text("--progress", kProgressBits, "FORM", &OptionTexts::progress,
         "json, bar or none; a bar on a terminal, else none, if not given"),
    Text("--report", kRenderBit, "FILE.json", &OptionTexts::report,
         "write what was done, and how long it took"),
    Flag("--json", kInfoBit, &OptionTexts::json, "as one JSON object"),
    Flag("-q,--quiet", kEveryBit, &OptionTexts::quiet, "no notes and no progress, errors only"),
    MayHaveValue(Text("--verbose", kEveryBit, "LEVEL", &OptionTexts::verbose,
                      "log to standard error: failure (all, if not given), filter or creation"),
                 "failure"),
};

constexpr CommandRow kCommands[] = {
    {"render", kRenderBit, true, "Renders a clip through its chain into a file or stream",
     "render clip.mp4 -o slow.mp4 --speed 1/4"},
    {"frame", kFrameBit, true, "Writes one frame of the chain as a picture",
     "frame clip.mp4 --at 42 -o frame.png"},
    {"sheet", kSheetBit, true, "Writes a contact sheet: every frame with its number and time",
     "sheet clip.mp4 -o sheet.png --reverse"},
    {"stabilize", kStabilizeBit, true, "Measures how the camera moved, for --stabilize",
     "stabilize clip.mp4 --settings clip.json --plot path.png"},
    {"verify", kVerifyBit, true,
     "Pulls every frame forward, backward and at random, and names those that differ",
     "verify clip.mp4 --fps 60"},
    {"keyframes", kKeyframesBit, true, "Lists, evaluates or draws a keyframe document",
     "keyframes zoom.json --plot zoom.png"},
    {"info", kInfoBit, true, "Shows what a clip's video stream is", "info clip.mp4 --json"},
    {"register", kRegisterBit, false, "Enters the component into the registry", "register"},
    {"unregister", kUnregisterBit, false, "Takes the component out of the registry", "unregister"},
};

}  // namespace

std::span<const OptionRow> OptionTable() { return kOptions; }

std::span<const CommandRow> CommandTable() { return kCommands; }

}  // namespace cli
