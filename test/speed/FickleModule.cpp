// An interpolation whose pictures depend on how often it was asked.

#include "test/support/FakeAlgorithm.h"

namespace {

class FickleAlgorithm : public test::FakeAlgorithm {
 public:
  using FakeAlgorithm::FakeAlgorithm;
  int32_t Read(void* pixels, int32_t width, int32_t height, int32_t bytesPerPixel, int32_t index,
               int32_t reserved1, int32_t reserved2) override {
    const int32_t result =
        FakeAlgorithm::Read(pixels, width, height, bytesPerPixel, index, reserved1, reserved2);
    if (result == 0 && index == 1) *static_cast<uint8_t*>(pixels) ^= ++asked_;
    return result;
  }

 private:
  uint8_t asked_ = 0;
};

}  // namespace

extern "C" KIV_EXPORT CVAlgorithm* KivCreateCVAlgorithm(int32_t name) {
  static test::AlgorithmRecord record;
  return name == kFrameInterpolationAlgorithm ? new FickleAlgorithm(&record) : nullptr;
}
