// What a wrong command line and a failure look like: exit status, one line, nothing left behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "test/cli/RunProgram.h"
#include "test/write/WriterReadBack.h"

namespace {

class Refused : public testing::Test {
 protected:
  void SetUp() override {
    WriteGreyClip(folder_.Path("clip.mkv"));
    WriteBytes(folder_.Path("text.json"), "[1, 2");
    WriteBytes(folder_.Path("kept.json"),
               R"({"format": "kivclip-settings", "version": 1, "clip":)"
               R"( {"Kivclip.fps": {"type": "std::wstring", "value": "9x"}}})");
    WriteBytes(folder_.Path("still.json"),
               R"({"format": "kivclip-settings", "version": 1, "clip":)"
               R"( {"Speed.Scale": {"type": "KivRational", "value": "[0, 1]: 0.0 "}}})");
    WriteBytes(folder_.Path("good.json"),
               R"({"format": "kivclip-settings", "version": 1, "clip": {}})");
    WriteGreyClip(folder_.Path("other.mkv"));
    std::filesystem::copy_file(folder_.Path("clip.mkv"), folder_.Path("clip\377.mkv"));
    std::filesystem::create_directory(folder_.Path("folder.mp4"));
    setenv("KIV_REGISTRY", "/dev/null/registry", 1);
    names_ = folder_.Names();
  }

  void TearDown() override { unsetenv("KIV_REGISTRY"); }

  // As a damaged file, or one of a later version, is met.
  void UseRegistry(const std::string& text) {
    WriteBytes(folder_.Path("registry.json"), text);
    setenv("KIV_REGISTRY", folder_.Path("registry.json").c_str(), 1);
    WriteBytes(folder_.Path("registry.json.lock"), "");
    names_ = folder_.Names();
  }
  void Expect(int status, const std::string& line, const std::string& says) {
    SCOPED_TRACE(line);
    const ProgramResult result = RunKivclip(folder_, line);
    EXPECT_EQ(status, result.status) << result.err;
    EXPECT_EQ("", result.out);
    EXPECT_EQ(0u, result.err.find("kivclip: ")) << result.err;
    EXPECT_NE(std::string::npos, result.err.find(says)) << result.err;
    EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
    EXPECT_EQ(names_, folder_.Names());
  }

