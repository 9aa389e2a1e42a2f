#include "host/SheetCanvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/HostError.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"

namespace host {
namespace {

constexpr int32_t kThumbnailWidths[] = {192, 160, 128, 96, 64, 48, 32};
constexpr double kSheetAspect = 16.0 / 9.0;
constexpr int32_t kLongestSide = 1 << 14;
constexpr int64_t kMostPixels = int64_t{1} << 26;

constexpr int32_t kGap = 6;
constexpr int32_t kGlyphWidth = 5, kGlyphHeight = 7, kGlyphStep = 6;
constexpr int32_t kLabelHeight = kGlyphHeight + 4;
constexpr int32_t kShortestLabel = 15 * kGlyphStep;  // "12345  123.456s"

constexpr uint32_t kPaper = 0xFF202020, kInk = 0xFFE0E0E0;

struct Glyph {
  char character;
  uint8_t rows[kGlyphHeight];  // the leftmost pixel is bit 4
};

constexpr Glyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x06, 0x08, 0x10, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'s', {0x00, 0x00, 0x0E, 0x10, 0x0E, 0x01, 0x1E}},
};

SheetLayout LayOutWith(int32_t frames, KivSize thumbnail) {
  SheetLayout layout;
  layout.thumbnail = thumbnail;
  layout.cell = {std::max(thumbnail.width, kShortestLabel) + kGap,
                 thumbnail.height + kLabelHeight + kGap};
  const double columns = std::sqrt(kSheetAspect * frames * layout.cell.height / layout.cell.width);
  layout.columns = std::clamp(kiv::SaturateToInt32(std::ceil(columns)), 1, frames);
  layout.rows = (frames - 1) / layout.columns + 1;
  const auto side = [](int64_t cells, int64_t length) {
    return kiv::ClampToInt32(cells * length + kGap);
  };
  layout.sheet = {side(layout.columns, layout.cell.width), side(layout.rows, layout.cell.height)};
  return layout;
}

bool Fits(KivSize sheet) {
  return sheet.width <= kLongestSide && sheet.height <= kLongestSide &&
         int64_t{sheet.width} * sheet.height <= kMostPixels;
}

}  // namespace

std::optional<SheetLayout> LayOutSheet(int32_t frames, KivSize picture) {
  for (const int32_t wanted : kThumbnailWidths) {
    const int32_t width = std::min(wanted, picture.width);
    const double height = static_cast<double>(width) * picture.height / picture.width;
    const KivSize thumbnail{width, std::max(kiv::SaturateToInt32(height + 0.5), 1)};
    const SheetLayout layout = LayOutWith(frames, thumbnail);
    if (Fits(layout.sheet)) return layout;
  }
  return std::nullopt;
}

SheetCanvas::SheetCanvas(const SheetLayout& layout)
    : layout_(layout),
      pixels_(static_cast<size_t>(layout.sheet.width) * static_cast<size_t>(layout.sheet.height),
              kPaper),
      thumbnail_(
          KivCommon::ImageFunc::InitBitmap(layout.thumbnail.width, layout.thumbnail.height)) {
  if (!thumbnail_) FailRun("no memory for the contact sheet");
}

void SheetCanvas::Put(int32_t cell, IKivBitmap* picture, std::string_view label) {
  if (Failed(KivCommon::ImageFunc::ResizeImage(nullptr, picture, thumbnail_.Get(), 0))) {
    FailRun("a picture could not be scaled for the contact sheet");
  }
  const int32_t left = kGap + cell % layout_.columns * layout_.cell.width;
  const int32_t top = kGap + cell / layout_.columns * layout_.cell.height;
  const auto stride = static_cast<size_t>(layout_.sheet.width);
  const auto width = static_cast<size_t>(layout_.thumbnail.width);
  const auto* row = static_cast<const uint32_t*>(thumbnail_->GetPixels());
  for (int32_t y = 0; y < layout_.thumbnail.height; ++y, row += width) {
    std::memcpy(&pixels_[static_cast<size_t>(top + y) * stride + static_cast<size_t>(left)], row,
                width * sizeof(uint32_t));
  }
  DrawText(left, top + layout_.thumbnail.height + 2, label);
}

void SheetCanvas::DrawText(int32_t left, int32_t top, std::string_view text) {
  const auto room = static_cast<size_t>((layout_.cell.width - kGap) / kGlyphStep);
  for (const char character : text.substr(0, room)) {
    DrawGlyph(left, top, character);
    left += kGlyphStep;
  }
}

void SheetCanvas::DrawGlyph(int32_t left, int32_t top, char character) {
  const auto* glyph = std::find_if(std::begin(kGlyphs), std::end(kGlyphs),
                                   [&](const Glyph& g) { return g.character == character; });
  if (glyph == std::end(kGlyphs)) return;
  for (int32_t y = 0; y < kGlyphHeight; ++y) {
    for (int32_t x = 0; x < kGlyphWidth; ++x) {
      if ((glyph->rows[y] >> (kGlyphWidth - 1 - x) & 1) == 0) continue;
      pixels_[static_cast<size_t>(top + y) * static_cast<size_t>(layout_.sheet.width) +
              static_cast<size_t>(left + x)] = kInk;
    }
  }
}

}  // namespace host
