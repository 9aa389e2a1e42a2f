// verify, and settings files that repeat a render.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "test/cli/RunProgram.h"
#include "test/support/NumberedClip.h"
#include "test/support/Remux.h"
#include "test/write/WriterReadBack.h"

namespace {

class Verify : public testing::Test {
 protected:
  ~Verify() override { unsetenv("KIV_MODULE_FOLDER"); }
  const TestFolder folder_;
  const std::string clip_ = kivtest::MakeClip({.size = {320, 176}, .gop = 12, .bFrames = 2});
};

TEST_F(Verify, EveryWayToAFrameShowsTheSamePicture) {
  for (const char* options : {"", "--fps 60", "--reverse --reverse-range 5:40 --memory 2",
                              "--speed 2/5 --frames 10:50", "--speed 3 --fps 24 --reverse",
                              "--reverse --reverse-range 3:12 --fps 12 --speed 2 --frames 0:0",
                              "--reverse --reverse-range 3:12 --fps 12 --speed 3/5"}) {
    const ProgramResult result = RunKivclip(folder_, "verify " + clip_ + " " + options);
    EXPECT_EQ(0, result.status) << options << ": " << result.err;
    EXPECT_TRUE(result.out.ends_with("frames: forward, backward and random agree\n")) << result.out;
  }
}

// Placeholders agree with each other; nobody asked for them.
TEST_F(Verify, EveryCommandFailsWhenNotOnePictureCanBeDecoded) {
  std::string bytes = ReadBytes(clip_);
  const size_t payload = bytes.find("mdat") + 4;
  const size_t behind = bytes.find("moov");
  ASSERT_LT(payload, behind);
  std::fill(bytes.begin() + static_cast<ptrdiff_t>(payload),
            bytes.begin() + static_cast<ptrdiff_t>(behind - 4), '\x55');
  WriteBytes(folder_.Path("lost.mp4"), bytes);
  for (const char* command :
       {"verify @lost.mp4", "render @lost.mp4 -o @x.y4m", "render @lost.mp4 --reverse -o null",
        "sheet @lost.mp4 -o @x.png", "frame @lost.mp4 --at 3 -o @x.png"}) {
    const ProgramResult result = RunKivclip(folder_, command);
    EXPECT_EQ(1, result.status) << command;
    EXPECT_EQ("", result.out) << command;
    EXPECT_TRUE(result.err.ends_with("lost.mp4' could be decoded\n")) << result.err;
    EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  }
  EXPECT_EQ(std::vector<std::string>{"lost.mp4"}, folder_.Names());
}

// Each time is off by up to 15 ms of the 25 frames a second, in order all the same.
std::vector<int64_t> JitteredTimes(int frames) {
  std::mt19937 random(7);
  std::vector<int64_t> times;
  for (int i = 0; i < frames; ++i) {
    times.push_back(i * 40 + static_cast<int64_t>(random() % 31));
  }
  return times;
}

TEST_F(Verify, FrameNumbersOfUnevenClipsCountItsPictures) {
  const kivtest::ClipRecipe vp9{
      .codec = "libvpx-vp9", .container = "mkv", .size = {320, 176}, .frames = 100, .gop = 30};
  kivtest::ClipRecipe jittered = vp9;
  jittered.times = JitteredTimes(100);
  const std::string repeats = folder_.Path("repeats.mkv");
  kivtest::Restamp(kivtest::MakeClip(vp9), repeats,
                   [](int number, int64_t time) { return number % 7 == 3 ? time - 40 : time; });
  for (const std::string& clip : {kivtest::MakeClip(jittered), repeats}) {
    const ProgramResult result = RunKivclip(folder_, "verify " + clip);
    EXPECT_EQ(0, result.status) << result.out << result.err;
    const ProgramResult reverse = RunKivclip(folder_, "verify " + clip + " --reverse");
    EXPECT_EQ(0, reverse.status) << reverse.out << reverse.err;
    const ProgramResult rendered =
        RunKivclip(folder_, "render " + clip + " -o @back.mkv --codec ffv1 --reverse");
    ASSERT_EQ(0, rendered.status) << rendered.err;
    const std::vector<int> back = kivtest::NumbersInOrder(folder_.Path("back.mkv"));
    ASSERT_EQ(100u, back.size());
    for (int i = 0; i < 100; ++i) EXPECT_EQ(99 - i, back[static_cast<size_t>(i)]);
    for (const int number : {12, 13, 57, 99}) {
      const std::string range = std::to_string(number) + ":" + std::to_string(number);
      RunKivclip(folder_, "render " + clip + " -o @one.mkv --codec ffv1 --frames " + range);
      EXPECT_EQ(std::vector<int>{number}, kivtest::NumbersInOrder(folder_.Path("one.mkv")));
    }
  }
}

TEST_F(Verify, NamesTheFramesThatDiffer) {
  setenv("KIV_MODULE_FOLDER", KIV_FICKLE_MODULES, 1);
  WriteGreyClip(folder_.Path("clip.mkv"), {{64, 48}}, 6);
  const ProgramResult result = RunKivclip(folder_, "verify @clip.mkv --speed 1/2");
  EXPECT_EQ(1, result.status);
  // The generated ones. Each step back begins with a new module, as frame 2 does when playing; a seek
  // begins with one three source frames before.
  EXPECT_EQ("backward: 4, 6, 8, 10\nrandom: 8, 10\n", result.out);
  EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  EXPECT_NE(std::string::npos, result.err.find("of 12 frames are other pictures")) << result.err;
}

// Though it opens the clip three times.
TEST_F(Verify, SaysOnceWhatIsToBeKnownOfAClip) {
  setenv("KIV_MODULE_FOLDER", folder_.Path("").c_str(), 1);
  const ProgramResult result = RunKivclip(folder_, "verify " + clip_ + " --speed 1/2 --frames 0:3");
  EXPECT_EQ(0, result.status);
  EXPECT_NE(std::string::npos, result.err.find("there is no interpolation")) << result.err;
  EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
}

TEST_F(Verify, SettingsAloneRepeatARender) {
  const struct {
    const char *options, *output;
  } cases[] = {{"--speed 2/5 --fps 60 --crop 0.1,0.1,0.5,0.5 --frames 3:40 --quality 90", ".mp4"},
               {"--reverse --reverse-range 5:30 --decode-scale 1/2 --codec ffv1", ".mkv"},
               {"--chain source,cache,rate,crop --size 64x36 --fps 12", ".y4m"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    const std::string render = "render " + clip_ + " --settings @s.json -o @";
    const ProgramResult first = RunKivclip(
        folder_, "render " + clip_ + " -o @a" + c.output + " --save-settings @s.json " + c.options);
    ASSERT_EQ(0, first.status) << first.err;
    ASSERT_EQ(0, RunKivclip(folder_, render + "b" + c.output).status);
    const std::string bytes = ReadBytes(folder_.Path(std::string("a") + c.output));
    EXPECT_LT(1000u, bytes.size());
    EXPECT_TRUE(bytes == ReadBytes(folder_.Path(std::string("b") + c.output)));
    // What is typed goes before what was kept, and a codec kept for another output stays out.
    const ProgramResult other = RunKivclip(folder_, render + "c.y4m --frames 7:7 --fps 9");
    EXPECT_EQ(0, other.status) << other.err;
    const ReadBack back = ReadVideo(folder_.Path("c.y4m"));
    EXPECT_EQ(1u, back.pixels.size());
    EXPECT_EQ(9, back.rate.numerator);
  }
}

TEST_F(Verify, EveryCommandSavesTheSettings) {
  RunKivclip(folder_, "render " + clip_ + " -o @a.y4m --reverse --frames 0:1");
  for (const std::string command : {"verify ", "sheet -o @x.png ", "frame --at 1 -o @x.png "}) {
    std::filesystem::remove(folder_.Path("s.json"));
    RunKivclip(folder_, command + clip_ + " --reverse --save-settings @s.json");
    RunKivclip(folder_, "render " + clip_ + " -o @b.y4m --settings @s.json --frames 0:1");
    EXPECT_TRUE(ReadBytes(folder_.Path("a.y4m")) == ReadBytes(folder_.Path("b.y4m"))) << command;
    std::filesystem::remove(folder_.Path("b.y4m"));
  }
}

TEST_F(Verify, SettingsOfALaterVersionAreRefused) {
  WriteBytes(folder_.Path("s.json"),
             R"({"format": "kivclip-settings", "version": 99, "clip": {}})");
  const ProgramResult later =
      RunKivclip(folder_, "render " + clip_ + " -o null --settings @s.json");
  EXPECT_EQ(1, later.status);
  EXPECT_NE(std::string::npos, later.err.find("version 99")) << later.err;
}

}  // namespace
