// Draws curves over frame numbers, with axes and a legend.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kiv/values/ValueTypes.h"

namespace host {

struct Curve {
  std::string name;               // small letters and digits
  uint32_t colour = 0xFFFFFFFF;   // as a BGRA pixel, blue in the lowest byte
  std::vector<KivPointF> points;  // frame and value, frames ascending; joined by straight lines
  std::vector<KivPointF> marks;   // drawn as discs
};

// Straight BGRA rows. Points that are no numbers are left out.
std::vector<uint8_t> DrawPlot(const std::vector<Curve>& curves, KivSize size);

}  // namespace host
