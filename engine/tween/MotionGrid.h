// Motion as a grid of vectors, one for each square of kNodeStep pixels of a brightness plane.
//
// Units:    pixels of that plane.
// Threads:  NodeGrid: any reads; one writes a node at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kiv/values/Saturate.h"
#include "kiv/values/ValueTypes.h"

namespace kiv::tween {

constexpr int kNodeStep = 4;

struct Motion {
  float x = 0, y = 0;
};
inline Motion operator+(const Motion& a, const Motion& b) { return {a.x + b.x, a.y + b.y}; }
inline Motion operator-(const Motion& a, const Motion& b) { return {a.x - b.x, a.y - b.y}; }
inline Motion operator*(const Motion& a, float by) { return {a.x * by, a.y * by}; }
inline float SquareOf(const Motion& a) { return a.x * a.x + a.y * a.y; }

inline int FloorOf(float value) {
  const int towardsZero = SaturateToInt32(static_cast<double>(value));
  return towardsZero - (static_cast<float>(towardsZero) > value ? 1 : 0);
}

// Across or down, the middle of a node's square, and the node of a place.
inline float CentreOf(int node) { return static_cast<float>(node * kNodeStep) + kNodeStep / 2.0F; }
inline int NodeAt(float position) { return FloorOf(position / kNodeStep); }

template <typename Node>
class NodeGrid {
 public:
  // For a plane of this size. The content is unspecified unless it had this size before.
  void Resize(const KivSize& plane) {
    width_ = std::max((plane.width + kNodeStep - 1) / kNodeStep, 1);
    height_ = std::max((plane.height + kNodeStep - 1) / kNodeStep, 1);
    nodes_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_));
  }
  void Fill(const Node& value) { std::fill(nodes_.begin(), nodes_.end(), value); }

  int Width() const { return width_; }
  int Height() const { return height_; }
  Node& At(int x, int y) { return nodes_[Index(x, y)]; }
  const Node& At(int x, int y) const { return nodes_[Index(x, y)]; }
  // The nearest node inside.
  const Node& Near(int x, int y) const {
    return At(std::clamp(x, 0, width_ - 1), std::clamp(y, 0, height_ - 1));
  }

 private:
  size_t Index(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
  }
  int width_ = 0, height_ = 0;
  std::vector<Node> nodes_;
};

// Where a node's window of one picture is found in another.
struct FlowNode {
  Motion motion;
  float match = 0;  // as error, but changed brightness is free
  float cost = 0;   // what the search compares: the match, and what disagreement with others adds
  float error = 0;  // sum of squared differences in sixteenths of a code
};
using FlowGrid = NodeGrid<FlowNode>;

}  // namespace kiv::tween
