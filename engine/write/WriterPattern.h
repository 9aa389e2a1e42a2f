// File name patterns of picture sequences: "shot_%04d.png".
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kiv {

struct NamePattern {
  std::string before;
  std::string after;
  int width = 0;
  char fill = ' ';
};

// Why a text is no pattern, or nothing. Exactly one of %d, %Nd or %0Nd (N to 20) stands in the last
// path component; %% is a percent sign; any other use of % is refused.
std::optional<std::string> ParseNamePattern(std::string_view text, NamePattern* pattern);

}  // namespace kiv