  TestFolder folder_;
  std::vector<std::string> names_;
};

constexpr std::pair<const char*, const char*> kUsage[] = {
    {"", "no command given"},
    {"play", "no command 'play'"},
    {"--completion tcsh", "bash, zsh or fish"},
    {"render -o @x.mp4", "INPUT is required"},
    {"render @clip.mkv -o @x.png", "frame_%04d.png"},
    {"render @clip.mkv -o - --report -", "--report"},
    {"render @clip.mkv -o - --save-settings -", "only one of"},
    {"render @clip.mkv -o null --report - --save-settings -", "only one of"},
    {"verify @clip.mkv --save-settings -", "only one of"},
    {"render @clip.mkv -o @x.avi", "cannot tell the format of"},
    {"render @clip.mkv -o @x --format gif", "--format gif is not known"},
    {"render @clip.mkv -o null --format gif", "--format gif is not known"},
    {"render @clip.mkv -o - --format mp4", "standard output: use y4m"},
    {"render @clip.mkv -o @x.mkv --codec mpeg2", "h264, hevc, av1, vp9"},
    {"render @clip.mkv -o @x.webm --codec h264", "does not go into webm"},
    {"render @clip.mkv -o @x.mp4 --quality 101", "0 (worst) to 100 (best)"},
    {"render @clip.mkv -o @x.y4m --quality 9", "leave it out"},
    {"render @clip.mkv -o @x%d%d.png", "is no pattern"},
    {"render @clip.mkv other.mkv -o @x.mp4", "other.mkv"},
    {"render @clip.mkv -o @x.mp4 --bogus", "--bogus"},
    {"render @clip.mkv -o @x.mp4 --quality high", "--quality high"},
    {"render @clip.mkv -o @x.mp4 --size 0x480", "such as 1280x720"},
    {"render @clip.mkv -o @x.mp4 --decode-scale 0.5", "such as 1/2"},
    {"render @clip.mkv -o @x.mp4 --decode-scale 1/999", "no picture"},
    {"render @clip.mkv -o @x.mp4 --frames 5:4", "such as 0:99"},
    {"render @clip.mkv -o @x.mp4 --frames 5:20", "frames 0 to 19"},
    {"render @clip.mkv -o @x.mp4 --reverse-range 2:3", "needs --reverse"},
    {"render @clip.mkv -o @x.mp4 --memory -1", "MiB"},
    {"render @clip.mkv -o @x.mp4 --memory 9999999", "MiB"},
    {"render @clip.mkv -o @x.mp4 --reverse --reverse-range 3:2", "such as 0:99"},
    {"render @clip.mkv -o @x.mp4 --reverse --reverse-range 3:20",
     "clip, which has the frames 0 to 19"},
    {"render @clip.mkv -o @x.mp4 --reverse --reverse-range 3:7 --frames 2:5", "frames 0 to 4"},
    {"render @clip.mkv -o @x.mp4 --reverse --chain source,cache", "the node 'reverse'"},
    {"render @clip.mkv -o @x.mp4 --chain source,wobble", "'wobble'"},
    {"render @clip.mkv -o @x.mp4 --chain crop,source", "begins with source"},
    {"render @clip.mkv -o @x.mp4 --chain source,source", "only one"},
    {"render @clip.mkv -o @x.mp4 --speed 0", "such as 0.4"},
    {"render @clip.mkv -o @x.mp4 --speed=-1/2", "such as 0.4"},
    {"render @clip.mkv -o @x.mp4 --speed 0.0000001", "such as 0.4"},
    {"render @clip.mkv -o @x.mp4 --speed 21", "no frame: 20 of the clip"},
    {"render @clip.mkv -o @x.mp4 --speed 1/1000000 --fps 999999", "than can be counted"},
    {"render @clip.mkv -o @x.mp4 --fps 29.97", "such as 60 or 30000/1001"},
    {"render @clip.mkv -o @x.mp4 --interpolation on", "flow or off"},
    {"render @clip.mkv -o @x.mp4 --fps 9 --chain source,speed,rate", "in this order"},
    {"render @clip.mkv -o @x.mp4 --speed 2 --chain source,rate", "the node 'speed'"},
    {"render @clip.mkv -o @x.mp4 --fps 2 --chain source,speed", "the node 'rate'"},
    {"render @clip.mkv -o @x.mp4 --progress xml", "json, bar or none"},
    {"render @clip.mkv -o @x.mp4 --proxy @clip.mkv --no-proxy", "exclude"},
    {"render @clip.mkv -o @x.mp4 --alpha-color FF8000", "--alpha-color needs --alpha-preset"},
    {"render @clip.mkv -o @x.mp4 --over @clip.mkv", "--over needs --alpha-preset"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-color FF80", "such as FF8000"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-gradient FF8000,0",
     "such as FF8000,0040FF,45"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-gradient FF8000,FF8000,nan",
     "such as FF8000,0040FF,45"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-color FF8000 --alpha-image @clip.mkv",
     "exclude each other"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-duration 0", "more than 0"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-duration nan", "more than 0"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-pause=-1", "0 or more"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-loop 1.5", "a whole number"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --chain source,rate", "the node 'alpha'"},
    {"frame @clip.mkv -o @x.png", "--at is required"},
    {"frame @clip.mkv --at 20 -o @x.png", "frames 0 to 19"},
    {"sheet @clip.mkv -o @x_%d.png", "without %"},
    {"frame @clip.mkv --at 1 -o @x.mp4", ".png"},
    {"render @clip.mkv -o @clip.mkv", "input itself"},
    {"stabilize @clip.mkv", "--settings is required"},
    {"verify @clip.mkv --frames 5:20", "frames 0 to 19"},
    {"render @clip.mkv -o @x.mp4 --reverse --no-reverse", "exclude"},
    {"render @clip.mkv -o @x.mp4 --verbose=all", "failure, filter or creation"},
    {"render @clip.mkv -o @x.mp4 --settings @kept.json", "--fps 9x"},
    {"stabilize @clip.mkv --settings @s.json --level 101", "from 0 to 100"},
    {"stabilize @clip.mkv --settings @s.json --plot @clip.mkv", ".png"},
    {"render @clip.mkv -o @x.mp4 --stabilize=strong", "from 0 to 100"},
    {"render @clip.mkv -o @x.mp4 --stabilize --chain source", "the node 'stabilizer'"},
    {"render @clip.mkv -o @x.mp4 --speed 2 --chain source,speed,stabilizer", "in this order"},
    {"keyframes @x.json --at 1.5", "expected a whole number"},
    {"render @clip.mkv -o @x.mp4 --speed ''", "no value given"},
    {"render @clip.mkv -o ''", "no value given"},
    {"render @clip.mkv -o null --report @clip.mkv", "input itself"},
    {"frame @clip.mkv --at 0 -o @x.png --save-settings @clip.mkv", "input itself"},
    {"render @clip.mkv -o @other.mkv --proxy @other.mkv", "is read"},
    {"render @clip.mkv -o @other.mkv --alpha-preset --over @other.mkv", "is read"},
    {"render @clip.mkv -o @x.y4m --report @x.y4m", "written twice"},
    {"render @clip.mkv -o null --report @good.json --settings @good.json", "are read"},
    {"render @in_0007.png -o @in_%04d.png", "name that the pictures"},
    {"render @clip.mkv -o @r_%d.png --report @r_1.png", "name that the pictures"},
    {"verify @clip.mkv --speed 1/1000000", "10000000 frames at most, not 20000000"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-color=-00000", "such as FF8000"},
    {"stabilize @clip.mkv --settings @s.png --plot @s.png", "written twice"},
    {"frame @clip.mkv --at 1 -o @x.gif", "ends in .png or .jpg"},
    {"render @clip.mkv -o @x.mp4 --decode-scale 10000/1", "too large a picture"},
    {"render @clip.mkv -o @x.mp4 --decode-scale 400/1", "too large a picture: 25600x19200"},
    {"render @clip.mkv -o @x.mp4 --size 32768x32768", "268435456 pixels at most"},
    {"render @clip.mkv -o @x.mp4 --reverse-range 1:2 --settings @good.json", "needs --reverse"},
    {"render @clip.mkv -o @x.mp4 --speed 2 --speed 3", "--speed is given more than once"},
    {"render @clip.mkv -o @x.mp4 --speed", "--speed"},
    {"render @clip.mkv -o @x.mp4 --alpha-preset --alpha-color ''", "--alpha-color"},
    {"render @none.mp4 -o null --reverse --no-reverse", "exclude each other"},
    {"render @none.mp4 -o null --crop 0,0,1,1 --crop-keyframes @none.json", "exclude each other"},
    {"render @none.mp4 -o null --reverse_range 2:3", "--reverse_range"},
};

constexpr std::pair<const char*, const char*> kFailures[] = {
    {"render @none.mp4 -o null", "none.mp4': No such file"},
    {"render @none.mp4 -o null --reverse=false --no-reverse", "none.mp4': No such file"},
    {"sheet @clip.mkv -o @nowhere/x.png", "there is no folder"},
    {"render @clip.mkv -o @nowhere/%d.png", "there is no folder"},
    {"info '@no\nne.mp4'", "no ne.mp4"},
    {"info @folder.mp4", "not a regular file"},
    {"info @text.json", "text.json"},
    {"info http://127.0.0.1/clip.mp4", "No such file"},
    {"render @clip.mkv -o @none/x.mp4", "there is no folder"},
    {"render @clip.mkv -o null --report @none/r", "none/r"},
    {"render @clip.mkv -o @x.mp4 --save-settings @none/s.json", "there is no folder"},
    {"render @clip.mkv -o @x.mp4 --size 32768x16", "refuses 32768x16 pictures"},
    {"render @clip.mkv -o @x.mp4 --proxy @none.mp4", "the proxy"},
    {"render @clip.mkv -o null --alpha-preset --alpha-image @none.png", "the fill image '"},
    {"render @clip.mkv -o null --alpha-preset --alpha-image @text.json",
     "damaged, too large or no picture"},
    {"render @clip.mkv -o null --alpha-preset --alpha-image @folder.mp4", "not a regular file"},
    {"render @clip.mkv -o null --alpha-preset --alpha-full-hd @none.mp4", "the mask '"},
    {"render @clip.mkv -o null --alpha-preset --alpha-full-hd @text.json", "the mask '"},
    {"render @clip.mkv -o null --alpha-preset --over @none.mp4", "none.mp4': No such file"},
    {"render @clip.mkv -o @x.mp4 --settings @none.json", "none.json': No such"},
    {"render @clip.mkv -o @x.mp4 --settings @text.json", "text.json"},
    {"render @clip.mkv -o @x.mp4 --settings @still.json", "no possible speed: 0/1"},
    {"keyframes @none.json", "none.json': No such"},
    {"keyframes @text.json --at 1", "text.json"},
    {"register", "the registry file '/dev/null/registry' cannot be written: Not a directory"},
    {"info @$(printf 'clip\\377.mkv')", "its name is not valid UTF-8"},
    {"render @clip.mkv -o null --settings @clip.mkv", "it is no settings file"},
    {"stabilize @none.mp4 --settings @s.json", "none.mp4': No such"},
    {"stabilize @clip.mkv --settings @text.json", "text.json"},
    {"stabilize @clip.mkv --settings @none/s.json", "none/s.json"},
};

TEST_F(Refused, WithItsStatusAndOneLine) {
  for (const auto& [line, says] : kUsage) Expect(2, line, says);
  for (const auto& [line, says] : kFailures) Expect(1, line, says);
  for (const char* option : {"--alpha-image ", "--alpha-full-hd "}) {
    Expect(2, "render @clip.mkv -o null --alpha-preset " + (option + std::string(260, 'x')),
           "more than 259 characters");
  }
}

TEST_F(Refused, WithADamagedRegistry) {
  UseRegistry("{");
  for (const char* const verb : {"register", "unregister"}) {
    Expect(1, verb, "registry.json' cannot be read: it is damaged or of a newer version");
  }
  EXPECT_EQ("{", ReadBytes(folder_.Path("registry.json")));
}

TEST_F(Refused, WhenStandardOutputIsFull) {
  for (const char* line : {"--help", "render --help", "info @clip.mkv", "verify @clip.mkv"}) {
    const ProgramResult result = RunKivclip(folder_, line, "/dev/full");
    EXPECT_EQ(1, result.status) << line;
    EXPECT_EQ("kivclip: cannot write standard output: No space left on device\n", result.err);
  }
}

TEST_F(Refused, NeverTheQuestionForHelp) {
  for (const char* line : {"--help", "render --help", "verify --help", "info -h", "--version"}) {
    const ProgramResult result = RunKivclip(folder_, line);
    EXPECT_EQ(0, result.status);
    EXPECT_NE(std::string::npos, result.out.find("kivclip")) << result.out;
    EXPECT_EQ("", result.err);
  }
}

// In a real bash: what it offers for the last word of a line.
TEST_F(Refused, NeverWhatBashCompletes) {
  WriteBytes(folder_.Path("complete"), RunKivclip(folder_, "--completion bash").out);
  const struct {
    const char *words, *offered;
  } cases[] = {{"ver", "verify"},
               {"render clip.mp4 --sp", "--speed"},
               {"render clip.mp4 --crop", "--crop --crop-keyframes"},
               {"render clip.mp4 --speed --", ""},
               {"info --s", ""}};
  for (const auto& c : cases) {
    const std::string script = ". " + folder_.Path("complete") + "; COMP_WORDS=(kivclip " +
                               c.words + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _kivclip; " +
                               "echo ${COMPREPLY[@]} > " + folder_.Path("offered");
    ASSERT_EQ(0, std::system(("bash -c '" + script + "'").c_str()));
    EXPECT_EQ(std::string(c.offered) + "\n", ReadBytes(folder_.Path("offered"))) << c.words;
  }
}

}  // namespace
