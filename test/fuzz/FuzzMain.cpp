// The fuzzer's entry: one program for each feed, named by KIV_FEED.
#include <cstdlib>

#include "engine/logger/Logger.h"
#include "test/fuzz/Feeds.h"

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const uint8_t* data,
                                                                             size_t size);
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Refused documents are logged otherwise, and nearly all are refused.
  static const bool kQuiet = (kiv::SetLogLevel(kiv::kLogNothing), true);
  static_cast<void>(kQuiet);
  if (!fuzz::KIV_FEED(data, size)) std::abort();
  return 0;
}
