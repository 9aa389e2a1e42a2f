#include "test/support/FakeAlgorithm.h"

extern "C" KIV_EXPORT CVAlgorithm* KivCreateCVAlgorithm(int32_t name) {
  static test::AlgorithmRecord record;
  return name == kFrameInterpolationAlgorithm ? new test::FakeAlgorithm(&record) : nullptr;
}
