// A frame as the motion analysis sees it: brightness at about a thousand columns, and its halvings.
//
// Units:    pixels of level 0, each of which covers Factor() x Factor() pixels of the frame.
// Owns:     its planes; their memory is kept from frame to frame.
// Threads:  one caller at a time.
#pragma once

#include <vector>

#include "engine/motion/LumaKernel.h"

namespace kiv {

class KIV_ENGINE_API LumaPyramid {
 public:
  // `bgra` holds straight rows.
  void Build(const uint8_t* bgra, const KivSize& size);

  bool Empty() const { return levelCount_ == 0; }
  const KivSize& FrameSize() const { return frameSize_; }
  int Factor() const { return factor_; }
  int LevelCount() const { return levelCount_; }
  const LumaPlane& Level(int level) const { return levels_[static_cast<size_t>(level)]; }

 private:
  void BuildBase(const uint8_t* bgra);
  void HalveBase(int times);

  KivSize frameSize_;
  int factor_ = 1;
  int levelCount_ = 0;
  std::vector<LumaPlane> levels_;
  LumaPlane scratch_;
};

}  // namespace kiv
