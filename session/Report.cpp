#include "session/Report.h"

#include <json/json.h>
#include <sys/resource.h>

#include "engine/memory/BufferPool.h"
#include "session/Memory.h"

namespace host {
namespace {

constexpr int64_t kBytesPerKibibyte = 1024;

int64_t PeakMemoryBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss * kBytesPerKibibyte;
}

Json::Value DecoderFigures(const RenderReport& report) {
  Json::Value figures;
  figures["pictures_decoded"] = Json::Int64(report.decoder.picturesDecoded);
  figures["pictures_converted"] = Json::Int64(report.decoder.picturesConverted);
  figures["pictures_not_read"] = Json::Int64(report.unreadPictures);
  figures["seeks"] = Json::Int64(report.decoder.seeks);
  figures["pictures_passed_over"] = Json::Int64(report.decoder.picturesPassedOver);
  figures["pictures_from_memory"] = Json::Int64(report.decoder.picturesFromMemory);
  figures["cache_bytes_now"] = Json::Int64(report.decoder.cacheBytesNow);
  figures["cache_bytes_at_most"] = Json::Int64(report.decoder.cacheBytesAtMost);
  return figures;
}

Json::Value SoundFigures(const RenderReport& report) {
  Json::Value sound;
  sound["streams"] = report.soundStreams;
  sound["copied"] = report.soundCopied;
  if (!report.soundLeftOut.empty()) sound["left_out_because"] = report.soundLeftOut;
  return sound;
}

Json::Value NodeFigures(const RenderReport& report) {
  Json::Value nodes;
  for (const NodeSeconds& row : report.nodes) nodes[std::string(row.node)] = row.seconds;
  return nodes;
}

Json::Value MemoryFigures() {
  const kiv::BufferPoolFigures pool = kiv::BufferPool::Shared().Figures();
  Json::Value memory;
  memory["peak_bytes"] = Json::Int64(PeakMemoryBytes());
  memory["picture_budget_bytes"] = Json::Int64(PictureMemory().limit);
  memory["frame_allocations"] = Json::Int64(pool.systemAllocations);
  memory["frame_bytes_idle"] = Json::Int64(pool.bytesIdle);
  return memory;
}

}  // namespace

std::string ReportText(const RenderReport& report) {
  Json::Value root;
  root["frames"] = report.frames;
  root["width"] = report.size.width;
  root["height"] = report.size.height;
  root["frame_rate"] = std::to_string(report.frameRate.numerator) + "/" +
                       std::to_string(report.frameRate.denominator);
  root["in_between_frames"] = report.inBetweenFrames;
  root["fps"] = report.wallSeconds > 0 ? report.frames / report.wallSeconds : 0.0;
  root["wall_seconds"] = report.wallSeconds;
  root["node_seconds"] = NodeFigures(report);
  root["decoder_seconds"] = report.decoderSeconds;
  root["pull_seconds"] = report.pullSeconds;
  root["write_seconds"] = report.writeSeconds;
  root["decoder"] = DecoderFigures(report);
  root["sound"] = SoundFigures(report);
  root["memory"] = MemoryFigures();
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["enableYAMLCompatibility"] = true;  // "key": value, without a blank before the colon
  builder["precision"] = 6;
  return Json::writeString(builder, root) + "\n";
}

}  // namespace host
