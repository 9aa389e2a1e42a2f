#include <json/json.h>
#include <sys/resource.h>

#include "engine/memory/BufferPool.h"
#include "session/Export.h"
#include "session/Memory.h"

namespace kiv::session {
namespace {

constexpr int64_t kBytesPerKibibyte = 1024;

int64_t PeakMemoryBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss * kBytesPerKibibyte;
}

Json::Value DecoderFigures(const ExportReport& report) {
  Json::Value figures;
  figures["pictures_decoded"] = Json::Int64(report.picturesDecoded);
  figures["pictures_converted"] = Json::Int64(report.picturesConverted);
  figures["pictures_not_read"] = Json::Int64(report.picturesLost);
  figures["seeks"] = Json::Int64(report.seeks);
  figures["pictures_passed_over"] = Json::Int64(report.picturesPassedOver);
  figures["pictures_from_memory"] = Json::Int64(report.picturesFromMemory);
  figures["cache_bytes_now"] = Json::Int64(report.cacheBytesNow);
  figures["cache_bytes_at_most"] = Json::Int64(report.cacheBytesAtMost);
  return figures;
}

Json::Value SoundFigures(const ExportReport& report) {
  Json::Value sound;
  sound["streams"] = report.soundStreams;
  sound["copied"] = report.soundCopied;
  if (!report.soundLeftOut.empty()) sound["left_out_because"] = report.soundLeftOut;
  return sound;
}

Json::Value NodeFigures(const ExportReport& report) {
  Json::Value nodes;
  for (const auto& [node, seconds] : report.nodeSeconds) nodes[node] = seconds;
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

std::string ExportReport::ToJson() const {
  Json::Value root;
  root["frames"] = frames;
  root["width"] = size.width;
  root["height"] = size.height;
  root["frame_rate"] =
      std::to_string(frameRate.numerator) + "/" + std::to_string(frameRate.denominator);
  root["in_between_frames"] = inBetweenFrames;
  root["fps"] = wallSeconds > 0 ? frames / wallSeconds : 0.0;
  root["wall_seconds"] = wallSeconds;
  root["node_seconds"] = NodeFigures(*this);
  root["decoder_seconds"] = decoderSeconds;
  root["pull_seconds"] = pullSeconds;
  root["write_seconds"] = writeSeconds;
  root["decoder"] = DecoderFigures(*this);
  root["sound"] = SoundFigures(*this);
  root["memory"] = MemoryFigures();
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["enableYAMLCompatibility"] = true;  // "key": value, without a blank before the colon
  builder["precision"] = 6;
  return Json::writeString(builder, root) + "\n";
}

}  // namespace kiv::session
