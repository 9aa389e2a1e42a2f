// info: what a clip's video stream is.

#include <fmt/format.h>
#include <json/json.h>

#include <vector>

#include "cli/Commands.h"
#include "cli/Messages.h"
#include "session/MediaInfo.h"

namespace cli {
namespace {

constexpr size_t kKeyFramesInText = 12;

std::string RateText(const Rational& rate) {
  return fmt::format("{}/{}", rate.numerator, rate.denominator);
}

Json::Value SizeJson(Size size) {
  Json::Value json;
  json["width"] = size.width;
  json["height"] = size.height;
  return json;
}

// Of a stream none of whose pictures could be decoded.
bool HasUnknownColours(const MediaInfo& info) { return info.pixelFormat.empty(); }

Json::Value ColourJson(const MediaInfo& info) {
  Json::Value json;
  const auto known = [&info](const Json::Value& value) {
    return HasUnknownColours(info) ? Json::Value() : value;
  };
  json["matrix"] = known(info.colourMatrix);
  json["range"] = known(info.colourRange);
  json["bits"] = known(info.bitDepth);
  json["pixel_format"] = known(info.pixelFormat);
  json["alpha"] = info.hasAlpha;
  return json;
}

std::string InfoJson(const std::string& path, const MediaInfo& info) {
  Json::Value root;
  root["file"] = path;
  root["container"] = info.container;
  root["codec"] = info.codec;
  root["size"] = SizeJson(info.size);
  root["coded_size"] = SizeJson(info.codedSize);
  root["sample_aspect"] = RateText(info.sampleAspect);
  root["rotation"] = info.rotation;
  root["frame_rate"] = RateText(info.frameRate);
  root["constant_rate"] = info.hasConstantRate;
  root["frames"] = info.frameCount;
  root["duration_s"] = SecondsOf(info.duration);
  root["colour"] = ColourJson(info);
  root["audio_streams"] = info.audioStreams;
  root["key_frames"] = Json::Value(Json::arrayValue);
  for (const int32_t frame : info.keyFrames) root["key_frames"].append(frame);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["enableYAMLCompatibility"] = true;  // "key": value, without a blank before the colon
  builder["precision"] = 10;
  return Json::writeString(builder, root) + "\n";
}

std::string KeyFrameText(const std::vector<int32_t>& frames) {
  std::string text = fmt::format("{}", frames.size());
  for (size_t i = 0; i < frames.size() && i < kKeyFramesInText; ++i) {
    text += fmt::format("{}{}", i == 0 ? " (" : ", ", frames[i]);
  }
  if (frames.size() > kKeyFramesInText) text += ", ...";
  return frames.empty() ? text : text + ")";
}

std::string ColourText(const MediaInfo& info) {
  if (HasUnknownColours(info)) return "unknown";
  return fmt::format("{} {}, {} bits, {}{}", info.colourMatrix, info.colourRange, info.bitDepth,
                     info.pixelFormat, info.hasAlpha ? ", with alpha" : "");
}

std::string InfoText(const std::string& path, const MediaInfo& info) {
  std::string text = fmt::format("{:14}{}\n", "file", path);
  const auto line = [&text](const char* name, const std::string& value) {
    text += fmt::format("{:14}{}\n", name, value);
  };
  line("container", info.container);
  line("codec", info.codec);
  line("size",
       fmt::format("{}x{}, stored as {}x{}, sample aspect {}", info.size.width, info.size.height,
                   info.codedSize.width, info.codedSize.height, RateText(info.sampleAspect)));
  line("rotation", fmt::format("{}", info.rotation));
  line("rate",
       fmt::format("{} = {:.3f} fps, {}", RateText(info.frameRate), info.frameRate.ToDouble(),
                   info.hasConstantRate ? "constant" : "variable"));
  line("frames", fmt::format("{}", info.frameCount));
  line("duration", fmt::format("{:.3f} s", SecondsOf(info.duration)));
  line("colour", ColourText(info));
  line("streams", fmt::format("1 video, {} audio", info.audioStreams));
  line("key frames", KeyFrameText(info.keyFrames));
  return text;
}

}  // namespace

void RunInfo(const Options& options) {
  const MediaInfo info = ReadMediaInfo(options.input, PrintNote, options.clip.onOpening);
  PrintOutput(options.json ? InfoJson(options.input, info) : InfoText(options.input, info));
}

}  // namespace cli
