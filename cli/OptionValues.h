// The texts of option values, read strictly and in the "C" locale. `option` is named in the message
// of the usage error that a wrong text throws.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Options.h"
#include "kiv/chain/NodeTypes.h"

namespace host {

KivSize ReadSize(std::string_view option, std::string_view text);       // 1280x720
KivRational ReadScale(std::string_view option, std::string_view text);  // 1/2, 0.5 is refused
// Whether a speed is one that a command line may name.
bool IsSpeed(const KivRational& speed);
KivRational ReadSpeed(std::string_view option, std::string_view text);  // 1/2, 0.4, 3
KivRational ReadRate(std::string_view option, std::string_view text);   // 30000/1001, 60
Interpolation ReadInterpolation(std::string_view option, std::string_view text);
FrameSpan ReadSpan(std::string_view option, std::string_view text);         // 10:20, 10:
KivRectF ReadRegion(std::string_view option, std::string_view text);        // 0.25,0.25,0.5,0.5
int32_t ReadColour(std::string_view option, std::string_view text);         // FF8000
GradientFill ReadGradient(std::string_view option, std::string_view text);  // FF8000,0040FF,45
enum class Least { kZero, kAboveZero };
double ReadSeconds(std::string_view option, std::string_view text, Least least);  // 2.5
int32_t ReadFrame(std::string_view option, std::string_view text);                // -3
int32_t ReadIndex(std::string_view option, std::string_view text);                // 0 and up
// MiB as bytes.
int64_t ReadMemory(std::string_view option, std::string_view text);
// The name that a chain's list has for it.
std::string_view NameOf(NodeType type);
std::vector<int32_t> ReadChain(std::string_view option, std::string_view text);  // source,crop
LogLevel ReadLogLevel(std::string_view option, std::string_view text);           // filter
StabilizeOption ReadStabilize(std::string_view option, std::string_view text);   // 10, on
ProgressForm ReadProgress(std::string_view option, std::string_view text);

}  // namespace host
