// The vectorized row operations of scaling. Chosen at run time for the processor.
//
// Between loading and storing, a pixel is four floats: blue, green and red times coverage, and
// coverage, from 0 to 255. Rows are `ScaleRow`s, which vectors may overrun.
//
// Units:    pixels.
// Threads:  any; nothing is kept.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kiv {

constexpr size_t kScaleChannels = 4;
constexpr int32_t kScaleTaps = 4;  // what one step sums up

// Which source positions an output position is made of.
struct ScaleTaps {
  int32_t first = 0;
  int32_t count = 0;
  size_t weights = 0;  // where its weights start; they add up to 1
};

class ScaleRow {
 public:
  ScaleRow() = default;
  explicit ScaleRow(size_t pixels) : values_(pixels * kScaleChannels + kSpare) {}

  void Clear() { std::fill(values_.begin(), values_.end(), 0.0F); }
  float* Values() { return values_.data(); }
  const float* Values() const { return values_.data(); }

 private:
  static constexpr size_t kSpare = 64;  // more than the longest vector, and kScaleTaps pixels
  std::vector<float> values_;
};

// Pixels of BGRA with straight alpha.
void LoadScaleRow(const uint8_t* bgra, size_t pixels, float* row);

// `out` along `row`. With every count kScaleTaps, which is the quick case, `row` has as many pixels
// after its end.
void SampleScaleRow(const float* row, const std::vector<ScaleTaps>& taps, const float* weights,
                    bool fourEach, float* out);

struct FourRows {
  const float* rows[kScaleTaps];
  float weights[kScaleTaps];
};

// Adds the weighted sum of the rows to `sum`.
void AddScaleRows(const FourRows& four, size_t pixels, float* sum);

// The weighted sum of the rows as BGRA with straight alpha. What a curve overshoots is cut: no channel
// below 0, no colour above its coverage.
void StoreScaleRows(const FourRows& four, size_t pixels, uint8_t* bgra);

}  // namespace kiv
