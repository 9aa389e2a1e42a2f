// render, frame and sheet on real files: the pictures, the streams, and what is left when it goes wrong.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include "test/cli/RunProgram.h"
#include "test/support/NumberedClip.h"
#include "test/write/WriterReadBack.h"

namespace {

using Names = std::vector<std::string>;

Json::Value ParseJson(const std::string& text) {
  Json::Value root;
  std::istringstream stream(text);
  std::string errors;
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &root, &errors)) << text;
  return root;
}

class Render : public testing::Test {
 protected:
  void SetUp() override { WriteGreyClip(Path("clip.mkv")); }
  std::string Path(const std::string& name) const { return folder_.Path(name); }
  Json::Value JsonOf(const std::string& name) const { return ParseJson(ReadBytes(Path(name))); }
  // For lines that succeed.
  ProgramResult Run(const std::string& line) const {
    const ProgramResult result = RunKivclip(folder_, line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result;
  }
  void ExpectGreys(const std::string& name, int first, size_t count, int tolerance) const {
    const ReadBack back = ReadVideo(Path(name));
    ASSERT_EQ(count, back.pixels.size()) << name;
    for (size_t i = 0; i < count; ++i) {
      EXPECT_NEAR(GreyOf(first + static_cast<int>(i)), back.pixels[i][0], tolerance)
          << name << " frame " << i;
    }
  }

  const TestFolder folder_;
};

TEST_F(Render, WritesEveryFrameInEveryVideoFormat) {
  for (const char* name : {"x.mp4", "x.mov", "x.webm", "x.y4m", "x.mkv"}) {
    const std::string codec = std::string(name) == "x.mkv" ? " --codec ffv1" : "";
    const ProgramResult result = Run(std::string("render @clip.mkv -o @") + name + codec);
    EXPECT_EQ("", result.out + result.err) << name;
    ExpectGreys(name, 0, 20, codec.empty() ? 3 : 0);
  }
  EXPECT_EQ(6u, folder_.Names().size());
}

TEST_F(Render, WritesHevcAndAv1ThatItReadsBackFrameByFrame) {
  WriteBytes(Path("n.mp4"), ReadBytes(kivtest::MakeClip({.frames = 20})));
  const struct {
    const char *name, *codec;
  } cases[] = {
      {"x.mp4", "hevc"}, {"x.mkv", "hevc"}, {"x.mp4", "av1"}, {"x.mkv", "av1"}, {"x.webm", "av1"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + c.codec);
    const std::string coded = std::string("@") + c.name + " --codec " + c.codec;
    EXPECT_EQ("", Run("render @n.mp4 -o " + coded).err);
    const Json::Value info = ParseJson(Run(std::string("info --json @") + c.name).out);
    EXPECT_EQ(c.codec, info["codec"].asString());
    EXPECT_EQ(20, info["frames"].asInt());
    EXPECT_NEAR(0.8, info["duration_s"].asDouble(), 0.001);
    const std::string raw = Run(std::string("render -o - --format bgra @") + c.name).out;
    ASSERT_EQ(size_t{20} * 192 * 112 * 4, raw.size());
    for (int i = 0; i < 20; ++i) {
      const auto* const picture = reinterpret_cast<const uint8_t*>(raw.data()) + i * 192 * 112 * 4;
      EXPECT_EQ(i, kivtest::ReadNumber(picture, 192, 112));
    }
  }
  // What players of one maker look for.
  Run("render @n.mp4 -o @x.mp4 --codec hevc");
  EXPECT_NE(std::string::npos, ReadBytes(Path("x.mp4")).find("hvc1"));
}

TEST_F(Render, WritesJpegPicturesOneOrNumbered) {
  Run("render @clip.mkv -o @p%02d.jpg --frames 9:11 --quality 90");
  Run("frame @clip.mkv --at 19 -o @q.jpeg");
  EXPECT_EQ((Names{"clip.mkv", "p09.jpg", "p10.jpg", "p11.jpg", "q.jpeg"}), folder_.Names());
  ExpectGreys("p09.jpg", 9, 1, 1);
  ExpectGreys("p11.jpg", 11, 1, 1);
  ExpectGreys("q.jpeg", 19, 1, 1);
  EXPECT_EQ("mjpeg", ReadVideo(Path("q.jpeg")).codec);
}

TEST_F(Render, OnePictureGoesToStandardOutputAsPng) {
  for (const char* line :
       {"frame @clip.mkv --at 7 -o -", "render @clip.mkv --frames 7:7 -o - --format png"}) {
    WriteBytes(Path("x.png"), Run(line).out);
    ExpectGreys("x.png", 7, 1, 0);
    EXPECT_EQ("png", ReadVideo(Path("x.png")).codec);
  }
  WriteBytes(Path("x.png"), Run("sheet @clip.mkv --frames 0:3 -o -").out);
  EXPECT_EQ("png", ReadVideo(Path("x.png")).codec);
}

TEST_F(Render, ATerminalGetsNoPictures) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(0, grantpt(terminal));
  ASSERT_EQ(0, unlockpt(terminal));
  const std::string name = ptsname(terminal);
  for (const auto& [line, says] : {std::pair{"render @clip.mkv -o -", "raw video"},
                                   {"render @clip.mkv -o - --format bgra", "raw video"},
                                   {"frame @clip.mkv --at 1 -o -", "a picture"}}) {
    const ProgramResult result = RunKivclip(folder_, line, name);
    EXPECT_EQ(2, result.status);
    EXPECT_NE(std::string::npos, result.err.find(std::string("cannot show ") + says)) << result.err;
  }
  close(terminal);
}

