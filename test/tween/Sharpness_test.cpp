#include "engine/tween/Sharpness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

namespace {

using kiv::tween::BestSharpness;
using kiv::tween::kSharpest;

constexpr KivSize kSize{96, 80};

std::vector<uint8_t> Paint(double shift, double noise, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> pixels;
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      const double grain = noise * (static_cast<double>(random() % 201) / 100 - 1);
      const double code = 128 + 40 * std::sin((x - shift) / 1.5) * std::cos(y / 7.0) + grain;
      const auto grey = static_cast<uint8_t>(std::lround(code));
      pixels.insert(pixels.end(), {grey, grey, grey, 255});
    }
  }
  return pixels;
}

TEST(Sharpness, TextureAsksForItNoiseAndFlatnessDoNot) {
  const struct {
    const char* name;
    double shift, noise;
    float least, most;
  } kCases[] = {{"texture between pixels", 2.5, 0, 0.5F, kSharpest},
                {"texture on pixels", 2, 0, 0, 0},
                {"grain over texture", 2.5, 60, 0, 0.3F}};
  for (const auto& c : kCases) {
    const auto older = Paint(0, c.noise, 1), newer = Paint(c.shift, c.noise, 2);
    kiv::tween::NodeGrid<kiv::tween::TweenNode> field;
    field.Resize(kSize);
    field.Fill({{static_cast<float>(c.shift), 0}, 0.5F, 1});
    float first = -1;
    for (int threads : {1, 3}) {
      kiv::tween::RowPool pool(threads);
      const float found = BestSharpness({older.data(), newer.data(), kSize}, field, 1, 0.5F, pool);
      EXPECT_LE(c.least, found) << c.name;
      EXPECT_GE(c.most, found) << c.name;
      EXPECT_EQ(threads > 1 ? first : found, found) << c.name;
      first = found;
    }
  }
}

}  // namespace
