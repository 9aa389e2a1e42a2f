// Backwards from the command line, read back from the numbers in the pictures.
#include <gtest/gtest.h>

#include "test/cli/RunProgram.h"
#include "test/support/NumberedClip.h"
#include "test/write/WriterReadBack.h"

namespace {

using Numbers = std::vector<int>;

// `count` numbers down from `first`.
Numbers Down(int first, int count) {
  Numbers numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(first - i);
  return numbers;
}

struct Reverse : testing::Test {
  void Use(const kivtest::ClipRecipe& recipe) { clip = kivtest::MakeClip(recipe); }
  ProgramResult Run(const std::string& line) {
    const ProgramResult result = RunKivclip(folder, line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result;
  }
  Numbers NumbersWith(const std::string& options) {
    const std::string raw = Run("render " + clip + " -o - --format bgra " + options).out;
    constexpr size_t kFrame = 192 * 112 * 4;
    Numbers numbers;
    for (size_t at = 0; at + kFrame <= raw.size(); at += kFrame) {
      const auto* pixels = reinterpret_cast<const uint8_t*>(raw.data() + at);
      numbers.push_back(kivtest::ReadNumber(pixels, 192, 112));
    }
    return numbers;
  }

  const TestFolder folder;
  std::string clip;
};

TEST_F(Reverse, ShowsTheFramesAskedForLastOnesFirst) {
  const struct {
    const char* options;
    Numbers numbers;
  } cases[] = {{"--reverse", Down(59, 60)},
               {"--reverse --frames 50:", Down(9, 10)},
               {"--reverse --reverse-range 10:40", Down(40, 31)},
               {"--reverse --reverse-range 10:40 --frames 30:30", Down(10, 1)},
               {"--reverse --reverse-range 50:", Down(59, 10)},
               {"--reverse --reverse-range 7:7", Down(7, 1)},
               {"--reverse --chain source,reverse", Down(59, 60)},
               {"--chain source,cache,reverse --frames 0:1", {0, 1}}};
  Use({.gop = 60, .bFrames = 2});
  for (const auto& c : cases) EXPECT_EQ(c.numbers, NumbersWith(c.options)) << c.options;
}

TEST_F(Reverse, ClipsOfEveryRateAndGroupComeOutFrameByFrame) {
  const kivtest::ClipRecipe recipes[] = {{.rate = {30000, 1001}, .gop = 12, .openGop = true},
                                         {.gop = 1},
                                         {.rate = {60, 1}, .gop = 250, .bFrames = 3},
                                         {.times = {0, 40, 50, 130, 140, 300}}};
  for (const auto& recipe : recipes) {
    Use(recipe);
    EXPECT_EQ(Down(59, 60), NumbersWith("--reverse")) << recipe.gop;
  }
}

// Frames 0 to 6 are 20 ms apart, the others 60: 40 ms on average. What stands beside a frame rate is
// when the result's frames are due, less half a frame: the first frame from then on is shown.
TEST_F(Reverse, AVariableRateIsCountedByTheTimesOfTheFrames) {
  Use({.frames = 12, .times = {0, 20, 40, 60, 80, 100, 120, 180}});
  const struct {
    const char* options;
    Numbers numbers;
  } cases[] = {// -20, 20, 60, 100 ... 420 ms
               {"--fps 25", {0, 1, 3, 5, 7, 7, 8, 9, 9, 10, 11, 11}},
               {"--fps 25 --reverse", {11, 11, 10, 9, 9, 8, 7, 7, 5, 3, 1, 0}},
               {"--fps 25 --reverse --reverse-range 8:10", {10, 9, 9, 8}},
               {"--fps 25 --reverse --reverse-range 1:5", {5, 3, 1}},
               {"--fps 25 --reverse --reverse-range 1:5 --frames 0:0", {5}},
               {"--fps 25 --reverse --reverse-range 8:10 --speed 2", {10, 9}},
               {"--fps 25 --reverse --reverse-range 8:10 --speed 1/2", {10, 9, 9, 9, 9, 8, 8, 8}},
               // -41.7, 41.7, 125, 208.3, 291.7 ms, and 480 ms of the clip are not six frames
               {"--fps 12 --reverse", {9, 8, 7, 3, 0}},
               {"--fps 12 --reverse --reverse-range 3:8", {8, 7, 3}},
               {"--fps 12 --reverse --speed 2", {9, 7}}};
  for (const auto& c : cases) {
    const std::string options = std::string(c.options) + " --interpolation off";
    EXPECT_EQ(c.numbers, NumbersWith(options)) << options;
  }
}

// At half the rate frame 3 would be due, less half a frame, at 83.41667 ms, when frame 5 starts. In
// whole 100 ns it is due one later, so that frame 6 is shown for it.
TEST_F(Reverse, BothEndsOfARangeAreCountedAsTheNodesCountThem) {
  Use({.rate = {60000, 1001}, .frames = 20});
  const std::string half = "--interpolation off --fps 30000/1001 ";
  EXPECT_EQ((Numbers{0, 1, 3, 6}), NumbersWith(half + "--frames 0:3"));
  EXPECT_EQ((Numbers{3, 1, 0}), NumbersWith(half + "--reverse --reverse-range 0:5"));
  EXPECT_EQ((Numbers{3, 1}), NumbersWith(half + "--reverse --reverse-range 0:5 --speed 3/2"));
}

TEST_F(Reverse, SettingsKeepItAndAnOptionReplacesIt) {
  Use({});
  const std::string settings = " --settings @s.json ";
  NumbersWith("--reverse --reverse-range 10:14 --save-settings @s.json");
  EXPECT_EQ(Down(14, 5), NumbersWith(settings + "--save-settings @s.json"));
  EXPECT_EQ(Down(14, 5), NumbersWith(settings));
  EXPECT_EQ(Down(3, 2), NumbersWith(settings + "--reverse --reverse-range 2:3"));
  EXPECT_EQ(Down(59, 60), NumbersWith(settings + "--reverse"));
  Run("render " + clip + " -o @x.mp4" + settings);
  EXPECT_EQ(0, ReadVideo(folder.Path("x.mp4")).times.front());
  Use({.frames = 12});
  const ProgramResult result = RunKivclip(folder, "render " + clip + " -o null" + settings);
  EXPECT_EQ(1, result.status);
  EXPECT_NE(std::string::npos, result.err.find("frames 10 to 14")) << result.err;
}

TEST_F(Reverse, OneFrameAndASheetShowTheMirroredOne) {
  Use({});
  Run("frame " + clip + " --at 58 -o @1.png --reverse");
  Run("sheet " + clip + " --frames 58:58 -o @2.png --reverse");  // one tile with a narrow border
  for (const char* name : {"1.png", "2.png"}) {
    const ReadBack back = ReadVideo(folder.Path(name));
    EXPECT_EQ(1, kivtest::ReadNumber(back.pixels[0].data(), back.size.width, back.size.height));
  }
}

}  // namespace
