// The default logger. A caller asks whether a level is on before it formats.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string_view>

#include "kiv/values/Export.h"

enum class LogLevel : int32_t {
  kDetail = 16,    // no fault; of use to whoever looks for one
  kFailure = 32,   // ordinary failures
  kFilter = 64,    // a filter that cannot be created
  kCreation = 80,  // a frame or object that cannot be created
};

// Threads:  any.
struct KIV_EXPORT IKivLogger {
  virtual bool IsEnabled(LogLevel level) = 0;
  // printf-style wide text; numbers are written in the "C" locale.
  virtual void Write(LogLevel level, const wchar_t* format, ...) = 0;
};

// Never null; lives as long as the process.
KIV_PLATFORM_API IKivLogger* KivGetDefaultLogger();

namespace kiv {

constexpr const wchar_t* BaseName(const wchar_t* path) {
  const wchar_t* base = path;
  for (const wchar_t* c = path; *c; ++c) {
    if (*c == L'/') base = c + 1;
  }
  return base;
}

}  // namespace kiv

#define KIV_WIDEN_TEXT(text) L##text
#define KIV_WIDEN(text) KIV_WIDEN_TEXT(text)

// Adds "  [file, line]" to the message.
#define KIV_LOG_AT(level, line, format, ...)                                        \
  do {                                                                              \
    IKivLogger* const kivLogger = KivGetDefaultLogger();                            \
    if (kivLogger->IsEnabled(level)) {                                              \
      kivLogger->Write(level, format L"  [%ls, %d]" __VA_OPT__(, ) __VA_ARGS__,     \
                       kiv::BaseName(KIV_WIDEN(__FILE__)), static_cast<int>(line)); \
    }                                                                               \
  } while (false)
#define KIV_LOG(level, format, ...) KIV_LOG_AT(level, __LINE__, format __VA_OPT__(, ) __VA_ARGS__)
