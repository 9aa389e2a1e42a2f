// What a host and a node's author have to know of each command. docs/commands.md is made from this.
//
// A command without a row, or a row out of order, does not compile.
#pragma once

#include <cstddef>

#include "kiv/chain/CommandIds.h"

struct CommandFact {
  CommandId id;
  const char* parameter;  // "number" is carried in the parameter itself
  const char* unit;       // empty where the type says it all
  const char* sender;     // a facade slot, or who else
  const char* stops;      // nodes that answer it, separated by ", "
  const char* passes;     // nodes that act on it and pass it on, likewise
  const char* meaning;
};

namespace kiv::facts {

inline constexpr char kAllRates[] = "source, reverse, speed, frame rate";

inline constexpr CommandFact kCommands[] = {
    {CommandId::SetDecoder, "IUnknown*", "", "SetDecoder", "source", "",
     "The decoder to read from; null detaches it."},
    {CommandId::EndOfUse, "none", "", "the clip render's Cleanup", "", "",
     "The clip is not used for now. No node acts on it: they release what they hold on "
     "CLIP.CMD.CLEANUP."},
    {CommandId::SetSourceFrameRate, "const KivRational*", "frames per second", "SetSourceFrameRate",
     "", kAllRates,
     "The frame rate of what the source reads. Not above 0: not known, and nodes keep theirs."},
    {CommandId::SetRenderFrameRate, "const KivRational*", "frames per second", "SetRenderFrameRate",
     "", "alpha video, reverse, speed, frame rate",
     "The frame rate of the result. Not above 0: not known, and nodes keep theirs."},
    {CommandId::SetCacheRange, "const KivRange*", "frames of the cache", "SetCacheRange", "",
     "frame cache", "What may be read ahead: a span never leaves this range."},
    {CommandId::SetRenderRange, "const KivRange*", "frames of the result", "SetRenderRange",
     "alpha video", "crop",
     "Which frames the clip shows. The crop moves its first two keyframes to its ends, the alpha "
     "video fits its preset into it."},
    {CommandId::SetAlphaImageFill, "number", "0 or 1", "SetAlphaVideoImageFill", "alpha video", "",
     "1 shows the fill image in place of the preset's picture."},
    {CommandId::GetSpeedSettings, "SpeedSettings*", "", "GetSpeedSettings", "", "speed, reverse",
     "The speed node writes scale and interpolation mode, the reverse node its switch."},
    {CommandId::SetSpeedSettings, "const SpeedSettings*", "", "SetSpeedSettings", "",
     "source, frame cache, reverse, speed",
     "The speed node reads scale and interpolation mode, the reverse node switch and range, cache "
     "and source the switch."},
    {CommandId::SetCacheReverse, "number", "0 or 1", "a host, through ProcessCommand",
     "frame cache", "", "The cache's own reverse switch: 1 lets it read ahead downwards."},
    {CommandId::GetCropKeyFrameParam, "IKivKeyFrameParam**", "", "GetCropKeyFrameParam", "crop", "",
     "The keyframes of the region, made at the first request; the slot receives a reference."},
    {CommandId::SetCropRegion, "const KivRectF*", "fractions of the picture", "SetCropRegion",
     "crop", "", "The region to show while there are no keyframes."},
    {CommandId::GetCropRegion, "KivRectF*", "fractions of the picture", "GetCropRegion", "crop", "",
     "The region of the present frame; {0, 0, 1, 1} while the crop is off."},
    {CommandId::SetCropEnabled, "number", "0 or 1", "SetCropEnabled", "crop", "",
     "Turns the crop on or off."},
    {CommandId::GetCropEnabled, "int32_t*", "0 or 1", "GetCropEnabled", "crop", "",
     "Whether the crop is on."},
    {CommandId::SetStabilizerEnabled, "number", "0 or 1", "SetStabilizerEnabled", "stabilizer", "",
     "Turns the correction on or off."},
    {CommandId::GetStabilizerEnabled, "int32_t*", "0 or 1", "GetStabilizerEnabled", "stabilizer",
     "", "Whether the correction is on."},
    {CommandId::SetStabilizerLevel, "number", "0 to 100", "SetStabilizerLevel", "stabilizer", "",
     "How strongly frames are corrected; 10 at first."},
    {CommandId::GetStabilizerLevel, "int32_t*", "0 to 100", "GetStabilizerLevel", "stabilizer", "",
     "How strongly frames are corrected."},
    {CommandId::GetStabExtendControl, "IKivStabExtendControl**", "", "GetStabExtendControl",
     "stabilizer", "", "The analysis task; the slot receives a reference."},
    {CommandId::GetStabilizerSettings, "StabSettings*", "", "GetStabilizerSettings", "stabilizer",
     "", "What is to be analysed."},
    {CommandId::SetStabilizerSettings, "const StabSettings*", "", "SetStabilizerSettings",
     "stabilizer", "", "What is to be analysed; takes effect when it differs."},
    {CommandId::SetAlphaVideoSettings, "const AlphaVideoSettings*", "", "SetAlphaVideoSettings",
     "alpha video", "", "All settings of the alpha video at once."},
    {CommandId::GetAlphaVideoSettings, "AlphaVideoSettings*", "", "GetAlphaVideoSettings",
     "alpha video", "", "All settings of the alpha video."},
    {CommandId::SetProxyPath, "const wchar_t*", "", "SetProxyPath", "source", "",
     "The file to read pictures from in place of the clip's."},
    {CommandId::GetProxyPath, "wchar_t*", "the extra value is its capacity in characters",
     "GetProxyPath", "source", "", "That file's path, terminated."},
    {CommandId::SetProxyEnabled, "number", "0 or 1", "SetProxyEnabled", "source", "",
     "Whether the proxy is read."},
    {CommandId::GetProxyEnabled, "int32_t*", "0 or 1", "GetProxyEnabled", "source", "",
     "Whether the proxy is read."},
    {CommandId::GetScaledSize, "KivSize*", "pixels", "GetScaledSize, and the crop", "source", "",
     "The size of the frames that the source makes: output size times decode scale."},
    {CommandId::GetCroppedSize, "KivSizeF*", "pixels, not rounded", "GetCroppedSize", "crop", "",
     "The size of the present frame's region in the source's pixels."},
    {CommandId::SetOutputSize, "const KivSize*", "pixels", "SetOutputSize, SetDecoder", "source",
     "",
     "The size of the source's frames before the decode scale, from the next frame on. SetDecoder "
     "sets "
     "the clip's own, so it comes after that."},
    {CommandId::SetDecodeScale, "const KivRational*", "ratio", "SetDecodeScale", "source", "",
     "What the output size is multiplied by, such as 1/2 for a preview."},
};

constexpr bool EveryCommandHasItsRow() {
  if (std::size(kCommands) != std::size(kCommandTable)) return false;
  for (size_t i = 0; i < std::size(kCommands); ++i) {
    if (kCommands[i].id != kCommandTable[i].id) return false;
  }
  return true;
}
static_assert(EveryCommandHasItsRow(), "a row for each command, in their order");

}  // namespace kiv::facts
