// Clips whose pictures are plain grey: picture n has the level GreyOf(n).
#pragma once

#include <cstdint>
#include <string>

#include "kiv/values/ValueTypes.h"

inline int GreyOf(int number) { return 20 + number % 100 * 2; }

struct GreyClip {
  KivSize size{64, 48};
  KivRational rate{25, 1};
  KivRational aspect{1, 1};
  int pictures = 20;
  int brighter = 0;  // added to every level
};

// Lossless where the name ends in .mkv. Throws std::runtime_error when it cannot be made.
void WriteGreyClip(const std::string& path, const GreyClip& clip = {});
