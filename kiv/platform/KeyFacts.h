// What a host has to know of each property key. docs/settings-keys.md is made from this, and a test
// holds it against what the nodes ask their bags for.
#pragma once

#include <string_view>

#include "kiv/platform/KeyNames.h"

// The bag that an entry lies in.
enum class KeyBag {
  kSettings,   // the first bag of Initialize
  kFacts,      // the second: what the stream is
  kClip,       // of SaveSettings and LoadSettings; kivclip's settings files hold it
  kAnalysis,   // inside a clip's bag: stored stabilization data
  kCodec,      // the options that a file is opened with
  kFilter,     // what a filter answers as IKivProperties
  kParameter,  // one parameter inside that
  kClassId,    // in no bag: the text is a class id
};

struct KeyFact {
  std::string_view name;    // as in KIV_KEYS, "Group::kName", or the text of a key without a name
  std::string_view suffix;  // follows the text
  KeyBag bag;
  std::string_view type;
  std::string_view unit;
  std::string_view writers;  // separated by ", "
  std::string_view readers;  // likewise
  std::string_view meaning;
};

namespace kiv::facts {

struct KeyName {
  std::string_view name;
  std::string_view text;
};

inline constexpr KeyName kKeyNames[] = {
#define KIV_KEY_NAME(group, name, text) {#group "::" #name, text},
    KIV_KEYS(KIV_KEY_NAME)
#undef KIV_KEY_NAME
};

constexpr KeyFact AlphaKey(KeyBag bag, std::string_view name, std::string_view type,
                           std::string_view unit, std::string_view meaning) {
  const std::string_view writer = bag == KeyBag::kClip ? "alpha video" : "host";
  return {name, "", bag, type, unit, writer, "alpha video", meaning};
}
#define KIV_ALPHA_KEY(name, ...)                                              \
  AlphaKey(KeyBag::kSettings, "AlphaVideo::kAlphaVideo_" #name, __VA_ARGS__), \
      AlphaKey(KeyBag::kClip, "AlphaVideo::kAlphaVideo_" #name, __VA_ARGS__)

inline constexpr KeyFact kKeys[] = {
    // Time and size of the result.
    {"Render::kRender_Framerate", "", KeyBag::kSettings, "rational", "frames per second",
     "clip render, host", "frame cache, reverse, speed, frame rate",
     "Frame rate of the result; not above 0: not known, and nodes keep theirs."},
    {"Render::kRender_Size", "", KeyBag::kSettings, "size", "pixels", "clip render", "",
     "Size of the result."},
    {"Render::kRender_CacheEnable", "", KeyBag::kSettings, "integer", "0 or 1", "host",
     "frame cache", "1 reads ahead forwards too; backwards the cache always does."},
    {"Render::kRender_CacheEnable", "", KeyBag::kClip, "integer", "0 or 1", "host", "kivclip",
     "What the next render's settings bag gets."},
    {"Render::kRender_TotalFrameCount", "", KeyBag::kFacts, "integer", "frames of the result",
     "host", "reverse", "Length, where the stream's is not known."},
    {"Render::kRender_TotalFrameCount", ".Video", KeyBag::kFacts, "integer", "frames of the result",
     "speed", "", "How many frames the speed node makes; 0 when the source's length is not known."},
    {"Render::kRender_RangeFrameNumber", ".Video", KeyBag::kFacts, "range", "frames of the result",
     "speed", "", "The first and the last of them."},
    {"Render::kRender_RangeFrameNumber", "", KeyBag::kFacts, "range", "frames of the result",
     "host", "alpha video", "Which frames the clip shows."},

    // What the stream is.
    {"Source::kSource_Framerate", ".Video", KeyBag::kFacts, "rational", "frames per second", "host",
     "alpha video, frame cache, reverse, speed, frame rate",
     "Frame rate of the source's video stream; not above 0: not known."},
    {"Source::kSource_Framerate", "", KeyBag::kFacts, "rational", "frames per second", "host",
     "stabilizer", "The same, for the analysis."},
    {"Source::kSource_Framerate_Custom", "", KeyBag::kSettings, "rational", "frames per second",
     "clip render", "", "A source rate that the host set; absent below 0.001."},
    {"Source::kSource_TotalFrameCount", ".Video", KeyBag::kFacts, "integer", "frames of the source",
     "host", "frame cache, reverse, speed", "Length of the source's video stream."},
    {"Source::kSource_RangeFrameNumber", ".Video", KeyBag::kFacts, "range", "frames of the source",
     "host", "stabilizer", "Which frames are analysed."},
    {"Source::kSource_Size", "", KeyBag::kFacts, "size", "pixels", "host", "stabilizer",
     "Size of the source's frames."},
    {"Base::kStrFileFullPath", "", KeyBag::kSettings, "string", "path", "host", "stabilizer",
     "The source's file."},
    {"Base::kStrFileFullPath", "", KeyBag::kFacts, "string", "path", "host", "stabilizer",
     "The same, read when the settings bag has none."},
    {"SourceRender::kSourceRender_CurrentVideoStreamIndex", "", KeyBag::kFacts, "integer",
     "0 is the first video stream", "host", "stabilizer", "Which stream of the file is shown."},
    {"SourceRender::kSourceRender_CurrentVideoStreamIndex", "", KeyBag::kSettings, "integer",
     "0 is the first video stream", "host", "stabilizer",
     "The same, read when the other bag has none."},

    // Speed and direction.
    {"Speed::kEnabled", "", KeyBag::kSettings, "integer", "0 or 1", "host",
     "source, frame cache, reverse, speed", "0 plays as if neither speed nor reverse were set."},
    {"Speed::kScale", "", KeyBag::kSettings, "rational", "ratio; 2/1 is double speed", "host",
     "frame cache, speed",
     "The clip's speed. The frame cache reads it, as the range and the mode below, to know when "
     "its frames are out of date."},
    {"Speed::kScale", ".Parent", KeyBag::kSettings, "rational", "ratio", "host", "speed",
     "The speed of the clip's parent; the two are multiplied."},
    {"Speed::kReverse", "", KeyBag::kSettings, "integer", "0 or 1", "host",
     "source, frame cache, reverse", "1 plays backwards."},
    {"Speed::kReverse_Range", "", KeyBag::kSettings, "range", "frames of the reverse node", "host",
     "frame cache, reverse", "The stretch that is mirrored."},
    {"Speed::kReverse_FrameCacheCount", "", KeyBag::kFacts, "integer", "frames", "host",
     "frame cache", "About how many frames the cache reads ahead at once."},
    {"Speed::kInterpolationMode", "", KeyBag::kSettings, "integer", "the algorithm's", "host",
     "frame cache, speed", "Passed to the interpolation algorithm unchanged."},
    {"Speed::kInterpolation_Enabled", "", KeyBag::kSettings, "integer", "0 or 1, 1 at first",
     "host", "speed", "0 repeats frames in slow motion. Without the key it stays as it was."},
    {"Speed::kEnabled", "", KeyBag::kClip, "integer", "0 or 1", "kivclip", "kivclip",
     "What the next render's settings bag gets, like the four below."},
    {"Speed::kScale", "", KeyBag::kClip, "rational", "ratio", "kivclip", "kivclip", "--speed"},
    {"Speed::kReverse", "", KeyBag::kClip, "integer", "0 or 1", "kivclip", "kivclip", "--reverse"},
    {"Speed::kReverse_Range", "", KeyBag::kClip, "range", "frames of the source", "kivclip",
     "kivclip", "--reverse-range"},
    {"Speed::kInterpolationMode", "", KeyBag::kClip, "integer", "the algorithm's", "host",
     "kivclip", "Passed to the interpolation algorithm."},

    // Commands of the clip render to its nodes. They have no names in KivKey.
    {"CLIP.CMD.NECESSARY.INIT", "", KeyBag::kSettings, "integer", "1", "clip render", "",
     "This is the clip render's own initialization, before the first frame."},
    {"CLIP.CMD.CLEANUP", "", KeyBag::kSettings, "integer", "1", "clip render",
     "alpha video, frame cache, speed",
     "Frames and files are released; the clip may be used again."},

    // Source.
    {"ProxySource::kProxyFilePath", "", KeyBag::kClip, "string", "path, up to 511 characters",
     "source", "source", "The file to read pictures from in place of the clip's."},
    {"ProxySource::kEnabled", "", KeyBag::kClip, "integer", "0 or 1", "source", "source",
     "Whether it is read."},

    // Crop.
    {"Crop::kEnabled", "", KeyBag::kClip, "integer", "0 or 1", "crop", "crop, kivclip",
     "Whether the crop is on."},
    {"Crop::kRegion", "", KeyBag::kClip, "rectangle", "fractions of the picture", "crop", "crop",
     "The region last in effect; without keyframes that is the whole picture."},
    {"Crop::kRegion", ".Serialize", KeyBag::kClip, "string", "JSON, see keyframes.md", "crop",
     "crop", "The region's keyframes; absent without any."},
    {"Crop::kRegion", ".Serialize.Size", KeyBag::kClip, "integer", "characters with the terminator",
     "crop", "crop", "Length of that text."},

    // Stabilization.
    {"Stabilization::kEnabled", "", KeyBag::kSettings, "integer", "0 or 1", "host", "stabilizer",
     "Whether frames are corrected."},
    {"Stabilization::kLevel", "", KeyBag::kSettings, "integer", "0 to 100", "host", "stabilizer",
     "How strongly frames are corrected."},
    {"Stabilization::kEnabled", "", KeyBag::kClip, "integer", "0 or 1", "stabilizer", "stabilizer",
     "Whether frames are corrected."},
    {"Stabilization::kLevel", "", KeyBag::kClip, "integer", "0 to 100", "stabilizer", "stabilizer",
     "How strongly frames are corrected."},
    {"Stabilization::kAnalyzedDataStr", "", KeyBag::kClip, "bag", "", "stabilizer", "stabilizer",
     "The camera's motion, after an analysis."},
    {"Stabilization::kAnalyzedDataSize", "", KeyBag::kAnalysis, "integer", "frames", "stabilizer",
     "stabilizer", "How many entries follow."},
    {"Stab-Data-N", "", KeyBag::kAnalysis, "string", "1/10000 pixel, 1/10000 degree", "stabilizer",
     "stabilizer", "Frame N's motion, from 0 on: dx:5000,-12500y,da:10"},
    {"Stab.Enable", "", KeyBag::kAnalysis, "integer", "0 or 1", "stabilizer", "stabilizer",
     "The switch at the time of the analysis."},
    {"Stab.rngSource", "", KeyBag::kAnalysis, "range", "frames of the source", "stabilizer",
     "stabilizer", "Which frames were analysed."},
    {"Stab.wstrPath", "", KeyBag::kAnalysis, "string", "path", "stabilizer", "stabilizer",
     "The file that was analysed."},
    {"Stab.nStreamIdx", "", KeyBag::kAnalysis, "integer", "0 is the first video stream",
     "stabilizer", "stabilizer", "The stream that was analysed."},
    {"Stab.oSize", "", KeyBag::kAnalysis, "size", "pixels", "stabilizer", "stabilizer",
     "The size at the analysis."},
    {"Stab.ratFramerate", "", KeyBag::kAnalysis, "rational", "frames per second", "stabilizer",
     "stabilizer", "The frame rate at the analysis."},

    // Alpha video: handed over when the chain is initialized, and stored.
    KIV_ALPHA_KEY(PresetVideo, "integer", "0 or 1",
                  "1: the clip is a preset; 0: the node passes everything through."),
    KIV_ALPHA_KEY(FullHD, "integer", "0 or 1", "1: the preset has its mask in a file of its own."),
    KIV_ALPHA_KEY(FullHDDataFilepath, "string", "path, up to 259 characters", "That file."),
    KIV_ALPHA_KEY(ImageFilepath, "string", "path, up to 259 characters",
                  "The picture that fills the preset."),
    KIV_ALPHA_KEY(CanChangeColor, "integer", "0 or 1",
                  "1 fills the preset with the colours below."),
    KIV_ALPHA_KEY(FillType, "integer", "0 or not",
                  "0 fills with the single colour, anything else with the gradient."),
    KIV_ALPHA_KEY(SingleColor, "integer", "0xRRGGBB", "The single colour."),
    KIV_ALPHA_KEY(GradientColor1, "integer", "0xRRGGBB", "Where the gradient begins."),
    KIV_ALPHA_KEY(GradientColor2, "integer", "0xRRGGBB", "Where it ends."),
    KIV_ALPHA_KEY(GradientAngle, "double", "degrees", "Its direction."),
    KIV_ALPHA_KEY(VideoDuration, "double", "seconds", "Length of the preset."),
    KIV_ALPHA_KEY(VideoPauseTime, "double", "seconds",
                  "Where the preset waits when the clip is longer; 0 repeats it as a whole."),
    KIV_ALPHA_KEY(LoopCount, "integer", "frames",
                  "How many frames are looped while it waits; 0 holds one."),

    // What kivclip keeps of its own options.
    {"Kivclip.OPTION", "", KeyBag::kClip, "string", "as typed", "kivclip", "kivclip",
     "An option that no node keeps, by its name: fps, size, frames, chain, codec and the like."},

    // Files, filters.
    {"Codec::GPU::kGPUFirst", "", KeyBag::kCodec, "integer", "0 or 1", "stabilizer",
     "media factory", "0 decodes on the processor."},
    {"Filter::Property::kCount", "", KeyBag::kFilter, "integer", "", "filter", "filter helpers",
     "How many parameters the filter has, 32 at most."},
    {"Filter.Property.Param.N", "", KeyBag::kFilter, "bag", "", "filter", "filter helpers",
     "Parameter N, from 0 on: KivKey::Filter::Property::kParamsArray[N]."},
    {"Filter::Property::kFriendName", "", KeyBag::kParameter, "string", "up to 99 characters",
     "filter", "filter helpers", "The parameter's name."},
    {"Filter::Property::kValue_Current", "", KeyBag::kParameter, "value", "the parameter's",
     "filter helpers", "filter", "Its present value."},
    {"Filter::kFilterGUID_Resize", "", KeyBag::kClassId, "", "", "", "source", "Scales a picture."},
    {"Filter::kFilterGUID_AlphaChannel", "", KeyBag::kClassId, "", "", "", "alpha video",
     "Fills a mask with a colour or a gradient."},
    {"Filter::kFilterGUID_GreenChannel", "", KeyBag::kClassId, "", "", "", "alpha video",
     "Takes a mask from a second picture's green."},
    {"Filter::kFilterGUID_preMultAlpha", "", KeyBag::kClassId, "", "", "", "alpha video",
     "Lays a picture into a mask."},

    // Settings files.
    {"Settings.UnknownMembers", "", KeyBag::kClip, "string", "JSON", "engine", "engine",
     "Members of a settings file that this version does not know, written back as they were."},
};
#undef KIV_ALPHA_KEY

}  // namespace kiv::facts
