// Reads the texts of option values, strictly and in the "C" locale. A wrong text throws a SessionError
// whose message names `option`.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "session/Api.h"
#include "session/ClipOptions.h"

namespace kiv::session {

KIV_SESSION_API Size ReadSize(std::string_view option, std::string_view text);  // 1280x720
KIV_SESSION_API Rational ReadScale(std::string_view option,
                                   std::string_view text);  // 1/2, 0.5 is refused
// Whether a speed is one that a command line may name.
KIV_SESSION_API bool IsSpeed(const Rational& speed);
KIV_SESSION_API Rational ReadSpeed(std::string_view option, std::string_view text);  // 1/2, 0.4, 3
KIV_SESSION_API Rational ReadRate(std::string_view option,
                                  std::string_view text);  // 30000/1001, 60
KIV_SESSION_API Interpolation ReadInterpolation(std::string_view option, std::string_view text);
KIV_SESSION_API FrameSpan ReadSpan(std::string_view option, std::string_view text);  // 10:20, 10:
KIV_SESSION_API Region ReadRegion(std::string_view option,
                                  std::string_view text);  // 0.25,0.25,0.5,0.5
KIV_SESSION_API int32_t ReadColour(std::string_view option, std::string_view text);  // FF8000
KIV_SESSION_API GradientFill ReadGradient(std::string_view option,
                                          std::string_view text);  // FF8000,0040FF,45
enum class Least { kZero, kAboveZero };
KIV_SESSION_API double ReadSeconds(std::string_view option, std::string_view text,
                                   Least least);                                    // 2.5
KIV_SESSION_API int32_t ReadFrame(std::string_view option, std::string_view text);  // -3
KIV_SESSION_API int32_t ReadIndex(std::string_view option, std::string_view text);  // 0 and up
// MiB as bytes.
KIV_SESSION_API int64_t ReadMemory(std::string_view option, std::string_view text);
KIV_SESSION_API std::vector<std::string> ReadChain(std::string_view option,
                                                   std::string_view text);  // source,crop
KIV_SESSION_API StabilizeOption ReadStabilize(std::string_view option,
                                              std::string_view text);  // 10, on

}  // namespace kiv::session