TEST_F(Render, TakesTheSoundAlongOrSaysWhyNot) {
  WriteSound(Path("sound.mkv"), 1, 0);
  WriteGreyClip(Path("clip.mkv"), {{64, 48}, {25, 1}, {1, 1}, 0, Path("sound.mkv")}, 20);
  const struct {
    const char *options, *why;
  } cases[] = {{"-o @x.mkv", nullptr},
               {"-o @x.mkv --crop 0,0,0.5,0.5 --fps 50", nullptr},
               {"-o @x.mkv --speed 2", "the speed is 2/1"},
               {"-o @x.mkv --reverse", "backwards"},
               {"-o @x.mkv --frames 1:", "only a part"},
               {"-o @x.mp4", "cannot hold it"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.options);
    const ProgramResult result = Run(std::string("render @clip.mkv --report @r.json ") + c.options);
    const Json::Value sound = JsonOf("r.json")["sound"];
    EXPECT_EQ(1, sound["streams"].asInt());
    EXPECT_EQ(c.why == nullptr ? 1 : 0, sound["copied"].asInt());
    EXPECT_EQ(c.why == nullptr ? 0 : 1, std::count(result.err.begin(), result.err.end(), '\n'));
    if (c.why != nullptr) {
      EXPECT_NE(std::string::npos, result.err.find(c.why)) << result.err;
      EXPECT_NE(std::string::npos, sound["left_out_because"].asString().find(c.why));
    }
  }
  EXPECT_EQ("", Run("render @clip.mkv -o @x.mp4 --reverse --quiet").err);
}

TEST_F(Render, ScalesInTheSourceAndKeepsTheShapeAndTheRate) {
  WriteGreyClip(Path("in.mkv"), {{64, 48}, {30000, 1001}, {16, 11}}, 5);
  const struct {
    const char* options;
    KivSize size;
    KivRational aspect;
  } cases[] = {{"clip.mkv --size 32x24", {32, 24}, {1, 1}},
               {"clip.mkv --size 64x24", {64, 24}, {1, 2}},
               {"clip.mkv --decode-scale 1/3", {21, 16}, {1, 1}},
               {"in.mkv --size 128x96 --decode-scale 1/4", {32, 24}, {16, 11}}};
  for (const auto& c : cases) {
    Run(std::string("render -o @x.y4m @") + c.options);
    const bool cinema = c.options[0] == 'i';
    const ReadBack back = ReadVideo(Path("x.y4m"));
    EXPECT_EQ(c.size, back.size) << c.options;
    EXPECT_EQ(c.aspect, back.aspect) << c.options;
    EXPECT_EQ(cinema ? 30000 : 25, back.rate.numerator) << c.options;
    ExpectGreys("x.y4m", 0, cinema ? 5 : 20, 1);
  }
}

