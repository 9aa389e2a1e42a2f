// A keyframe document: numbers or regions at frames, and the values between.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "session/Api.h"

namespace kiv::session {

// One number in the first place, or the left, top, width and height of a region.
using KeyframeValue = std::array<double, 4>;

struct Keyframe {
  int32_t frame = 0;
  KeyframeValue value{};
};

// Owns:     the keyframes, not the file.
// Threads:  one caller at a time.
// Errors:   SessionError naming the file and what is wrong with it.
class KIV_SESSION_API KeyframeDocument {
 public:
  static KeyframeDocument Open(const std::string& path);
  KeyframeDocument(KeyframeDocument&&) noexcept;
  KeyframeDocument& operator=(KeyframeDocument&&) noexcept;
  ~KeyframeDocument();

  bool HoldsRegions() const;
  // In the order of their frames; at least one.
  std::vector<Keyframe> Keyframes() const;
  KeyframeValue ValueAt(int32_t frame) const;

 private:
  struct Impl;
  explicit KeyframeDocument(std::unique_ptr<Impl> impl);

  std::unique_ptr<Impl> impl_;
};

}  // namespace kiv::session
