// FFmpeg's messages, as lines of the default logger.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

#include <algorithm>
#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "engine/logger/LineLimiter.h"
#include "engine/logger/Logger.h"
#include "kiv/base/Mutex.h"

namespace kiv {
namespace {

constexpr size_t kMaxLineLength = 1024;

std::atomic<int> ffmpegLevel{AV_LOG_WARNING};

int64_t Now() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

LineLimiter::Verdict Judge(const std::string& line) {
  static Mutex lock;  // innermost
  static LineLimiter* const limiter = new LineLimiter;
  const MutexLock hold(lock);
  return limiter->Judge(line, Now());
}

// "[h264 @ 0x55d0c0de]" names an address that tells a reader nothing and differs in every run.
void DropAddresses(std::string& line) {
  constexpr std::string_view kMark = " @ 0x";
  for (size_t at = line.find(kMark); at != std::string::npos; at = line.find(kMark, at)) {
    const size_t end = line.find_first_not_of("0123456789abcdefABCDEF", at + kMark.size());
    line.erase(at, end == std::string::npos ? end : end - at);
  }
}

void WriteLine(std::string line) {
  DropAddresses(line);
  const LineLimiter::Verdict verdict = Judge(line);
  if (verdict.leftOut > 0) {
    WriteLogLine(LogLevel::kFailure,
                 "FFmpeg: " + std::to_string(verdict.leftOut) + " messages left out");
  }
  if (verdict.write) WriteLogLine(LogLevel::kFailure, "FFmpeg: " + line);
}

// What a decoder says when it starts in a group that refers to pictures before it. A reader that goes
// there drops what cannot be decoded.
constexpr std::string_view kSeekComplaints[] = {"mmco: unref short failure",
                                                "co located POCs unavailable"};

const std::string_view* SeekComplaintIn(std::string_view line) {
  const auto* const found =
      std::find_if(std::begin(kSeekComplaints), std::end(kSeekComplaints),
                   [line](std::string_view text) { return line.find(text) != line.npos; });
  return found == std::end(kSeekComplaints) ? nullptr : found;
}

// Tells streams apart: all threads of a decoder have its `opaque`. Never dereferenced.
const void* StreamOf(const void* context) {
  if (!context) return nullptr;
  const auto* const* const type = static_cast<const AVClass* const*>(context);
  const bool isCodec = *type && std::string_view((*type)->class_name) == "AVCodecContext";
  return isCodec ? static_cast<const AVCodecContext*>(context)->opaque : nullptr;
}

bool IsFirstOfStream(const void* stream, const std::string_view* complaint) {
  constexpr size_t kMostKnown = 1000;
  static Mutex lock;  // innermost
  static auto* const known = new std::set<std::pair<const void*, const std::string_view*>>;
  const MutexLock hold(lock);
  if (known->size() >= kMostKnown) known->clear();
  return known->emplace(stream, complaint).second;
}

void WriteSeekComplaint(std::string line, const std::string_view* complaint, const void* stream) {
  if (!KivGetDefaultLogger()->IsEnabled(LogLevel::kDetail)) return;
  if (!IsFirstOfStream(stream, complaint)) return;
  DropAddresses(line);
  WriteLogLine(LogLevel::kDetail, "FFmpeg: " + line);
}

// A line may come in several calls; each thread's pieces are joined until it ends.
void OnFfmpegMessage(void* context, int level, const char* format, va_list arguments) {
  thread_local int printPrefix = 1;
  thread_local std::string pending;
  if ((level & 0xFF) > ffmpegLevel.load(std::memory_order_relaxed)) return;
  char text[kMaxLineLength];
  av_log_format_line2(context, level, format, arguments, text, sizeof text, &printPrefix);
  try {
    pending += text;
    if (pending.find('\n') == std::string::npos && pending.size() < kMaxLineLength) return;
    std::string line = std::exchange(pending, {});
    if (const std::string_view* const complaint = SeekComplaintIn(line)) {
      return WriteSeekComplaint(std::move(line), complaint, StreamOf(context));
    }
    WriteLine(std::move(line));
  } catch (...) {  // no memory for a message
    pending.clear();
  }
}

}  // namespace

void RouteFfmpegLog() { av_log_set_callback(&OnFfmpegMessage); }

void SetFfmpegLogLevel(int avLevel) { ffmpegLevel = avLevel; }

}  // namespace kiv
