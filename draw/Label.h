// Short labels drawn into BGRA pictures: digits, small letters, ".", "-", "+" and blanks.
#pragma once

#include <cstdint>
#include <string_view>

#include "kiv/values/ValueTypes.h"

namespace host {

constexpr int32_t kGlyphWidth = 5;
constexpr int32_t kGlyphHeight = 7;

// Pixels a label takes, `scale` pixels to a dot.
constexpr KivSize LabelSize(std::string_view text, int32_t scale) {
  return {static_cast<int32_t>(text.size()) * (kGlyphWidth + 1) * scale, kGlyphHeight * scale};
}

constexpr uint32_t kLabelInk = 0xFFE0E0E0;

// What lies outside the picture is cut off. Other characters are drawn as blanks.
void DrawLabel(std::string_view text, KivPoint at, int32_t scale, uint8_t* bgra, KivSize picture,
               uint32_t ink = kLabelInk);

}  // namespace host
