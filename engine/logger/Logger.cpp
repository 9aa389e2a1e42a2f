#include "engine/logger/Logger.h"

#include <spdlog/sinks/sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "engine/base/WideFormat.h"
#include "kiv/base/Locks.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

constexpr size_t kMaxMessageLength = 4096;

spdlog::level::level_enum ToSpdlog(LogLevel level) {
  if (level >= LogLevel::kCreation) return spdlog::level::critical;
  if (level >= LogLevel::kFilter) return spdlog::level::err;
  return level >= LogLevel::kFailure ? spdlog::level::warn : spdlog::level::info;
}

LogLevel FromSpdlog(spdlog::level::level_enum level) {
  if (level >= spdlog::level::critical) return LogLevel::kCreation;
  if (level >= spdlog::level::err) return LogLevel::kFilter;
  return level >= spdlog::level::warn ? LogLevel::kFailure : LogLevel::kDetail;
}

// File names and damaged media reach the log: what they contain must not steer a terminal or end a
// line early.
std::string ToLogText(std::wstring text) {
  if (text.size() > kMaxMessageLength) text.resize(kMaxMessageLength);
  const auto isControl = [](wchar_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); };
  std::replace_if(text.begin(), text.end(), isControl, L' ');
  while (!text.empty() && text.back() == L' ') text.pop_back();
  return KivCommon::WChar2Char(text.c_str());
}

// The host's callback when there is one, else standard error.
class HostSink final : public spdlog::sinks::sink {
 public:
  HostSink() { standardError_.set_pattern("%n %l: %v"); }

  void SetCallback(LogCallback callback) {
    auto held = callback ? std::make_shared<LogCallback>(std::move(callback)) : nullptr;
    const SimpleSync::CSimpleMutexLock hold(lock_);
    callback_.swap(held);
  }

  void log(const spdlog::details::log_msg& message) override {
    const SimpleSync::CSimpleMutexLock hold(lock_);
    if (!callback_) return standardError_.log(message);
    if (inCallback_) return;
    inCallback_ = true;
    // Kept by this call too: the callback may replace itself.
    const std::shared_ptr<LogCallback> callback = callback_;
    const std::string text(message.payload.data(), message.payload.size());
    try {
      (*callback)(FromSpdlog(message.level), text.c_str());
    } catch (...) {  // a host's failure is no reason to fail what was logged about
    }
    inCallback_ = false;
  }
  void flush() override { standardError_.flush(); }
  void set_pattern(const std::string&) override {}  // standard error's is fixed, a host gets none
  void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

 private:
  // Taken last of all. Recursive, and held while the callback runs: that may log and may replace
  // itself.
  SimpleSync::CSimpleMutex lock_;
  spdlog::sinks::stderr_sink_st standardError_;
  std::shared_ptr<LogCallback> callback_ KIV_GUARDED_BY(lock_);
  bool inCallback_ KIV_GUARDED_BY(lock_) = false;
};

class DefaultLogger final : public IKivLogger {
 public:
  DefaultLogger() : sink_(std::make_shared<HostSink>()), log_("kiv", sink_) {
    log_.set_level(spdlog::level::trace);
    log_.flush_on(spdlog::level::trace);
  }

  bool IsEnabled(LogLevel level) override {
    return level >= threshold_.load(std::memory_order_relaxed);
  }

  void Write(LogLevel level, const wchar_t* format, ...) override {
    if (!format || !IsEnabled(level)) return;
    va_list arguments;
    va_start(arguments, format);
    try {
      WriteText(level, FormatWide(format, arguments));
    } catch (...) {  // no memory for a message: there is nobody left to tell
    }
    va_end(arguments);
  }

  void WriteText(LogLevel level, std::wstring text) {
    log_.log(ToSpdlog(level), spdlog::string_view_t(ToLogText(std::move(text))));
  }
  void SetThreshold(LogLevel threshold) { threshold_ = threshold; }
  void SetCallback(LogCallback callback) { sink_->SetCallback(std::move(callback)); }

 private:
  std::shared_ptr<HostSink> sink_;
  spdlog::logger log_;
  std::atomic<LogLevel> threshold_{LogLevel::kFailure};
};

DefaultLogger& TheLogger() {
  // Never destroyed: objects that end after main may still log.
  static DefaultLogger* const logger = new DefaultLogger;
  return *logger;
}

}  // namespace

void SetLogLevel(LogLevel threshold) { TheLogger().SetThreshold(threshold); }

void SetLogCallback(LogCallback callback) { TheLogger().SetCallback(std::move(callback)); }

void WriteLogLine(LogLevel level, std::string_view line) {
  if (!TheLogger().IsEnabled(level)) return;
  TheLogger().WriteText(level, KivCommon::Char2WChar(std::string(line).c_str()));
}

}  // namespace kiv

IKivLogger* KivGetDefaultLogger() { return &kiv::TheLogger(); }