TEST_F(Render, FramesSelectsResultFramesAndNumbersThem) {
  Run("render @clip.mkv -o @p%02d.png --frames 9:11");
  Run("frame @clip.mkv --at 19 -o @p19.png");
  EXPECT_EQ((Names{"clip.mkv", "p09.png", "p10.png", "p11.png", "p19.png"}), folder_.Names());
  ExpectGreys("p09.png", 9, 1, 0);
  ExpectGreys("p10.png", 10, 1, 0);
  ExpectGreys("p19.png", 19, 1, 0);
}

TEST_F(Render, FramesAloneGoToStandardOutput) {
  const ProgramResult raw = Run("render @clip.mkv -o - --format bgra --frames 3:4");
  EXPECT_EQ("", raw.err);
  const size_t frame = 64 * 48 * 4;
  ASSERT_EQ(2 * frame, raw.out.size());
  EXPECT_EQ(GreyOf(3), static_cast<uint8_t>(raw.out[0]));
  EXPECT_EQ(GreyOf(4), static_cast<uint8_t>(raw.out[frame]));
  EXPECT_EQ(255, static_cast<uint8_t>(raw.out[frame + 3]));
  const ProgramResult result = Run("render @clip.mkv -o -");
  const std::string header = result.out.substr(0, result.out.find('\n'));
  EXPECT_EQ(0u, header.find("YUV4MPEG2 W64 H48 F25:1 ")) << header;
  EXPECT_EQ(header.size() + 1 + 20 * (6 + 64 * 48 * 3 / 2), result.out.size());
}

TEST_F(Render, NodesWithoutAClassLeaveTheFramesAsTheyAre) {
  Run("render @clip.mkv -o @x.mkv --codec ffv1 "
      "--chain source,alpha,stabilizer,cache,rate,reverse,speed,crop");
  ExpectGreys("x.mkv", 0, 20, 0);
}

TEST_F(Render, AProxyGivesThePicturesInTheClipsSizeUntilItIsTurnedOff) {
  WriteGreyClip(Path("proxy.mkv"), {{32, 24}}, 20, 100);
  const auto levelWith = [this](const std::string& options) {
    Run("frame @clip.mkv --at 5 -o @a.png" + options);
    const ReadBack back = ReadVideo(Path("a.png"));
    EXPECT_EQ(64, back.size.width);
    return int{back.pixels.at(0)[0]};
  };
  EXPECT_EQ(GreyOf(5) + 100, levelWith(" --proxy @proxy.mkv --save-settings @s.json"));
  EXPECT_EQ(GreyOf(5) + 100, levelWith(" --settings @s.json"));
  EXPECT_EQ(GreyOf(5), levelWith(" --settings @s.json --no-proxy"));
  EXPECT_EQ(GreyOf(5), levelWith(""));
}

TEST_F(Render, AProxyThatCannotBeUsedIsToldAndTheClipShown) {
  WriteBytes(Path("text.mkv"), "text");
  WriteGreyClip(Path("proxy.mkv"), {{32, 24}}, 20, 100);
  Run("frame @clip.mkv --at 5 -o @a.png --proxy @proxy.mkv --save-settings @s.json");
  std::filesystem::remove(Path("proxy.mkv"));
  for (const char* options : {"--proxy @text.mkv", "--settings @s.json"}) {
    const ProgramResult result = Run(std::string("frame @clip.mkv --at 5 -o @a.png ") + options);
    EXPECT_EQ(GreyOf(5), ReadVideo(Path("a.png")).pixels.at(0)[0]) << options;
    EXPECT_NE(std::string::npos, result.err.find("the proxy '")) << options << result.err;
    EXPECT_EQ(1, std::count(result.err.begin(), result.err.end(), '\n')) << result.err;
  }
  EXPECT_EQ("", Run("frame @clip.mkv --at 5 -o @a.png --settings @s.json --no-proxy").err);
}

