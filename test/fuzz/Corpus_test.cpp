// What the fuzzers have found worth keeping, fed again in every run of the tests.

#include <gtest/gtest.h>

#include <filesystem>

#include "test/fuzz/Feeds.h"
#include "test/support/Ledger.h"
#include "test/support/TestFolder.h"

namespace {

struct CorpusCase {
  const char* folder;
  bool (*feed)(const uint8_t*, size_t);
};

TEST(FuzzCorpus, EveryFileKeepsEveryPromise) {
  for (const CorpusCase& c :
       {CorpusCase{"keyframes", fuzz::FeedKeyFrameJson}, {"values", fuzz::FeedValue}}) {
    int files = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(KIV_CORPUS + ("/" + std::string(c.folder)))) {
      const std::string bytes = ReadBytes(entry.path().string());
      EXPECT_TRUE(c.feed(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()))
          << entry.path();
      ++files;
    }
    EXPECT_GE(files, 20) << c.folder;
  }
}

}  // namespace
