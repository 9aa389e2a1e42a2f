// Registers fakes under the interpolation module's name and drives nodes by frame numbers.
#pragma once

#include <array>
#include <vector>

#include "engine/registry/AlgorithmModules.h"
#include "test/support/FakeAlgorithm.h"
#include "test/support/FakeNode.h"

namespace test {

using Frames = std::vector<int32_t>;

// While it lives, algorithms are FakeAlgorithms. One at a time.
class FakeTween {
 public:
  FakeTween() {
    current = &record;
    kiv::AlgorithmModules::Shared().SetEntry(kTweenModuleName, &Make);
  }
  ~FakeTween() {
    kiv::AlgorithmModules::Shared().Restore();
    EXPECT_EQ(0, record.alive) << "algorithms outlive their test";
  }

  AlgorithmRecord record;

 private:
  static inline AlgorithmRecord* current = nullptr;
  static CVAlgorithm* Make(int32_t name) {
    return name == 2 ? new FakeAlgorithm(current) : nullptr;
  }
};

// While it lives, there is no interpolation module, and nobody is told.
struct NoTween {
  NoTween() { kiv::AlgorithmModules::Shared().Withdraw(kTweenModuleName); }
  ~NoTween() { kiv::AlgorithmModules::Shared().Restore(); }
};

// What the node's frame shows after each of `count` steps of `step`.
inline Frames Play(IKivSourceBase& node, int count, int32_t step = 1) {
  Frames shown;
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(S_OK, node.Skip(step, nullptr));
    shown.push_back(NumberIn(node.GetCurrentFrame(nullptr)));
  }
  return shown;
}

}  // namespace test