TEST_F(Render, AProxyThatEndsBeforeTheClipIsToldAndItsLastPictureStays) {
  WriteGreyClip(Path("proxy.mkv"), {{32, 24}}, 12, 100);
  const ProgramResult result = Run("frame @clip.mkv --at 15 -o @a.png --proxy @proxy.mkv");
  EXPECT_EQ(GreyOf(11) + 100, ReadVideo(Path("a.png")).pixels.at(0)[0]);
  EXPECT_NE(std::string::npos, result.err.find("s before the clip")) << result.err;
  WriteGreyClip(Path("proxy.mkv"), {{32, 24}}, 19, 100);
  EXPECT_EQ("", Run("frame @clip.mkv --at 15 -o @a.png --proxy @proxy.mkv").err);
}

TEST_F(Render, SettingsKeepWhatTheyDoNotKnow) {
  Run("render @clip.mkv -o null --save-settings @first.json");
  Json::Value settings = JsonOf("first.json");
  settings["clip"]["Some.Future.Key"]["type"] = "int";
  settings["clip"]["Some.Future.Key"]["value"] = "41";
  settings["note"] = "kept";
  WriteBytes(Path("first.json"), settings.toStyledString());
  Run("render @clip.mkv -o null --settings @first.json --save-settings @second.json");
  EXPECT_EQ(settings, JsonOf("second.json"));
}

TEST_F(Render, ProgressReachesTheEndAndTheReportSaysWhatWasDone) {
  const std::string options = " --report @r.json --frames 2:11 --progress json";
  std::istringstream lines(Run("render @clip.mkv -o @x.mp4" + options).err);
  Json::Value last;
  for (std::string line; std::getline(lines, line);) {
    last = ParseJson(line);
    EXPECT_EQ(10, last["frames"].asInt());
  }
  EXPECT_EQ(10, last["frame"].asInt());
  EXPECT_GT(last["fps"].asDouble(), 0);
  EXPECT_EQ(0, last["eta_s"].asDouble());
  const Json::Value report = JsonOf("r.json");
  EXPECT_EQ(10, report["frames"].asInt());
  EXPECT_EQ(64, report["width"].asInt());
  EXPECT_GT(report["fps"].asDouble(), 0);
  EXPECT_GE(report["wall_seconds"].asDouble(), report["pull_seconds"].asDouble());
  EXPECT_GE(report["node_seconds"]["source"].asDouble(), report["decoder_seconds"].asDouble());
  EXPECT_GT(report["write_seconds"].asDouble(), 0);
  EXPECT_EQ(10, report["decoder"]["pictures_converted"].asInt());
  EXPECT_EQ(0, report["decoder"]["pictures_not_read"].asInt());
  EXPECT_GT(report["memory"]["peak_bytes"].asInt64(), 1 << 20);
}

TEST_F(Render, TheBarGrowsOnOneLineAndLeavesNothingBehind) {
  const std::string shown = Run("render @clip.mkv -o @x.mp4 --progress bar").err;
  EXPECT_EQ(std::string::npos, shown.find('\n'));
  const std::string clear = "\r\033[K";
  EXPECT_TRUE(shown.ends_with(clear)) << shown;
  const std::string last = shown.substr(0, shown.size() - clear.size());
  EXPECT_TRUE(std::regex_match(last.substr(last.rfind(clear) + clear.size()),
                               std::regex(R"(\[={30}\] 100%  [0-9]+\.[0-9] fps  0:00 left)")))
      << shown;
  EXPECT_EQ("", Run("render @clip.mkv -o @x.mp4").err);
}

