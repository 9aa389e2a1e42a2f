// What a wrong command line and a failure look like: exit status, one line, nothing left behind.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "test/host/GreyClip.h"
#include "test/host/RunProgram.h"
#include "test/media/WriterReadBack.h"

namespace {

struct RefusalCase {
  const char* name;
  std::vector<std::string> arguments;  // @ at the start stands for the test's folder
  int status;
  const char* says;
};

// The folder holds clip.mkv (20 pictures), text.mp4 (no media), empty.mp4, folder.mp4/ and pipe.
class Refused : public testing::TestWithParam<RefusalCase> {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TestFolder>();
    WriteGreyClip(folder_->Path("clip.mkv"));
    std::ofstream(folder_->Path("text.mp4")) << "this is no clip, whatever its name says\n";
    std::ofstream(folder_->Path("empty.mp4"));
    std::ofstream(folder_->Path("text.json")) << "[1, 2";
    std::filesystem::create_directory(folder_->Path("folder.mp4"));
    mkfifo(folder_->Path("pipe").c_str(), 0600);
    names_ = folder_->Names();
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::vector<std::string> Arguments() {
    std::vector<std::string> arguments = GetParam().arguments;
    for (std::string& text : arguments) {
      if (text[0] == '@') text = folder_->Path(text.substr(1));
    }
    return arguments;
  }

