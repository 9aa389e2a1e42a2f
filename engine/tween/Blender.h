// Makes the picture between two key frames from them and its motion.
//
// Units:    pixels, straight rows of BGRA; `factor` pixels of the picture on one of the field's.
// Threads:  one caller at a time; works on the pool's threads.
#pragma once

#include "engine/tween/RowPool.h"
#include "engine/tween/TweenField.h"

namespace kiv::tween {

struct KeyPictures {
  const uint8_t* older;
  const uint8_t* newer;
  KivSize size;
};

// How many nodes' predictions meet at a pixel: the wide window costs four times as much.
enum class BlendWindow { kNear, kWide };

struct Blending {
  int factor;
  float when;
  BlendWindow window;
  float sharpness;  // of the pixels between pixels: 0 mixes the nearest, kSharpest overshoots edges
};
constexpr float kSharpest = 0.7F;

void BlendPicture(const KeyPictures& keys, const NodeGrid<TweenNode>& field,
                  const Blending& blending, RowPool& pool, uint8_t* out);

// The same without any motion.
void MixPictures(const KeyPictures& keys, float when, RowPool& pool, uint8_t* out);

}  // namespace kiv::tween