TEST_F(Render, TheReportTellsTheTimeOfEachNode) {
  Run("render @clip.mkv -o null --speed 1/4 --crop 0,0,0.5,0.5 --report @r.json");
  const Json::Value report = JsonOf("r.json");
  const Json::Value nodes = report["node_seconds"];
  EXPECT_EQ((std::vector<std::string>{"crop", "source", "speed"}), nodes.getMemberNames());
  double sum = 0;
  for (const Json::Value& seconds : nodes) sum += seconds.asDouble();
  EXPECT_LE(sum, report["wall_seconds"].asDouble());
  // Three of four pictures are generated: that is where the time goes.
  EXPECT_GT(nodes["speed"].asDouble(), nodes["crop"].asDouble());
  EXPECT_GE(nodes["source"].asDouble(), report["decoder_seconds"].asDouble());
}

TEST_F(Render, BackwardsWithinTheMemoryAllowed) {
  const std::string clip = kivtest::MakeClip({.size = {640, 368}, .gop = 30, .bFrames = 2});
  for (const int mebibytes : {0, 3, 64}) {
    SCOPED_TRACE(mebibytes);
    const std::string budget = std::to_string(mebibytes);
    Run("render " + clip + " -o null --reverse --memory " + budget + " --report @r.json");
    const Json::Value report = JsonOf("r.json");
    const Json::Value& decoder = report["decoder"];
    EXPECT_EQ(int64_t{mebibytes} << 20, report["memory"]["picture_budget_bytes"].asInt64());
    EXPECT_LE(decoder["cache_bytes_now"].asInt64(), decoder["cache_bytes_at_most"].asInt64());
    EXPECT_LE(decoder["cache_bytes_at_most"].asInt64(), int64_t{mebibytes} << 20);
    EXPECT_EQ(mebibytes > 0, decoder["pictures_from_memory"].asInt() > 20);
    EXPECT_EQ(mebibytes<64, decoder["pictures_passed_over"].asInt()> 0);
  }
}

TEST_F(Render, AnOutputThatTakesNoMoreIsOneLineAndStatusOne) {
  const ProgramResult full = RunKivclip(folder_, "render @clip.mkv -o -", "/dev/full");
  EXPECT_EQ(1, full.status);
  EXPECT_EQ("kivclip: cannot write standard output: No space left on device\n", full.err);
  WriteGreyClip(Path("long.mp4"), {{320, 240}}, 100);
  RunningKivclip program(folder_, "render @long.mp4 -o -");
  ASSERT_NE("", program.ReadSomeOutput());
  program.CloseOutput();
  const ProgramResult result = program.Wait();
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("kivclip: cannot write standard output: Broken pipe\n", result.err);
}

TEST_F(Render, CtrlCEndsAWriteThatIsStuckAndLeavesNoFileBehind) {
  WriteGreyClip(Path("long.mp4"), {{320, 240}}, 100);
  // VP9 of pictures this large takes far longer than the signal.
  for (const char* output : {"-", "@x.webm --size 2560x1440", "@x%d.png --size 2560x1440"}) {
    SCOPED_TRACE(output);
    RunningKivclip program(folder_, std::string("render @long.mp4 --progress json -o ") + output);
    if (output[0] == '-') {
      program.WaitUntilOutputIsFull();  // nobody reads the pipe
    } else {
      ASSERT_NE("", program.ReadSomeErrors());
    }
    program.Signal(SIGINT);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(130, result.status);
    EXPECT_TRUE(result.err.ends_with("kivclip: interrupted\n")) << result.err;
    EXPECT_EQ((Names{"clip.mkv", "long.mp4"}), folder_.Names());
  }
}

