#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "engine/write/Writer.h"
#include "engine/write/WriterPattern.h"

namespace kiv {
namespace {

constexpr unsigned kH264Bit = 1, kVp9Bit = 2, kFfv1Bit = 4, kProResBit = 8, kPngBit = 16;

struct FormatRow {
  std::string_view name;  // of --format, and of the ending
  OutputKind kind;
  const char* container;
  OutputCodec codec;  // when none is asked for
  unsigned codecs;    // all that the container may hold
  bool streams;       // can be written to a pipe
  OutputCodec codecWithAlpha = OutputCodec::kNone;
};

constexpr FormatRow kFormats[] = {
    {"mp4", OutputKind::kEncoded, "mp4", OutputCodec::kH264, kH264Bit | kVp9Bit, false},
    {"mov", OutputKind::kEncoded, "mov", OutputCodec::kH264, kH264Bit | kProResBit | kPngBit, false,
     OutputCodec::kProRes},
    {"mkv", OutputKind::kEncoded, "matroska", OutputCodec::kH264,
     kH264Bit | kVp9Bit | kFfv1Bit | kProResBit | kPngBit, false},
    {"webm", OutputKind::kEncoded, "webm", OutputCodec::kVp9, kVp9Bit, false},
    {"png", OutputKind::kPicture, "", OutputCodec::kNone, 0, false},
    {"y4m", OutputKind::kYuv4Mpeg, "", OutputCodec::kNone, 0, true},
    {"y4m444", OutputKind::kYuv4Mpeg, "", OutputCodec::kNone, 0, true},
    {"bgra", OutputKind::kRawBgra, "", OutputCodec::kNone, 0, true},
    {"null", OutputKind::kDiscard, "", OutputCodec::kNone, 0, true},
};

struct CodecRow {
  std::string_view name;
  OutputCodec codec;
  unsigned bit;
};

constexpr CodecRow kCodecs[] = {{"h264", OutputCodec::kH264, kH264Bit},
                                {"vp9", OutputCodec::kVp9, kVp9Bit},
                                {"ffv1", OutputCodec::kFfv1, kFfv1Bit},
                                {"prores", OutputCodec::kProRes, kProResBit},
                                {"png", OutputCodec::kPng, kPngBit}};

template <typename Rows>
auto FindByName(const Rows& rows, std::string_view name) {
  const auto* found =
      std::find_if(std::begin(rows), std::end(rows), [&](const auto& r) { return r.name == name; });
  return found == std::end(rows) ? nullptr : found;
}

template <typename Rows>
std::string NamesOf(const Rows& rows) {
  std::string list;
  for (const auto& row : rows) list.append(list.empty() ? "" : ", ").append(row.name);
  return list;
}

std::string LowerEnding(const std::string& name) {
  std::string ending = std::filesystem::path(name).extension().string();
  if (!ending.empty()) ending.erase(0, 1);
  std::transform(ending.begin(), ending.end(), ending.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return ending;
}

std::string FormatNameOf(const OutputRequest& request) {
  if (request.name == "null") return "null";
  if (!request.format.empty()) return request.format;
  if (request.name == "-") return "y4m";
  return LowerEnding(request.name);
}

WriteError FindFormat(const OutputRequest& request, const FormatRow** row) {
  if (request.name.empty()) return "the output has no name";
  *row = FindByName(kFormats, FormatNameOf(request));
  if (*row == nullptr || (!request.format.empty() && !FindByName(kFormats, request.format))) {
    return request.format.empty()
               ? fmt::format(
                     "cannot tell the format of '{}' by its ending: use one of {} or --format",
                     request.name, NamesOf(kFormats))
               : fmt::format("--format {} is not known: use one of {}", request.format,
                             NamesOf(kFormats));
  }
  if (request.name == "-" && !(*row)->streams) {
    return fmt::format("{} cannot be written to standard output: use y4m, y4m444 or bgra",
                       (*row)->name);
  }
  return std::nullopt;
}

WriteError FindCodec(const OutputRequest& request, const FormatRow& format, OutputCodec* codec) {
  *codec = format.codec;
  if (request.codec.empty()) return std::nullopt;
  const CodecRow* row = FindByName(kCodecs, request.codec);
  if (row == nullptr) {
    return fmt::format("--codec {} is not known: use one of {}", request.codec, NamesOf(kCodecs));
  }
  if ((format.codecs & row->bit) == 0) {
    return fmt::format("--codec {} does not go into {}", request.codec, format.name);
  }
  *codec = row->codec;
  return std::nullopt;
}

WriteError CheckQuality(const OutputRequest& request, OutputCodec codec) {
  if (request.quality == kQualityUnset) return std::nullopt;
  if (request.quality < 0 || request.quality > kQualityBest) {
    return fmt::format("--quality {} is out of range: 0 (worst) to 100 (best)", request.quality);
  }
  if (codec == OutputCodec::kNone || codec == OutputCodec::kFfv1 || codec == OutputCodec::kPng) {
    return std::string("--quality has no effect on a lossless output: leave it out");
  }
  return std::nullopt;
}

// A png name with a percent sign is a pattern, and must then be a good one.
WriteError CheckPictureName(OutputPlan* plan) {
  if (plan->kind != OutputKind::kPicture || plan->name.find('%') == std::string::npos) {
    return std::nullopt;
  }
  NamePattern pattern;
  if (const auto why = ParseNamePattern(plan->name, &pattern)) {
    return fmt::format("the output name '{}' is no pattern: {}", plan->name, *why);
  }
  plan->kind = OutputKind::kPictures;
  return std::nullopt;
}

}  // namespace

WriteError PlanOutput(const OutputRequest& request, OutputPlan* plan) {
  const FormatRow* format = nullptr;
  if (auto error = FindFormat(request, &format)) return error;
  OutputPlan result{format->kind, request.name, format->container};
  if (auto error = FindCodec(request, *format, &result.codec)) return error;
  if (auto error = CheckQuality(request, result.codec)) return error;
  if (auto error = CheckPictureName(&result)) return error;
  if (request.codec.empty()) result.codecWithAlpha = format->codecWithAlpha;
  if (request.quality != kQualityUnset) result.quality = request.quality;
  if (format->name == "y4m444") result.chroma = ChromaSampling::k444;
  *plan = std::move(result);
  return std::nullopt;
}

KivSize WrittenSize(const OutputPlan& plan, const PictureSeries& series) {
  const auto& [width, height] = series.size;
  const bool replaced = series.hasAlpha && plan.codecWithAlpha != OutputCodec::kNone;
  if (plan.codec != OutputCodec::kH264 || replaced) return series.size;
  return {width + width % 2, height + height % 2};
}

}  // namespace kiv
