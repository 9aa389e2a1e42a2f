// Short labels drawn into BGRA pictures: digits, small letters, ".", "-", "+" and blanks.
#pragma once

#include <cstdint>
#include <string_view>

#include "draw/Picture.h"

namespace kiv::draw {

constexpr int32_t kGlyphWidth = 5;
constexpr int32_t kGlyphHeight = 7;

// Pixels a label takes, `scale` pixels to a dot.
constexpr session::Size LabelSize(std::string_view text, int32_t scale) {
  return {static_cast<int32_t>(text.size()) * (kGlyphWidth + 1) * scale, kGlyphHeight * scale};
}

constexpr uint32_t kLabelInk = 0xFFE0E0E0;

// What lies outside the picture is cut off. Other characters are drawn as blanks.
void DrawLabel(std::string_view text, Point at, int32_t scale, uint8_t* bgra, session::Size picture,
               uint32_t ink = kLabelInk);

}  // namespace kiv::draw