TEST_F(Render, OfAClipThatCannotBeDecodedTheColoursAreUnknown) {
  std::string bytes = ReadBytes(kivtest::MakeClip({.frames = 10}));
  const size_t pictures = bytes.find("mdat");
  ASSERT_NE(std::string::npos, pictures);
  // They come after the index, or before it.
  const size_t index = bytes.find("moov");
  const size_t end = index > pictures ? index - 4 : bytes.size();
  std::fill(bytes.begin() + static_cast<ptrdiff_t>(pictures) + 4,
            bytes.begin() + static_cast<ptrdiff_t>(end), '\0');
  WriteBytes(Path("bad.mp4"), bytes);
  const std::string text = Run("info @bad.mp4").out;
  EXPECT_NE(std::string::npos, text.find("\ncolour        unknown\n")) << text;
  const Json::Value colour = ParseJson(Run("info @bad.mp4 --json").out)["colour"];
  for (const char* const name : {"matrix", "range", "bits", "pixel_format"}) {
    EXPECT_TRUE(colour.isMember(name) && colour[name].isNull()) << name;
  }
}

TEST_F(Render, AClipCutShortIsToldAndStillGivesEveryFrameItAnnounces) {
  WriteGreyClip(Path("bad.mp4"), {{320, 240}}, 50);
  const std::string bytes = ReadBytes(Path("bad.mp4"));
  // The index is in front: what is cut away are pictures.
  WriteBytes(Path("bad.mp4"), bytes.substr(0, bytes.size() - bytes.size() / 8));
  const Json::Value info = ParseJson(Run("info @bad.mp4 --json").out);
  const ProgramResult result = Run("render @bad.mp4 -o @x.y4m");
  const std::string warning = "kivclip: warning: '" + Path("bad.mp4") + "' is cut off: ";
  ASSERT_TRUE(result.err.starts_with(warning)) << result.err;
  const int beyond = std::stoi(result.err.substr(warning.size()));
  EXPECT_NEAR(50, beyond + info["frames"].asInt(), 2) << "one may be there in part";
  EXPECT_EQ("", Run("info @clip.mkv").err);
  EXPECT_EQ(info["frames"].asUInt(), ReadVideo(Path("x.y4m")).pixels.size());
}

