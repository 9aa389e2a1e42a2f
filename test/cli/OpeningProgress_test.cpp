#include "cli/OpeningProgress.h"

#include <gtest/gtest.h>

namespace {

using cli::OpeningProgress;
using kiv::session::Stage;
using std::chrono::hours;
using std::chrono::milliseconds;

std::string ToldAfter(milliseconds patience) {
  testing::internal::CaptureStderr();
  OpeningProgress opening("a.ts", patience);
  for (const int64_t bytes : {400'000'000, 900'000'000, 1'300'000'000}) {
    EXPECT_TRUE(opening.Hear({Stage::kOpening, bytes, 1'300'000'000}));
  }
  EXPECT_TRUE(opening.Hear({Stage::kOpening, 5, 0})) << "of a size that is not known";
  return testing::internal::GetCapturedStderr();
}

TEST(OpeningProgress, TellsOnceWhenOpeningTakesLong) {
  EXPECT_EQ("kivclip: counting the frames of 'a.ts', 1300 MB are read for it\n",
            ToldAfter(milliseconds(0)));
  EXPECT_EQ("", ToldAfter(hours(1)));
}

}  // namespace
