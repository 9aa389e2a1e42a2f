// --speed, --fps and --interpolation on real files: which source frames come out, read back from the
// pictures.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <sstream>

#include "draw/Label.h"
#include "test/cli/RunProgram.h"
#include "test/write/WriterReadBack.h"

namespace {

using Numbers = std::vector<int>;

class Speed : public testing::Test {
 protected:
  void SetUp() override { WriteGreyClip(folder_.Path("clip.mkv")); }
  void TearDown() override { unsetenv("KIV_MODULE_FOLDER"); }
  ProgramResult Run(const std::string& line) const {
    const ProgramResult result = RunKivclip(folder_, line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result;
  }
  // Tenths of grey levels above the first frame's: the source frame that a result frame shows, or a
  // mixture of two when it is no multiple of 10.
  Numbers Levels(const std::string& options) const {
    const std::string raw = Run("render @clip.mkv -o - --format bgra " + options).out;
    Numbers levels;
    for (size_t at = 0; at < raw.size(); at += 64 * 48 * 4) {
      levels.push_back(static_cast<uint8_t>(raw[at]) - GreyOf(0));
    }
    return levels;
  }
  Numbers Shown(const std::string& options) const {
    Numbers numbers = Levels(options);
    for (int& number : numbers) number = number % 10 == 0 ? number / 10 : -1;
    return numbers;
  }
  // Whether the four tiles of a sheet have these labels below them: two columns of tiles
  // of 480x360 over 22 lines, 4 pixels apart.
  void ExpectLabels(const std::vector<std::string>& labels) const {
    const ReadBack sheet = ReadVideo(folder_.Path("sheet.png"));
    const KivSize size{2 * 484 + 4, 2 * 386 + 4};
    ASSERT_EQ(size, sheet.size);
    std::vector<uint8_t> drawn(static_cast<size_t>(size.width * size.height * 4));
    for (int i = 0; i < 4; ++i) {
      kiv::draw::DrawLabel(labels[static_cast<size_t>(i)], {4 + i % 2 * 484, 368 + i / 2 * 386}, 2,
                           drawn.data(), {size.width, size.height});
    }
    for (int i = 0; i < 4; ++i) {
      bool same = true;
      for (int y = 364 + i / 2 * 386; y < 386 + i / 2 * 386; ++y) {
        for (int x = i % 2 * 484; x < i % 2 * 484 + 484; ++x) {
          const auto at = static_cast<size_t>((y * size.width + x) * 4);
          same = same && (drawn[at] > 128) == (sheet.pixels[0][at] > 128);
        }
      }
      EXPECT_TRUE(same) << labels[static_cast<size_t>(i)];
    }
  }

  const TestFolder folder_;
};

// The clip has the frames 0 to 19 at 25 a second.
const struct {
  const char* options;
  KivRational rate;
  Numbers shown;
} kCases[] = {
    {"--speed 3", {25, 1}, {0, 3, 6, 9, 12, 15}},
    {"--speed 1.5 --frames 3:8", {25, 1}, {4, 6, 7, 9, 10, 12}},
    {"--speed 0.4 --frames 40:49", {25, 1}, {16, 17, 17, 18, 18, 18, 19, 19, 19, 19}},
    {"--fps 60 --frames 0:11", {60, 1}, {0, 1, 1, 2, 2, 2, 3, 3, 4, 4, 4, 5}},
    {"--fps 30000/1001 --frames 3:9", {30000, 1001}, {3, 3, 4, 5, 6, 7, 8}},
    {"--fps 60 --speed 1/2 --frames 0:11", {60, 1}, {0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 3}},
    {"--reverse --speed 1/2 --frames 0:7", {25, 1}, {19, 18, 18, 17, 17, 16, 16, 15}},
    {"--reverse --reverse-range 3:8 --speed 3/2", {25, 1}, {8, 7, 5, 4}},
    {"--reverse --reverse-range 3:8 --fps 50", {50, 1}, {8, 8, 7, 7, 6, 6, 5, 5, 4, 4, 3, 3}},
    {"--reverse --reverse-range 3:8 --fps 12", {12, 1}, {8, 6, 4}},
    {"--reverse --fps 12", {12, 1}, {16, 14, 12, 10, 8, 6, 4, 2, 0}},
    {"--reverse --reverse-range 3:12 --fps 12 --speed 2", {12, 1}, {12, 8}},
    {"--reverse --reverse-range 3:12 --fps 12 --speed 3/2", {12, 1}, {12, 10, 6}},
    {"--reverse --reverse-range 3:12 --fps 12 --speed 1/2",
     {12, 1},
     {12, 10, 10, 8, 8, 6, 6, 4, 4, 4}},
    {"--reverse --fps 60 --speed 4", {60, 1}, {19, 18, 17, 15, 13, 12, 10, 8, 7, 5, 3, 2}}};

TEST_F(Speed, ShowsTheSourceFramesOfEachResultFrame) {
  for (const auto& c : kCases) {
    const std::string options = std::string(c.options) + " --interpolation off";
    EXPECT_EQ(c.shown, Shown(options)) << options;
    Run("render @clip.mkv -o @x.y4m " + options);
    EXPECT_EQ(c.rate, ReadVideo(folder_.Path("x.y4m")).rate) << options;
  }
}

// 3 is the first frame of its shot: nothing between it and frame 2 may be seen.
TEST_F(Speed, SlowMotionOfARangePlayedBackwardsHoldsItsFirstFrame) {
  setenv("KIV_MODULE_FOLDER", KIV_TEST_MODULES, 1);
  const struct {
    const char *options, *frames;
    Numbers generated, repeated;  // tenths of frames
  } cases[] = {{"--speed 1/4", " --frames 20:", {32, 30, 30, 30}, {30, 30, 30, 30}},
               {"--speed 1/10",
                " --frames 50:",
                {31, 30, 30, 30, 30, 30, 30, 30, 30, 30},
                {30, 30, 30, 30, 30, 30, 30, 30, 30, 30}},
               // Frame 3 is never shown by itself here.
               {"--speed 2/3", " --frames 6:", {45, 35, 30}, {40, 30, 30}},
               {"--speed 1/4 --fps 50",
                " --frames 42:",
                {30, 30, 30, 30, 30, 30},
                {30, 30, 30, 30, 30, 30}}};
  for (const auto& c : cases) {
    const std::string options = std::string("--reverse --reverse-range 3:8 ") + c.options;
    EXPECT_EQ(c.generated, Levels(options + c.frames)) << options;
    EXPECT_EQ(c.repeated, Levels(options + c.frames + " --interpolation off")) << options;
    EXPECT_EQ(0, RunKivclip(folder_, "verify @clip.mkv " + options).status) << options;
  }
  EXPECT_EQ((Numbers{70, 70, 70}), Levels("--reverse --reverse-range 7:7 --speed 1/3"));
}

TEST_F(Speed, WhatIsLeftBehindTheLastWholeFrameCountsWhenItIsSlowedDown) {
  // 0.8 s at 12 a second.
  EXPECT_EQ(9u, Shown("--fps 12").size());
  EXPECT_EQ(19u, Shown("--fps 12 --speed 1/2").size());
  EXPECT_EQ(19u, Shown("--fps 12 --speed 1/2 --reverse").size());
  WriteGreyClip(folder_.Path("clip.mkv"), {{64, 48}, {60, 1}}, 1);
  EXPECT_EQ(Numbers{0}, Shown("--fps 30 --speed 1/3"));
  EXPECT_EQ(Numbers{0}, Shown("--fps 30 --speed 1/3 --reverse"));
}

// Also with a module: what comes out then was read from key frames that a seek alone would not give.
TEST_F(Speed, AFrameAloneIsTheOneThatARenderPutsThere) {
  setenv("KIV_MODULE_FOLDER", KIV_TEST_MODULES, 1);
  for (const char* options :
       {"--speed 1/2", "--speed 2/5", "--speed 1/4 --fps 60", "--speed 1/2 --interpolation off",
        "--fps 12", "--reverse --speed 2/5", "--reverse --reverse-range 3:12 --fps 60",
        "--reverse --speed 3 --fps 24", "--speed 3/2 --fps 50"}) {
    const Numbers whole = Levels(options);
    const int last = static_cast<int>(whole.size()) - 1;
    for (const int at : {0, 1, 2, 5, last / 2, last / 2 + 1, last}) {
      const std::string number = std::to_string(at);
      Run("frame @clip.mkv -o @a.png --at " + number + " " + options);
      EXPECT_EQ(whole[static_cast<size_t>(at)],
                ReadVideo(folder_.Path("a.png")).pixels.at(0)[0] - GreyOf(0))
          << options << " frame " << at;
    }
  }
}

// The grey of a picture is the time of its frame of the clip; a generated one lies between two.
TEST_F(Speed, ASheetTellsTheClipsTimeOfEveryPicture) {
  setenv("KIV_MODULE_FOLDER", KIV_TEST_MODULES, 1);
  for (const char* options :
       {"--speed 1/2", "--speed 2/5", "--speed 3/4", "--fps 50", "--speed 1/4 --fps 60",
        "--reverse", "--reverse --fps 50", "--reverse --speed 1/2",
        "--reverse --speed 1/2 --interpolation off", "--reverse --speed 2/5 --fps 30",
        "--reverse --reverse-range 3:12 --speed 1/2", "--reverse --reverse-range 3:12 --fps 60",
        "--reverse --speed 3 --fps 60"}) {
    const Numbers whole = Levels(options);
    const int last = static_cast<int>(whole.size()) - 1;
    for (const int first : {0, last / 2, last - 3}) {
      SCOPED_TRACE(fmt::format("{} from {}", options, first));
      std::vector<std::string> labels;
      for (int i = first; i < first + 4; ++i) {
        // The module cuts levels off below a third or a quarter of a frame.
        const int twelfths = (whole[static_cast<size_t>(i)] * 12 + 9) / 10;
        labels.push_back(fmt::format("{} {:.3f}s", i, twelfths * 0.04 / 12));
      }
      Run(fmt::format("sheet @clip.mkv -o @sheet.png --frames {}:{} {}", first, first + 3,
                      options));
      ExpectLabels(labels);
    }
  }
}

TEST_F(Speed, AModuleGeneratesFramesAndWithoutOneItIsSaid) {
  const std::string line = "--speed 1/2 --frames 20:24 --report @r.json";
  const auto inBetweens = [&] {
    Json::Value report;
    std::istringstream(ReadBytes(folder_.Path("r.json"))) >> report;
    return report["in_between_frames"].asString();
  };
  EXPECT_EQ((Numbers{100, 110, 110, 120, 120}), Levels(line + " --interpolation off"));
  EXPECT_EQ("off", inBetweens());
  setenv("KIV_MODULE_FOLDER", KIV_TEST_MODULES, 1);
  EXPECT_EQ((Numbers{95, 100, 105, 110, 115}), Levels(line));
  EXPECT_EQ("flow", inBetweens());
  setenv("KIV_MODULE_FOLDER", folder_.Path("").c_str(), 1);
  EXPECT_EQ((Numbers{100, 110, 110, 120, 120}), Levels(line));
  EXPECT_EQ("no module", inBetweens());
  WriteBytes(folder_.Path("libkiv_tween.so"), "text");
  const ProgramResult result = Run("render @clip.mkv -o null " + line);
  EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  EXPECT_NE(std::string::npos, result.err.find("libkiv_tween.so' is no module")) << result.err;
  EXPECT_EQ("", Run("render @clip.mkv -o null --speed 0.8").err);
}

}  // namespace