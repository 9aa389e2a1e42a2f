// What a sequence of reads says about the next ones.
#include "engine/media/keep/ReadPattern.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<int64_t> Range(int64_t from, int64_t to) {
  std::vector<int64_t> frames;
  const int64_t step = from <= to ? 1 : -1;
  for (int64_t frame = from; frame != to + step; frame += step) frames.push_back(frame);
  return frames;
}

std::vector<int64_t> Join(std::initializer_list<std::vector<int64_t>> parts) {
  std::vector<int64_t> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

struct PatternCase {
  const char* name;
  bool expected;
  std::vector<int64_t> reads;
  bool backward, asksForFill, scrubbing;
  int64_t top;
};

const PatternCase kCases[] = {
    {"first read", false, {100}, false, false, false, 100},
    {"first read, going backwards", true, {100}, true, true, false, 100},
    {"then onwards", true, {100, 101, 102}, true, false, false, 102},
    {"forwards", false, Range(0, 50), false, false, false, 50},
    {"one step back out of that", false, Join({Range(0, 50), {49}}), true, true, false, 49},
    {"steps back", false, {100, 99, 98}, true, true, false, 98},
    {"spans, at the start of one", false, Join({Range(80, 99), Range(73, 79), {66}}), true, true,
     false, 72},
    {"spans, at the end of one", false, Join({Range(80, 99), Range(73, 79), Range(66, 72)}), true,
     true, false, 72},
    {"spans, then beyond", false, Join({Range(80, 99), Range(73, 79), Range(66, 80)}), false, false,
     true, 80},
    {"jump", true, {100, 99, 98, 400}, false, false, false, 400},
    {"jump back", false, {400, 100}, false, false, false, 100},
    {"to and fro", false, {100, 99, 98, 99, 100, 101}, false, false, true, 101},
    {"to and fro, then on down", false, Join({{100, 99, 98, 99, 100, 101}, Range(100, 20)}), true,
     true, false, 20},
};

TEST(ReadPattern, Table) {
  for (const PatternCase& row : kCases) {
    SCOPED_TRACE(row.name);
    kiv::ReadPattern pattern;
    pattern.Expect(row.expected);
    for (const int64_t frame : row.reads) pattern.Note(frame);
    EXPECT_EQ(row.backward, pattern.IsBackward());
    EXPECT_EQ(row.asksForFill, pattern.AsksForFill());
    EXPECT_EQ(row.scrubbing, pattern.IsScrubbing());
    EXPECT_EQ(row.top, pattern.Top());
  }
}

}  // namespace
