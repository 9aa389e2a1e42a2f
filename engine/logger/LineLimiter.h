// Keeps a talkative library from flooding the log: damaged media can make it repeat one complaint
// for every block of every picture.
//
// Units:    milliseconds of any steady clock.
// Threads:  one caller at a time.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "kiv/values/Export.h"

namespace kiv {

class KIV_ENGINE_API LineLimiter {
 public:
  static constexpr int64_t kWindow = 10000;
  static constexpr int kSimilarPerWindow = 3;
  static constexpr int kLinesPerWindow = 30;

  struct Verdict {
    bool write = false;
    // Lines left out during the window that has just ended, to be told before this one.
    int64_t leftOut = 0;
  };

  // Lines that differ in digits only count as the same complaint.
  Verdict Judge(std::string_view line, int64_t now);

 private:
  std::unordered_map<uint64_t, int> similar_;  // at most kLinesPerWindow entries
  int64_t windowEnd_ = INT64_MIN;
  int64_t leftOut_ = 0;
  int written_ = 0;
};

}  // namespace kiv
