// Pictures that are drawn, and places in them.
#pragma once

#include <cstdint>
#include <vector>

#include "session/Values.h"

namespace kiv::draw {

// Straight BGRA rows.
struct Picture {
  session::Size size;
  std::vector<uint8_t> bgra;
};

// Pixels from the top left corner.
struct Point {
  int32_t x = 0, y = 0;
};
struct PointF {
  double x = 0, y = 0;
};

}  // namespace kiv::draw
