// What the one reader of text files takes, and what it refuses.
#include "engine/base/TextFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <tuple>

namespace {

using kiv::FileResult;
using kiv::FileSource;

struct Read {
  FileResult result;
  std::string text = "untouched";
};
Read ReadBack(const std::string& path, FileSource source, size_t limit = 100) {
  Read read{};
  read.result = kiv::ReadTextFile(path, limit, &read.text, source);
  return read;
}

// As a shell hands over what another program writes.
std::string PipeHolding(const std::string& text, int* end) {
  int ends[2] = {};
  EXPECT_EQ(0, pipe(ends));
  EXPECT_EQ(static_cast<ssize_t>(text.size()), write(ends[1], text.data(), text.size()));
  close(ends[1]);
  *end = ends[0];
  return "/dev/fd/" + std::to_string(ends[0]);
}

TEST(ReadTextFile, TakesAPipeOnlyWhenAskedTo) {
  for (const auto& [limit, result, text] : {std::tuple{size_t{9}, FileResult::kDone, "from afar"},
                                            {size_t{8}, FileResult::kTooLarge, "untouched"}}) {
    int end = -1;
    const std::string path = PipeHolding("from afar", &end);
    EXPECT_EQ(FileResult::kNotAFile, ReadBack(path, FileSource::kRegular).result);
    const Read read = ReadBack(path, FileSource::kAny, limit);
    EXPECT_EQ(result, read.result);
    EXPECT_EQ(text, read.text);
    close(end);
  }
}

TEST(ReadTextFile, NeverTakesAFolderOrWhatIsNotThere) {
  for (const FileSource source : {FileSource::kRegular, FileSource::kAny}) {
    EXPECT_EQ(FileResult::kNotAFile, ReadBack("/", source).result);
    EXPECT_EQ(FileResult::kMissing, ReadBack("/no/such/file", source).result);
    EXPECT_EQ("untouched", ReadBack("/", source).text);
  }
  EXPECT_EQ(FileResult::kDone, ReadBack("/dev/null", FileSource::kAny).result);
  EXPECT_EQ(FileResult::kNotAFile, ReadBack("/dev/null", FileSource::kRegular).result);
}

}  // namespace
