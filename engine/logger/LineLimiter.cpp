#include "engine/logger/LineLimiter.h"

#include <utility>

namespace kiv {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// FNV-1a, over everything but the digits.
uint64_t Fingerprint(std::string_view line) {
  constexpr uint64_t kOffset = 0xCBF29CE484222325, kPrime = 0x100000001B3;
  uint64_t hash = kOffset;
  for (const char c : line) {
    if (!IsDigit(c)) hash = (hash ^ static_cast<uint8_t>(c)) * kPrime;
  }
  return hash;
}

}  // namespace

LineLimiter::Verdict LineLimiter::Judge(std::string_view line, int64_t now) {
  Verdict verdict;
  if (now >= windowEnd_) {
    windowEnd_ = now + kWindow;
    verdict.leftOut = std::exchange(leftOut_, 0);
    written_ = 0;
    similar_.clear();
  }
  verdict.write = written_ < kLinesPerWindow && similar_[Fingerprint(line)]++ < kSimilarPerWindow;
  if (verdict.write) {
    ++written_;
  } else {
    ++leftOut_;
  }
  return verdict;
}

}  // namespace kiv
