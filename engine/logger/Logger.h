// Where the default logger's messages go, and which ones are wanted.
//
// Threads:  any.
// Locks:    one, held while a message is written or a host's callback runs; the callback may log
//           (the message is then dropped) and may set another callback.
#pragma once

#include <functional>
#include <string_view>

#include "kiv/platform/Logger.h"

namespace kiv {

// `text` is one line of UTF-8 without control characters, in memory that ends with the call.
using LogCallback = std::function<void(LogLevel level, const char* text)>;

// Above every level: nothing is written.
constexpr LogLevel kLogNothing = LogLevel{1 << 16};

// Messages below `threshold` are not written. It is LogLevel::kFailure at first.
KIV_ENGINE_API void SetLogLevel(LogLevel threshold);

// Messages go to `callback` from now on, to standard error when it is empty. When this returns,
// what was set before is not running on another thread and will not be called again.
KIV_ENGINE_API void SetLogCallback(LogCallback callback);

// Sends FFmpeg's own messages through the default logger. Called before FFmpeg is first used. What a
// decoder says after every seek is a detail, told once for each stream; a codec context's `opaque`
// tells streams apart.
KIV_ENGINE_API void RouteFfmpegLog();

// Messages of FFmpeg above this of its own levels are left out; AV_LOG_WARNING at first.
KIV_ENGINE_API void SetFfmpegLogLevel(int avLevel);

// A line that is made already: UTF-8, perhaps malformed, perhaps with control characters.
void WriteLogLine(LogLevel level, std::string_view line);

}  // namespace kiv
