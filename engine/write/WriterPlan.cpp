#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <span>
#include <string_view>

#include "engine/write/Writer.h"
#include "engine/write/WriterCodecs.h"
#include "engine/write/WriterPattern.h"

namespace kiv {
namespace {

struct FormatRow {
  std::string_view name;  // of --format, and of the ending
  OutputKind kind;
  const char* container;
  unsigned bit;       // in the codecs' rows
  OutputCodec codec;  // when none is asked for
  bool streams;       // can be written to a pipe
  OutputCodec codecWithAlpha = OutputCodec::kNone;
};

constexpr FormatRow kFormats[] = {
    {"mp4", OutputKind::kEncoded, "mp4", kMp4Bit, OutputCodec::kH264, false},
    {"mov", OutputKind::kEncoded, "mov", kMovBit, OutputCodec::kH264, false, OutputCodec::kProRes},
    {"mkv", OutputKind::kEncoded, "matroska", kMkvBit, OutputCodec::kH264, false},
    {"webm", OutputKind::kEncoded, "webm", kWebmBit, OutputCodec::kVp9, false},
    {"png", OutputKind::kPicture, "", 0, OutputCodec::kNone, true},
    {"jpg", OutputKind::kPicture, "", kJpegBit, OutputCodec::kJpeg, true},
    {"jpeg", OutputKind::kPicture, "", kJpegBit, OutputCodec::kJpeg, true},
    {"y4m", OutputKind::kYuv4Mpeg, "", 0, OutputCodec::kNone, true},
    {"y4m444", OutputKind::kYuv4Mpeg, "", 0, OutputCodec::kNone, true},
    {"bgra", OutputKind::kRawBgra, "", 0, OutputCodec::kNone, true},
    {"null", OutputKind::kDiscard, "", 0, OutputCodec::kNone, true},
};

template <typename Row>
const Row* FindByName(std::span<const Row> rows, std::string_view name) {
  const auto found =
      std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return row.name == name; });
  return found == rows.end() ? nullptr : &*found;
}
const FormatRow* FindFormatRow(std::string_view name) {
  return FindByName(std::span<const FormatRow>(kFormats), name);
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
  *row = FindFormatRow(FormatNameOf(request));
  if (*row == nullptr || (!request.format.empty() && !FindFormatRow(request.format))) {
    return request.format.empty()
               ? fmt::format(
                     "cannot tell the format of '{}' by its ending: use one of {} or --format",
                     request.name, NamesOf(kFormats))
               : fmt::format("--format {} is not known: use one of {}", request.format,
                             NamesOf(kFormats));
  }
  if (request.name == "-" && !(*row)->streams) {
    return fmt::format(
        "{} cannot be written to standard output: use y4m, y4m444, bgra or, for one picture, png "
        "or "
        "jpg",
        (*row)->name);
  }
  return std::nullopt;
}

WriteError FindCodec(const OutputRequest& request, const FormatRow& format, OutputCodec* codec) {
  *codec = format.codec;
  if (request.codec.empty()) return std::nullopt;
  const WriterCodec* row = FindByName(WriterCodecs(), request.codec);
  if (row == nullptr) {
    return fmt::format("--codec {} is not known: use one of {}", request.codec,
                       NamesOf(WriterCodecs()));
  }
  if ((row->formats & format.bit) == 0) {
    return fmt::format("--codec {} does not go into {}", request.codec, format.name);
  }
  *codec = row->id;
  return std::nullopt;
}

WriteError CheckQuality(const OutputRequest& request, OutputCodec codec) {
  if (request.quality == kQualityUnset) return std::nullopt;
  if (request.quality < 0 || request.quality > kQualityBest) {
    return fmt::format("--quality {} is out of range: 0 (worst) to 100 (best)", request.quality);
  }
  const WriterCodec* row = FindWriterCodec(codec);
  if (row == nullptr || row->isLossless) {
    return std::string("--quality has no effect on a lossless output: leave it out");
  }
  return std::nullopt;
}

// A picture's name with a percent sign is a pattern, and must then be a good one.
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
  const WriterCodec* row = FindWriterCodec(plan.codec);
  if (row == nullptr || !row->needsEvenSides || replaced) return series.size;
  return {width + width % 2, height + height % 2};
}

}  // namespace kiv
