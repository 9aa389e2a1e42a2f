// FFmpeg's messages, as lines of the default logger.
extern "C" {
#include <libavutil/log.h>
}

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <utility>

#include "engine/logger/LineLimiter.h"
#include "engine/logger/Logger.h"

namespace kiv {
namespace {

constexpr size_t kMaxLineLength = 1024;

std::atomic<int> ffmpegLevel{AV_LOG_WARNING};

int64_t Now() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

LineLimiter::Verdict Judge(const std::string& line) {
  static std::mutex lock;
  static LineLimiter* const limiter = new LineLimiter;
  const std::lock_guard hold(lock);
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
    WriteLine(std::exchange(pending, {}));
  } catch (...) {  // no memory for a message
    pending.clear();
  }
}

}  // namespace

void RouteFfmpegLog() { av_log_set_callback(&OnFfmpegMessage); }

void SetFfmpegLogLevel(int avLevel) { ffmpegLevel = avLevel; }

}  // namespace kiv