  static std::unique_ptr<TestFolder> folder_;
  static std::vector<std::string> names_;
};
std::unique_ptr<TestFolder> Refused::folder_;
std::vector<std::string> Refused::names_;

TEST_P(Refused, WithItsStatusAndOneLine) {
  const ProgramResult result = RunKivclip(Arguments());
  EXPECT_EQ(GetParam().status, result.status) << result.err;
  EXPECT_EQ("", result.out);
  EXPECT_EQ(0u, result.err.find("kivclip: ")) << result.err;
  EXPECT_NE(std::string::npos, result.err.find(GetParam().says)) << result.err;
  EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  EXPECT_EQ(names_, folder_->Names());
}

std::vector<std::string> Render(std::vector<std::string> more) {
  std::vector<std::string> arguments{"render", "@clip.mkv", "-o", "@x.mp4"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

std::string CaseName(const testing::TestParamInfo<RefusalCase>& test) { return test.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Usage, Refused,
    testing::Values(
        RefusalCase{"nothing", {}, 2, "no command given"},
        RefusalCase{"command", {"play"}, 2, "no command 'play'"},
        RefusalCase{"noInput", {"render", "-o", "@x.mp4"}, 2, "INPUT is required"},
        RefusalCase{"noOutput", {"render", "@clip.mkv"}, 2, "--output is required"},
        RefusalCase{"ending", {"render", "@clip.mkv", "-o", "@x.xyz"}, 2, "x.xyz"},
        RefusalCase{"pattern", {"render", "@clip.mkv", "-o", "@%d%d.png"}, 2, "more than one"},
        RefusalCase{"onePicture", {"render", "@clip.mkv", "-o", "@x.png"}, 2, "frame_%04d.png"},
        RefusalCase{"stdoutFormat",
                    {"render", "@clip.mkv", "-o", "-", "--format", "mp4"},
                    2,
                    "standard output"},
        RefusalCase{
            "twoOnStdout", {"render", "@clip.mkv", "-o", "-", "--report", "-"}, 2, "--report"},
        RefusalCase{"option", Render({"--bogus"}), 2, "--bogus"},
        RefusalCase{"codec", Render({"--codec", "mpeg2"}), 2, "h264, vp9, ffv1"},
        RefusalCase{"format", Render({"--format", "flv"}), 2, "--format flv"},
        RefusalCase{"quality", Render({"--quality", "101"}), 2, "0 (worst) to 100 (best)"},
        RefusalCase{"qualityText", Render({"--quality", "high"}), 2, "--quality high"},
        RefusalCase{"size", Render({"--size", "640"}), 2, "such as 1280x720"},
        RefusalCase{"sizeZero", Render({"--size", "0x480"}), 2, "such as 1280x720"},
        RefusalCase{"sizeHuge", Render({"--size", "99999999999x2"}), 2, "such as 1280x720"},
        RefusalCase{"sizeSigned", Render({"--size", "+64x48"}), 2, "such as 1280x720"},
        RefusalCase{"scale", Render({"--decode-scale", "0.5"}), 2, "such as 1/2"},
        RefusalCase{"scaleByZero", Render({"--decode-scale", "1/0"}), 2, "such as 1/2"},
        RefusalCase{"scaleToNothing", Render({"--decode-scale", "1/999"}), 2, "no picture"},
        RefusalCase{"frames", Render({"--frames", "5"}), 2, "such as 0:99"},
        RefusalCase{"framesBackwards", Render({"--frames", "5:4"}), 2, "such as 0:99"},
        RefusalCase{"framesBeyond", Render({"--frames", "5:20"}), 2, "frames 0 to 19"},
        RefusalCase{"framesFarBeyond", Render({"--frames", "20:"}), 2, "frames 0 to 19"},
        RefusalCase{"chain", Render({"--chain", "source,wobble"}), 2, "'wobble'"},
        RefusalCase{"chainOrder", Render({"--chain", "crop,source"}), 2, "begins with source"},
        RefusalCase{"chainTwice", Render({"--chain", "source,source"}), 2, "only one"},
        RefusalCase{"chainEmptyName", Render({"--chain", "source,"}), 2, "no node ''"},
        RefusalCase{"progress", Render({"--progress", "xml"}), 2, "json, bar or none"},
        RefusalCase{"proxies", Render({"--proxy", "@clip.mkv", "--no-proxy"}), 2, "exclude"},
        RefusalCase{"frameAt", {"frame", "@clip.mkv", "-o", "@x.png"}, 2, "--at is required"},
        RefusalCase{"frameBeyond",
                    {"frame", "@clip.mkv", "--at", "20", "-o", "@x.png"},
                    2,
                    "frames 0 to 19"},
        RefusalCase{
            "frameNegative", {"frame", "@clip.mkv", "--at", "-1", "-o", "@x.png"}, 2, "--at"},
        RefusalCase{"sheetName", {"sheet", "@clip.mkv", "-o", "@x_%d.png"}, 2, "without %"},
        RefusalCase{"sheetBeyond",
                    {"sheet", "@clip.mkv", "--frames", "5:20", "-o", "@x.png"},
                    2,
                    "frames 0 to 19"},
        RefusalCase{"frameName", {"frame", "@clip.mkv", "--at", "1", "-o", "@x.mp4"}, 2, ".png"},
        RefusalCase{"overInput", {"render", "@clip.mkv", "-o", "@clip.mkv"}, 2, "input itself"}),
    CaseName);

INSTANTIATE_TEST_SUITE_P(
    NotBuilt, Refused,
    testing::Values(
        RefusalCase{"stabilize", {"stabilize", "@clip.mkv"}, 2, "stabilize is not built yet"},
        RefusalCase{"verify", {"verify", "@clip.mkv"}, 2, "verify is not built yet"},
        RefusalCase{"keyframes", {"keyframes"}, 2, "keyframes is not built yet"},
        RefusalCase{"speed", Render({"--speed", "1/2"}), 2, "--speed is not built yet"},
        RefusalCase{"speedEquals", Render({"--speed=1/2"}), 2, "--speed is not built yet"},
        RefusalCase{"interpolation", Render({"--interpolation", "off"}), 2, "--interpolation is"},
        RefusalCase{"reverse", Render({"--reverse"}), 2, "--reverse is not built yet"},
        RefusalCase{"reverseRange", Render({"--reverse-range", "1:2"}), 2, "--reverse-range is"},
        RefusalCase{"fps", Render({"--fps", "30"}), 2, "--fps is not built yet"},
        RefusalCase{"stabilizeOption", Render({"--stabilize=2"}), 2, "--stabilize is not"},
        RefusalCase{"crop", Render({"--crop", "0,0,1,1"}), 2, "--crop is not built yet"},
        RefusalCase{"cropKeys", Render({"--crop-keyframes", "a"}), 2, "--crop-keyframes is not"},
        RefusalCase{"memory", Render({"--memory", "64"}), 2, "--memory is not built yet"},
        RefusalCase{"alpha", Render({"--alpha-video", "a"}), 2, "--alpha-video is not built yet"},
        RefusalCase{"frameSpeed",
                    {"frame", "@clip.mkv", "--at", "1", "-o", "@x.png", "--speed", "2"},
                    2,
                    "--speed is not built yet"}),
    CaseName);

INSTANTIATE_TEST_SUITE_P(
    Failures, Refused,
    testing::Values(
        RefusalCase{"missing", {"render", "@none.mp4", "-o", "null"}, 1, "none.mp4': No such file"},
        RefusalCase{"missingInfo", {"info", "@none.mp4"}, 1, "none.mp4': No such file"},
        RefusalCase{"lineEndInName", {"info", "@no\nne.mp4"}, 1, "no ne.mp4"},
        RefusalCase{"text", {"render", "@text.mp4", "-o", "null"}, 1, "text.mp4"},
        RefusalCase{"empty", {"info", "@empty.mp4"}, 1, "the file is empty"},
        RefusalCase{"folder", {"info", "@folder.mp4"}, 1, "not a regular file"},
        RefusalCase{"pipe", {"info", "@pipe"}, 1, "not a regular file"},
        RefusalCase{"url", {"info", "http://127.0.0.1/clip.mp4"}, 1, "No such file"},
        RefusalCase{"outputFolder",
                    {"render", "@clip.mkv", "-o", "@none/x.mp4"},
                    1,
                    "none/x.mp4': No such file or directory"},
        RefusalCase{
            "outputIsFolder", {"render", "@clip.mkv", "-o", "@folder.mp4"}, 1, "Is a directory"},
        RefusalCase{"reportFolder",
                    {"render", "@clip.mkv", "-o", "null", "--report", "@none/r"},
                    1,
                    "none/r"},
        RefusalCase{"proxy", Render({"--proxy", "@none.mp4"}), 1, "the proxy"},
        RefusalCase{"settings", Render({"--settings", "@none.json"}), 1, "none.json': No such"},
        RefusalCase{"settingsFolder", Render({"--settings", "@folder.mp4"}), 1, "folder.mp4"},
        RefusalCase{"settingsText", Render({"--settings", "@text.json"}), 1, "text.json"}),
    CaseName);

TEST(Help, GoesToStandardOutput) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--help"}, {"render", "--help"}, {"frame", "--help"}, {"info", "-h"}, {"--version"}}) {
    const ProgramResult result = RunKivclip(arguments);
    EXPECT_EQ(0, result.status);
    EXPECT_NE(std::string::npos, result.out.find("kivclip")) << result.out;
    EXPECT_EQ("", result.err);
  }
}

TEST(Help, ListsTheOptionsOfItsCommand) {
  const std::string help = RunKivclip({"render", "--help"}).out;
  for (const char* option :
       {"--size", "--decode-scale", "--proxy", "--no-proxy", "--frames", "--chain", "--settings",
        "--save-settings", "--format", "--codec", "--quality", "--progress", "--report"}) {
    EXPECT_NE(std::string::npos, help.find(option)) << option;
  }
}

}  // namespace
