// Linked into tests of vectorized code: KIV_TEST_INSTRUCTIONS (scalar, sse or avx2) keeps them from
// using a better instruction set than that, as a lesser processor would.
#include <hwy/targets.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Better sets have lower bits.
int64_t WithoutBetterThan(const std::string& name) {
  if (name == "scalar") return HWY_SCALAR;
  if (name == "sse") return ~(HWY_SSSE3 - 1);
  return ~(HWY_AVX2 - 1);
}

const bool kChosen = [] {
  const char* const name = std::getenv("KIV_TEST_INSTRUCTIONS");
  if (!name) return false;
  hwy::SetSupportedTargetsForTest(hwy::SupportedTargets() & WithoutBetterThan(name));
  hwy::GetChosenTarget().DeInit();
  return true;
}();

}  // namespace