TEST_F(Render, AVariableRateIsKeptUnlessTheResultHasItsOwn) {
  kiv::PictureSeries series{{64, 48}};
  for (const int time : {0, 185, 218, 251, 500, 533, 566}) {
    series.times.push_back(int64_t{time} * 10'000);
  }
  WriteGreyClip(Path("in.mp4"), series, 6);
  const struct {
    const char* options;
    std::vector<double> times;
  } cases[] = {{"", {0, 0.185, 0.218, 0.251, 0.5, 0.533}},
               {"--crop 0,0,0.5,0.5 --frames 1:3", {0, 0.033, 0.066}},
               {"--fps 10 --frames 0:2", {0, 0.1, 0.2}}};
  for (const auto& c : cases) {
    Run(std::string("render @in.mp4 -o @out.mov ") + c.options);
    const std::vector<double> times = ReadVideo(Path("out.mov")).times;
    ASSERT_EQ(c.times.size(), times.size()) << c.options;
    for (size_t i = 0; i < times.size(); ++i) {
      EXPECT_NEAR(c.times[i], times[i], 0.0006) << c.options << ", frame " << i;
    }
  }
}

TEST_F(Render, ADamagedStretchIsToldAndCounted) {
  WriteGreyClip(Path("bad.mp4"), {{320, 240}}, 50);
  std::string bytes = ReadBytes(Path("bad.mp4"));
  for (size_t i = 0; i < 400; ++i) bytes[bytes.size() / 2 + i] = static_cast<char>(i * 37);
  WriteBytes(Path("bad.mp4"), bytes);
  const ProgramResult result = Run("render @bad.mp4 -o @x.y4m --report @r.json");
  const int lost = JsonOf("r.json")["decoder"]["pictures_not_read"].asInt();
  EXPECT_GT(lost, 0);
  EXPECT_NE(std::string::npos, result.err.find("warning: " + std::to_string(lost) + " of"))
      << result.err;
  EXPECT_EQ(50u, ReadVideo(Path("x.y4m")).pixels.size());
}

// H.264 has even sides.
TEST_F(Render, ASizeThatTheEncoderRoundsUpIsToldAndReported) {
  const auto widthOf = [this](const std::string& output, bool told) {
    const std::string err = Run("render @clip.mkv --size 81x61 --report @r.json -o @" + output).err;
    EXPECT_EQ(told, err.find("82x62") != std::string::npos) << output << err;
    EXPECT_EQ(JsonOf("r.json")["height"].asInt(), ReadVideo(Path(output)).size.height);
    return JsonOf("r.json")["width"].asInt();
  };
  EXPECT_EQ(82, widthOf("x.mp4", true));
  EXPECT_EQ(81, widthOf("x.webm", false));
  EXPECT_EQ(81, widthOf("x.y4m", false));
}

TEST_F(Render, InfoDescribesTheStream) {
  WriteGreyClip(Path("in.mp4"), {{320, 240}, {30000, 1001}, {16, 11}}, 30);
  EXPECT_NE(std::string::npos, Run("info @in.mp4").out.find("320x240"));
  const Json::Value info = ParseJson(Run("info @in.mp4 --json").out);
  EXPECT_EQ(320, info["size"]["width"].asInt());
  EXPECT_EQ("30000/1001", info["frame_rate"].asString());
  EXPECT_EQ(30, info["frames"].asInt());
  EXPECT_NEAR(1.001, info["duration_s"].asDouble(), 0.0001);
  EXPECT_EQ("bt601", info["colour"]["matrix"].asString());
  EXPECT_EQ("limited", info["colour"]["range"].asString());
  ASSERT_FALSE(info["key_frames"].empty());
}

// 20 frames of 64x48 make 5 columns of 320x240 tiles over labels of 22 lines, 4 pixels apart.
TEST_F(Render, ASheetShowsEveryFrameInOrderUnderItsOwnLabel) {
  EXPECT_EQ("", Run("sheet @clip.mkv -o @sheet.png").out);
  const ReadBack sheet = ReadVideo(Path("sheet.png"));
  ASSERT_EQ(5 * 324 + 4, sheet.size.width);
  ASSERT_EQ(4 * 266 + 4, sheet.size.height);
  std::set<std::vector<int>> labels;  // each the places of its light dots
  for (int tile = 0; tile < 20; ++tile) {
    const auto blue = [&](int x, int y) {
      const int row = 4 + tile / 5 * 266 + y;
      return sheet
          .pixels[0][static_cast<size_t>((row * sheet.size.width + 4 + tile % 5 * 324 + x) * 4)];
    };
    EXPECT_NEAR(GreyOf(tile), blue(160, 120), 3) << tile;
    std::vector<int> dots;
    for (int i = 0; i < 22 * 320; ++i) {
      if (blue(i % 320, 240 + i / 320) > 128) dots.push_back(i);
    }
    EXPECT_FALSE(dots.empty()) << tile;
    labels.insert(dots);
  }
  EXPECT_EQ(20u, labels.size());
  EXPECT_NE(std::string::npos, Run("sheet @clip.mkv -o @sheet.png --speed 1/50 --interpolation off")
                                   .err.find("one frame in 3 of 1000"));
  Run("sheet @clip.mkv -o @sheet.png --frames 7:7");
  const ReadBack one = ReadVideo(Path("sheet.png"));
  EXPECT_EQ(480 + 8, one.size.width);
  EXPECT_NEAR(GreyOf(7), one.pixels[0][static_cast<size_t>((184 * one.size.width + 244) * 4)], 3);
}

TEST_F(Render, RegistrationIsWrittenUsedAndTakenBack) {
  setenv("KIV_REGISTRY", Path("registry.json").c_str(), 1);
  Run("register");
  EXPECT_NE(std::string::npos, ReadBytes(Path("registry.json")).find("libkiv"));
  Run("render @clip.mkv -o null");
  Run("unregister");
  EXPECT_EQ(std::string::npos, ReadBytes(Path("registry.json")).find("libkiv"));
  Run("unregister");
  Run("render @clip.mkv -o null");
  unsetenv("KIV_REGISTRY");
}

}  // namespace
