// An endless picture that can be looked at from anywhere, so that motion is known exactly.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "kiv/platform/Stabilizer.h"

namespace test {

struct View {
  double x = 0, y = 0, degrees = 0;
};

class Scene {
 public:
  explicit Scene(uint32_t seed) : seed_(seed) {}

  // 40 to 215, with detail of about 5, 14 and 60 pixels.
  double At(double x, double y) const {
    return 40 + 60 * Noise(x / 60, y / 60, 3) + 60 * Noise(x / 14, y / 14, 1) +
           55 * Noise(x / 5, y / 5, 2);
  }

 private:
  double Lattice(int64_t x, int64_t y, uint32_t layer) const {
    auto h = static_cast<uint32_t>(x * 374761393 + y * 668265263) + seed_ * 2246822519U + layer;
    h = (h ^ (h >> 15)) * 2654435761U;
    h = (h ^ (h >> 13)) * 3266489917U;
    return static_cast<double>((h ^ (h >> 16)) & 0xFFFF) / 65535;
  }
  double Noise(double x, double y, uint32_t layer) const {
    const double wholeX = std::floor(x), wholeY = std::floor(y);
    const auto smooth = [](double t) { return t * t * t * (t * (t * 6 - 15) + 10); };
    const double u = smooth(x - wholeX), v = smooth(y - wholeY);
    const auto i = static_cast<int64_t>(wholeX), j = static_cast<int64_t>(wholeY);
    const double upper = std::lerp(Lattice(i, j, layer), Lattice(i + 1, j, layer), u);
    const double lower = std::lerp(Lattice(i, j + 1, layer), Lattice(i + 1, j + 1, layer), u);
    return std::lerp(upper, lower, v);
  }

  uint32_t seed_;
};

// Grey BGRA: the scene's content, turned by `view` about the middle of the frame and then shifted.
inline std::vector<uint8_t> Render(const Scene& scene, const KivSize& size, const View& view) {
  std::vector<uint8_t> out;
  const double a = view.degrees * std::numbers::pi / 180, c = std::cos(a), s = std::sin(a);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const double px = x - (size.width - 1) / 2.0 - view.x,
                   py = y - (size.height - 1) / 2.0 - view.y;
      const auto code =
          static_cast<uint8_t>(std::lround(scene.At(c * px + s * py, c * py - s * px)));
      out.insert(out.end(), {code, code, code, 255});
    }
  }
  return out;
}

}  // namespace test
