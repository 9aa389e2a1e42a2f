// render and frame on real files: the pictures, the streams, and what is left when it goes wrong.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "test/host/GreyClip.h"
#include "test/host/RunProgram.h"
#include "test/media/WriterReadBack.h"

namespace {

using Names = std::vector<std::string>;

int Level(const std::vector<uint8_t>& bgra) { return bgra[0]; }

Json::Value ParseJson(const std::string& text) {
  Json::Value root;
  std::istringstream stream(text);
  std::string errors;
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &root, &errors)) << text;
  return root;
}

void WriteText(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

class Render : public testing::Test {
 protected:
  void SetUp() override { WriteGreyClip(Path("clip.mkv")); }
  std::string Path(const std::string& name) const { return folder_.Path(name); }

  TestFolder folder_;
};

TEST_F(Render, WritesEveryFrameInEveryVideoFormat) {
  for (const char* name : {"x.mp4", "x.mov", "x.webm", "x.y4m", "lossless.mkv"}) {
    const bool lossless = std::string(name) == "lossless.mkv";
    std::vector<std::string> arguments{"render", Path("clip.mkv"), "-o", Path(name)};
    if (lossless) arguments.insert(arguments.end(), {"--codec", "ffv1"});
    const ProgramResult result = RunKivclip(arguments);
    ASSERT_EQ(0, result.status) << result.err;
    EXPECT_EQ("", result.out + result.err) << name;
    const ReadBack back = ReadVideo(Path(name));
    ASSERT_EQ(20u, back.pixels.size()) << name;
    EXPECT_EQ(64, back.width);
    EXPECT_EQ(48, back.height);
    for (size_t i = 0; i < 20; ++i) {
      EXPECT_NEAR(GreyOf(static_cast<int>(i)), Level(back.pixels[i]), lossless ? 0 : 3)
          << name << " frame " << i;
    }
  }
  EXPECT_EQ(6u, folder_.Names().size());
}

TEST_F(Render, PassesTheRateAndThePixelShapeOn) {
  WriteGreyClip(Path("in.mp4"), {{64, 48}, {30000, 1001}, {16, 11}, 5});
  ASSERT_EQ(0, RunKivclip({"render", Path("in.mp4"), "-o", Path("out.mp4")}).status);
  const ReadBack back = ReadVideo(Path("out.mp4"));
  EXPECT_EQ(30000, back.rateNumerator);
  EXPECT_EQ(1001, back.rateDenominator);
  EXPECT_EQ(16, back.aspectNumerator);
  EXPECT_EQ(11, back.aspectDenominator);
}

struct SizeCase {
  std::vector<std::string> options;
  int width, height, aspectNumerator, aspectDenominator;
};

TEST_F(Render, ScalesInTheSourceAndKeepsTheShape) {
  const SizeCase cases[] = {{{"--size", "32x24"}, 32, 24, 1, 1},
                            {{"--size", "64x24"}, 64, 24, 1, 2},
                            {{"--decode-scale", "1/2"}, 32, 24, 1, 1},
                            {{"--decode-scale", "1/3"}, 21, 16, 1, 1},
                            {{"--size", "128x96", "--decode-scale", "1/4"}, 32, 24, 1, 1}};
  for (const SizeCase& c : cases) {
    std::vector<std::string> arguments{"render", Path("clip.mkv"), "-o", Path("x.y4m")};
    arguments.insert(arguments.end(), c.options.begin(), c.options.end());
    const ProgramResult result = RunKivclip(arguments);
    ASSERT_EQ(0, result.status) << result.err;
    const ReadBack back = ReadVideo(Path("x.y4m"));
    EXPECT_EQ(c.width, back.width) << c.options[1];
    EXPECT_EQ(c.height, back.height) << c.options[1];
    EXPECT_EQ(c.aspectNumerator, back.aspectNumerator) << c.options[1];
    EXPECT_EQ(c.aspectDenominator, back.aspectDenominator) << c.options[1];
    ASSERT_EQ(20u, back.pixels.size());
    EXPECT_NEAR(GreyOf(19), Level(back.pixels[19]), 1);
  }
}

TEST_F(Render, FramesSelectsResultFramesAndNumbersThem) {
  ASSERT_EQ(
      0,
      RunKivclip({"render", Path("clip.mkv"), "-o", Path("p%02d.png"), "--frames", "9:11"}).status);
  EXPECT_EQ((Names{"clip.mkv", "p09.png", "p10.png", "p11.png"}), folder_.Names());
  for (const int number : {9, 10, 11}) {
    const std::string name = (number < 10 ? "p0" : "p") + std::to_string(number) + ".png";
    const ReadBack back = ReadVideo(Path(name));
    ASSERT_EQ(1u, back.pixels.size());
    EXPECT_EQ(GreyOf(number), Level(back.pixels[0]));
  }
}

TEST_F(Render, FrameWritesThatFrame) {
  for (const int number : {0, 7, 19}) {
    const ProgramResult result = RunKivclip(
        {"frame", Path("clip.mkv"), "--at", std::to_string(number), "-o", Path("f.png")});
    ASSERT_EQ(0, result.status) << result.err;
    const ReadBack back = ReadVideo(Path("f.png"));
    ASSERT_EQ(1u, back.pixels.size());
    EXPECT_EQ(GreyOf(number), Level(back.pixels[0]));
  }
}

TEST_F(Render, RawFramesAloneGoToStandardOutput) {
  const ProgramResult result =
      RunKivclip({"render", Path("clip.mkv"), "-o", "-", "--format", "bgra", "--frames", "3:4"});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ("", result.err);
  const size_t frame = 64 * 48 * 4;
  ASSERT_EQ(2 * frame, result.out.size());
  EXPECT_EQ(GreyOf(3), static_cast<uint8_t>(result.out[0]));
  EXPECT_EQ(GreyOf(4), static_cast<uint8_t>(result.out[frame]));
  EXPECT_EQ(255, static_cast<uint8_t>(result.out[frame + 3]));
}

TEST_F(Render, StandardOutputIsYuv4MpegWithoutAFormat) {
  const ProgramResult result = RunKivclip({"render", Path("clip.mkv"), "-o", "-"});
  ASSERT_EQ(0, result.status) << result.err;
  const std::string header = result.out.substr(0, result.out.find('\n'));
  EXPECT_EQ(0u, header.find("YUV4MPEG2 W64 H48 F25:1 ")) << header;
  EXPECT_EQ(header.size() + 1 + 20 * (6 + 64 * 48 * 3 / 2), result.out.size());
}

TEST_F(Render, ReplacesAnOldOutputOnlyWhenDone) {
  WriteText(Path("x.mp4"), "old");
  ASSERT_EQ(1, RunKivclip({"render", Path("none.mkv"), "-o", Path("x.mp4")}).status);
  EXPECT_EQ("old", ReadBytes(Path("x.mp4")));
  ASSERT_EQ(0, RunKivclip({"render", Path("clip.mkv"), "-o", Path("x.mp4")}).status);
  EXPECT_EQ(20u, ReadVideo(Path("x.mp4")).pixels.size());
}

TEST_F(Render, NodesWithoutAClassLeaveTheFramesAsTheyAre) {
  ASSERT_EQ(0, RunKivclip({"render", Path("clip.mkv"), "-o", Path("x.mkv"), "--codec", "ffv1",
                           "--chain", "source,alpha,stabilizer,cache,rate,reverse,speed,crop"})
                   .status);
  const ReadBack back = ReadVideo(Path("x.mkv"));
  ASSERT_EQ(20u, back.pixels.size());
  for (size_t i = 0; i < 20; ++i) {
    EXPECT_EQ(GreyOf(static_cast<int>(i)), Level(back.pixels[i])) << "frame " << i;
  }
}

TEST_F(Render, AProxyGivesThePicturesInTheClipsSizeUntilItIsTurnedOff) {
  WriteGreyClip(Path("proxy.mkv"), {{32, 24}, {25, 1}, {1, 1}, 20, 100});
  const auto levelWith = [this](std::vector<std::string> options) {
    std::vector<std::string> arguments{"frame", Path("clip.mkv"), "--at", "5", "-o", Path("a.png")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    EXPECT_EQ(0, RunKivclip(arguments).status);
    const ReadBack back = ReadVideo(Path("a.png"));
    EXPECT_EQ(64, back.width);
    return Level(back.pixels.at(0));
  };
  EXPECT_EQ(GreyOf(5) + 100,
            levelWith({"--proxy", Path("proxy.mkv"), "--save-settings", Path("s.json")}));
  EXPECT_EQ(GreyOf(5) + 100, levelWith({"--settings", Path("s.json")}));
  EXPECT_EQ(GreyOf(5), levelWith({"--settings", Path("s.json"), "--no-proxy"}));
  EXPECT_EQ(GreyOf(5), levelWith({}));
}

TEST_F(Render, SettingsKeepWhatTheyDoNotKnow) {
  ASSERT_EQ(0, RunKivclip({"render", Path("clip.mkv"), "-o", "null", "--save-settings",
                           Path("first.json")})
                   .status);
  Json::Value settings = ParseJson(ReadBytes(Path("first.json")));
  settings["clip"]["Some.Future.Key"]["type"] = "int";
  settings["clip"]["Some.Future.Key"]["value"] = "41";
  settings["note"] = "kept";
  WriteText(Path("first.json"), settings.toStyledString());
  const ProgramResult result =
      RunKivclip({"render", Path("clip.mkv"), "-o", "null", "--settings", Path("first.json"),
                  "--save-settings", Path("second.json")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_EQ(settings, ParseJson(ReadBytes(Path("second.json"))));
}

TEST_F(Render, ProgressIsOneJsonObjectALineAndReachesTheEnd) {
  const ProgramResult result =
      RunKivclip({"render", Path("clip.mkv"), "-o", "null", "--progress", "json"});
  ASSERT_EQ(0, result.status);
  std::istringstream lines(result.err);
  std::string line, last;
  while (std::getline(lines, line)) {
    last = line;
    EXPECT_EQ(20, ParseJson(line)["frames"].asInt());
  }
  const Json::Value end = ParseJson(last);
  EXPECT_EQ(20, end["frame"].asInt());
  EXPECT_GT(end["fps"].asDouble(), 0);
  EXPECT_EQ(0, end["eta_s"].asDouble());
}

TEST_F(Render, ReportSaysWhatWasDone) {
  ASSERT_EQ(0, RunKivclip({"render", Path("clip.mkv"), "-o", Path("x.mp4"), "--report",
                           Path("r.json"), "--frames", "2:11"})
                   .status);
  const Json::Value report = ParseJson(ReadBytes(Path("r.json")));
  EXPECT_EQ(10, report["frames"].asInt());
  EXPECT_EQ(64, report["width"].asInt());
  EXPECT_EQ(48, report["height"].asInt());
  EXPECT_GT(report["fps"].asDouble(), 0);
  EXPECT_GE(report["wall_seconds"].asDouble(), report["node_seconds"]["decoder"].asDouble());
  EXPECT_GT(report["node_seconds"]["write"].asDouble(), 0);
  EXPECT_EQ(10, report["decoder"]["pictures_converted"].asInt());
  EXPECT_EQ(0, report["decoder"]["pictures_not_read"].asInt());
  EXPECT_GT(report["memory"]["peak_bytes"].asInt64(), 1 << 20);
}

TEST_F(Render, AFullDeviceIsOneLineAndStatusOne) {
  const ProgramResult result = RunKivclip({"render", Path("clip.mkv"), "-o", "-"}, "/dev/full");
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("kivclip: cannot write standard output: No space left on device\n", result.err);
}

TEST_F(Render, AClosedPipeIsOneLineAndStatusOne) {
  WriteGreyClip(Path("long.mp4"), {{320, 240}, {25, 1}, {1, 1}, 100});
  RunningKivclip program({"render", Path("long.mp4"), "-o", "-"});
  ASSERT_NE("", program.ReadSomeOutput());
  program.CloseOutput();
  const ProgramResult result = program.Wait();
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("kivclip: cannot write standard output: Broken pipe\n", result.err);
}

// Nobody reads the pipe, so the writer is stuck in a write when the signal comes.
TEST_F(Render, CtrlCEndsAWriteThatIsStuck) {
  WriteGreyClip(Path("long.mp4"), {{320, 240}, {25, 1}, {1, 1}, 100});
  RunningKivclip program({"render", Path("long.mp4"), "-o", "-"});
  program.WaitUntilOutputIsFull();
  program.Signal(SIGINT);
  const ProgramResult result = program.Wait();
  EXPECT_EQ(130, result.status);
  EXPECT_EQ("kivclip: interrupted\n", result.err);
}

TEST_F(Render, CtrlCLeavesNoFileBehind) {
  WriteGreyClip(Path("long.mp4"), {{320, 240}, {25, 1}, {1, 1}, 100});
  for (const char* name : {"x.webm", "x%d.png"}) {
    // VP9 of pictures this large takes far longer than the signal.
    RunningKivclip program({"render", Path("long.mp4"), "-o", Path(name), "--size", "2560x1440",
                            "--progress", "json"});
    ASSERT_NE("", program.ReadSomeErrors());
    program.Signal(SIGINT);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(130, result.status) << name;
    EXPECT_NE(std::string::npos, result.err.find("kivclip: interrupted\n"));
    EXPECT_EQ((Names{"clip.mkv", "long.mp4"}), folder_.Names()) << name;
  }
}

TEST_F(Render, AClipCutShortStillGivesEveryFrameItAnnounces) {
  WriteGreyClip(Path("bad.mp4"), {{320, 240}, {25, 1}, {1, 1}, 50});
  const std::string bytes = ReadBytes(Path("bad.mp4"));
  // The index is in front: what is cut away are pictures.
  WriteText(Path("bad.mp4"), bytes.substr(0, bytes.size() - bytes.size() / 8));
  const Json::Value info = ParseJson(RunKivclip({"info", Path("bad.mp4"), "--json"}).out);
  const ProgramResult result = RunKivclip({"render", Path("bad.mp4"), "-o", Path("x.y4m")});
  ASSERT_EQ(0, result.status) << result.err;
  EXPECT_LE(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  EXPECT_EQ(info["frames"].asUInt(), ReadVideo(Path("x.y4m")).pixels.size());
}

TEST_F(Render, InfoDescribesTheStream) {
  WriteGreyClip(Path("in.mp4"), {{320, 240}, {30000, 1001}, {16, 11}, 30});
  const ProgramResult text = RunKivclip({"info", Path("in.mp4")});
  ASSERT_EQ(0, text.status) << text.err;
  for (const char* part : {"h264", "320x240", "30000/1001", "16/11", "bt601", "limited"}) {
    EXPECT_NE(std::string::npos, text.out.find(part)) << part << text.out;
  }
  const ProgramResult result = RunKivclip({"info", Path("in.mp4"), "--json"});
  ASSERT_EQ(0, result.status);
  const Json::Value info = ParseJson(result.out);
  EXPECT_EQ("h264", info["codec"].asString());
  EXPECT_EQ(320, info["size"]["width"].asInt());
  EXPECT_EQ("30000/1001", info["frame_rate"].asString());
  EXPECT_TRUE(info["constant_rate"].asBool());
  EXPECT_EQ(30, info["frames"].asInt());
  EXPECT_NEAR(1.001, info["duration_s"].asDouble(), 0.0001);
  EXPECT_EQ(0, info["rotation"].asInt());
  EXPECT_EQ("bt601", info["colour"]["matrix"].asString());
  ASSERT_FALSE(info["key_frames"].empty());
  EXPECT_EQ(0, info["key_frames"][0].asInt());
}

TEST_F(Render, RegistrationIsWrittenUsedAndTakenBack) {
  setenv("KIV_REGISTRY", Path("registry.json").c_str(), 1);
  EXPECT_EQ(0, RunKivclip({"register"}).status);
  EXPECT_NE(std::string::npos, ReadBytes(Path("registry.json")).find("libkiv"));
  EXPECT_EQ(0, RunKivclip({"render", Path("clip.mkv"), "-o", "null"}).status);
  EXPECT_EQ(0, RunKivclip({"unregister"}).status);
  EXPECT_EQ(std::string::npos, ReadBytes(Path("registry.json")).find("libkiv"));
  EXPECT_EQ(0, RunKivclip({"unregister"}).status);
  EXPECT_EQ(0, RunKivclip({"render", Path("clip.mkv"), "-o", "null"}).status);
  setenv("KIV_REGISTRY", Path("none/registry.json").c_str(), 1);
  WriteText(Path("none"), "a file where a folder is wanted");
  const ProgramResult result = RunKivclip({"register"});
  EXPECT_EQ(1, result.status);
  EXPECT_NE(std::string::npos, result.err.find("registry")) << result.err;
  unsetenv("KIV_REGISTRY");
}

}  // namespace
