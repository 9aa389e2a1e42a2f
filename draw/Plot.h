// Draws curves over frame numbers, with axes and a legend.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "draw/Picture.h"

namespace kiv::draw {

struct Curve {
  std::string name;              // small letters and digits
  uint32_t colour = 0xFFFFFFFF;  // as a BGRA pixel, blue in the lowest byte
  std::vector<PointF> points;    // frame and value, frames ascending; joined by straight lines
  std::vector<PointF> marks;     // drawn as discs
};

// Points that are not finite are left out.
Picture DrawPlot(const std::vector<Curve>& curves, session::Size size);

}  // namespace kiv::draw
