// The picture of a contact sheet: thumbnails in rows, a line of small print under each.
//
// Units:    pixels.
// Owns:     the sheet's bitmap.
// Threads:  one caller at a time.
// Errors:   HostError when there is no memory or no room.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "kiv/platform/Frame.h"
#include "kiv/values/ValueTypes.h"

namespace host {

struct SheetLayout {
  int32_t columns = 0;
  int32_t rows = 0;
  KivSize thumbnail;
  KivSize cell;  // thumbnail, label and the gap after them
  KivSize sheet;
};

// Wide like a screen, thumbnails as large as a sheet of bounded size allows. Nothing when there are
// too many frames for any.
std::optional<SheetLayout> LayOutSheet(int32_t frames, KivSize picture);

class SheetCanvas {
 public:
  explicit SheetCanvas(const SheetLayout& layout);

  // Cells count from the top left, row by row. The label is made of digits, '.', ':', 's' and blanks;
  // what does not fit the cell is cut.
  void Put(int32_t cell, IKivBitmap* picture, std::string_view label);
  const uint8_t* Pixels() const { return reinterpret_cast<const uint8_t*>(pixels_.data()); }

 private:
  void DrawText(int32_t left, int32_t top, std::string_view text);
  void DrawGlyph(int32_t left, int32_t top, char character);

  SheetLayout layout_;
  std::vector<uint32_t> pixels_;
  KivComPtr<IKivBitmap> thumbnail_;
};

}  // namespace host
