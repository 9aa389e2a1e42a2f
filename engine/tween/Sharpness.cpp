#include "engine/tween/Sharpness.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "kiv/values/Saturate.h"

namespace kiv::tween {
namespace {

constexpr ptrdiff_t kBytes = 4;
constexpr int kGreen = 1;
constexpr int kEachNode = 3;      // one of so many on each side is asked
constexpr int kPlaces = 4;        // around a node
constexpr float kMissed = 30;     // a difference of so many codes is no matter of sharpness
constexpr double kLeastBend = 1;  // of all places; below it nothing can be told

// The products of what the soft filter misses and what the sharp one adds.
struct Products {
  double both = 0, added = 0;
};

struct View {
  const uint8_t* pixels;
  KivSize size;

  bool Holds(int x, int y) const { return x >= 0 && y >= 0 && x < size.width && y < size.height; }
  float Green(int x, int y) const {
    const ptrdiff_t column = std::clamp(x, 0, size.width - 1);
    const ptrdiff_t row = std::clamp(y, 0, size.height - 1);
    return pixels[(row * size.width + column) * kBytes + kGreen];
  }
};

float Line(float a, float b, float at) { return a + (b - a) * at; }

// How far four pixels' curve lies from the line between the middle ones, with sharpness 1.
float Bend(float a, float b, float c, float d, float at) {
  return -at * (1 - at) * Line(a - 2 * b + c, b - 2 * c + d, at);
}

// `soft` and what sharpness 1 adds to it, at a place between pixels.
struct Sampled {
  float soft, added;
};
Sampled Sample(const View& view, float x, float y) {
  const float column = std::floor(x), row = std::floor(y);
  const int left = SaturateToInt32(column), top = SaturateToInt32(row);
  float soft[4], curved[4];
  for (int k = 0; k < 4; ++k) {
    const auto at = [&](int i) { return view.Green(left + i - 1, top + k - 1); };
    soft[k] = Line(at(1), at(2), x - column);
    curved[k] = soft[k] + Bend(at(0), at(1), at(2), at(3), x - column);
  }
  const float plain = Line(soft[1], soft[2], y - row);
  const float sharp = Line(curved[1], curved[2], y - row) +
                      Bend(curved[0], curved[1], curved[2], curved[3], y - row);
  return {plain, sharp - plain};
}

// Predicts `to` at (x, y) and nearby from `from`, where it lies `back` further.
void Judge(const View& from, const View& to, float x, float y, const Motion& back,
           Products* products) {
  for (int k = 0; k < kPlaces; ++k) {
    const int atX = SaturateToInt32(std::floor(x)) + k % 2 * 2;
    const int atY = SaturateToInt32(std::floor(y)) + k / 2 * 2;
    if (!to.Holds(atX, atY)) continue;
    const Sampled made =
        Sample(from, static_cast<float>(atX) + back.x, static_cast<float>(atY) + back.y);
    const float missed = to.Green(atX, atY) - made.soft;
    if (std::abs(missed) > kMissed) continue;
    products->both += static_cast<double>(made.added) * static_cast<double>(missed);
    products->added += static_cast<double>(made.added) * static_cast<double>(made.added);
  }
}

}  // namespace

float BestSharpness(const KeyPictures& keys, const NodeGrid<TweenNode>& field, int factor,
                    float when, RowPool& pool) {
  const View older{keys.older, keys.size}, newer{keys.newer, keys.size};
  const float side = static_cast<float>(factor * kNodeStep);
  const int rows = (field.Height() + kEachNode - 1) / kEachNode;
  // Added up in one order, whichever thread made which.
  std::vector<Products> found(static_cast<size_t>(rows));
  pool.Run(rows, [&](int row) {
    const int j = row * kEachNode;
    Products sum;
    for (int i = row % kEachNode; i < field.Width(); i += kEachNode) {
      const Motion v = field.At(i, j).motion * static_cast<float>(factor);
      const float x = (static_cast<float>(i) + 0.5F) * side;
      const float y = (static_cast<float>(j) + 0.5F) * side;
      Judge(older, newer, x + (1 - when) * v.x, y + (1 - when) * v.y, v * -1, &sum);
      Judge(newer, older, x - when * v.x, y - when * v.y, v, &sum);
    }
    found[static_cast<size_t>(row)] = sum;
  });
  Products all;
  for (const Products& part : found) {
    all.both += part.both;
    all.added += part.added;
  }
  if (all.added < kLeastBend) return 0;
  return std::clamp(static_cast<float>(all.both / all.added), 0.0F, kSharpest);
}

}  // namespace kiv::tween
