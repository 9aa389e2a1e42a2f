// Steadying real files: a scene that shakes as we made it shake, measured again in what comes out.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <memory>
#include <random>
#include <sstream>

#include "test/cli/RunProgram.h"
#include "test/motion/Scene.h"
#include "test/support/NumberedClip.h"
#include "test/write/WriterReadBack.h"

namespace {

constexpr KivSize kSize{320, 180};
constexpr int kFrames = 30;

using Pictures = std::vector<std::string>;

void WriteShakenClip(const std::string& path) {
  kiv::OutputPlan plan;
  std::unique_ptr<kiv::Writer> writer;
  kiv::PlanOutput({path, "", "ffv1"}, &plan);
  kiv::OpenWriter(plan, {kSize}, nullptr, &writer);
  const test::Scene scene(7);
  std::mt19937 random(11);
  std::uniform_real_distribution<double> shake(-3, 3);
  for (int i = 0; i < kFrames; ++i) {
    writer->Write(test::Render(scene, kSize, {shake(random), shake(random), 0}).data());
  }
  writer->Finish();
}

// How far a curve of one colour goes up and down in the uppermost panel, column by column.
double RowsTravelled(const ReadBack& plot, std::array<int, 3> rgb) {
  constexpr int kBelowNames = 50, kPanelEnd = 320;
  double travelled = 0, last = -1;
  for (int x = 0; x < plot.size.width; ++x) {
    double sum = 0, count = 0;
    for (int y = kBelowNames; y < kPanelEnd; ++y) {
      const uint8_t* const bgr = &plot.pixels[0][4u * (y * plot.size.width + x)];
      if (std::abs(bgr[2] - rgb[0]) + std::abs(bgr[1] - rgb[1]) + std::abs(bgr[0] - rgb[2]) > 30) {
        continue;
      }
      sum += y;
      ++count;
    }
    if (count == 0) continue;
    if (last >= 0) travelled += std::abs(sum / count - last);
    last = sum / count;
  }
  return travelled;
}

struct Stabilize : testing::Test {
  Stabilize() { WriteShakenClip(folder.Path("clip.mkv")); }
  ProgramResult Run(const std::string& line) const {
    const ProgramResult result = RunKivclip(folder, line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result;
  }
  Pictures Rendered(const std::string& options, KivSize size = kSize) const {
    const std::string raw = Run("render @clip.mkv -o - --format bgra " + options).out;
    const auto bytes = static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 4;
    Pictures pictures;
    for (size_t at = 0; at + bytes <= raw.size(); at += bytes) {
      pictures.push_back(raw.substr(at, bytes));
    }
    return pictures;
  }
  // The motion data in a settings file.
  Json::Value Data(const std::string& name) const {
    Json::Value root;
    std::istringstream(ReadBytes(folder.Path(name))) >> root;
    return root["clip"]["Stabilization.AnalyzedData"];
  }
  // Root mean square of what the content moves from frame to frame, in pixels of the file.
  double Shake(const std::string& name) const {
    std::filesystem::remove(folder.Path("m.json"));
    Run("stabilize @" + name + " --settings @m.json");
    const Json::Value data = Data("m.json");
    double sum = 0;
    for (int i = 1; i < kFrames; ++i) {
      const std::string text = data["Stab-Data-" + std::to_string(i)]["value"].asString();
      int dx = 0, dy = 0, da = 0;
      EXPECT_EQ(3, sscanf(text.c_str(), "dx:%d,%dy,da:%d", &dx, &dy, &da)) << text;
      sum += (double{1} * dx * dx + double{1} * dy * dy) / 1e8;
    }
    return std::sqrt(sum / (kFrames - 1));
  }
  void ReplaceInSettings(const std::string& name, const std::string& from, const std::string& to) {
    std::string text = ReadBytes(folder.Path(name));
    ASSERT_NE(std::string::npos, text.find(from));
    text.replace(text.find(from), from.size(), to);
    WriteBytes(folder.Path(name), text);
  }

  const TestFolder folder;
};

TEST_F(Stabilize, WhatShookStandsStillWhateverItIsReadFrom) {
  const double shaken = Shake("clip.mkv");
  EXPECT_NEAR(3.5, shaken, 1.0);  // two draws of +-3 in each direction
  Run("render @clip.mkv -o @small.mkv --codec ffv1 --decode-scale 1/2");
  const struct {
    const char* options;
    double most;  // of the shake in a picture of that size
  } cases[] = {{"--stabilize=50", 1},
               {"--stabilize=50 --decode-scale 1/2", 0.5},
               {"--stabilize=50 --size 160x90", 0.5},
               {"--stabilize=50 --proxy @small.mkv", 1},
               {"--stabilize=50 --chain source,cache,stabilizer", 1}};
  for (const auto& c : cases) {
    Run(std::string("render @clip.mkv -o @steady.mkv --codec ffv1 ") + c.options);
    EXPECT_LT(Shake("steady.mkv"), 0.15 * c.most * shaken) << c.options;
  }
}

TEST_F(Stabilize, ASourceFrameLooksTheSameWhicheverWayItComes) {
  const Pictures all = Rendered("--stabilize");
  ASSERT_EQ(static_cast<size_t>(kFrames), all.size());
  EXPECT_NE(all, Rendered(""));
  Run("verify @clip.mkv --stabilize");
  Run("verify @clip.mkv --stabilize --reverse --crop 0,0,0.5,0.5");
  const struct {
    const char* options;
    std::vector<size_t> shown;
  } cases[] = {{"--frames 7:9", {7, 8, 9}},
               {"--frames 29:29", {29}},
               {"--reverse --frames 0:2", {29, 28, 27}},
               {"--reverse --reverse-range 5:7", {7, 6, 5}},
               {"--speed 2 --frames 3:5", {6, 8, 10}},
               {"--speed 1/2 --interpolation off --frames 5:8", {3, 3, 4, 4}},
               {"--fps 50 --frames 4:7", {2, 3, 3, 4}},
               {"--reverse --speed 2 --frames 1:2", {27, 25}}};
  for (const auto& c : cases) {
    const Pictures some = Rendered(std::string("--stabilize ") + c.options);
    ASSERT_EQ(c.shown.size(), some.size()) << c.options;
    for (size_t i = 0; i < some.size(); ++i) {
      EXPECT_TRUE(all[c.shown[i]] == some[i]) << c.options << ", frame " << i;
    }
  }
}

// A preset of 1.2 s waits at frame 9 for the 0.8 s by which the result is longer.
TEST_F(Stabilize, WhatAPresetHoldsStandsStill) {
  const std::string preset = " --alpha-preset --alpha-pause 0.4 --alpha-length 2 ";
  const Pictures steady = Rendered("--stabilize=50"), shaken = Rendered("");
  const Pictures held = Rendered(preset);
  for (const std::string chain : {"", "--chain source,stabilizer,cache,alpha,rate"}) {
    const Pictures shown = Rendered("--stabilize=50" + preset + chain);
    ASSERT_EQ(50u, shown.size());
    for (size_t i = 0; i < shown.size(); ++i) {
      const auto number = std::find(shaken.begin(), shaken.end(), held[i]) - shaken.begin();
      ASSERT_LT(number, kFrames);
      if (i >= 9 && i <= 29) {
        EXPECT_EQ(9, number);
      }
      EXPECT_TRUE(steady[static_cast<size_t>(number)] == shown[i]) << chain << i;
    }
  }
  const std::string other = "render @clip.mkv -o null --stabilize --chain source,alpha,stabilizer";
  const ProgramResult refused = RunKivclip(folder, other + preset);
  EXPECT_EQ(2, refused.status);
  EXPECT_NE(std::string::npos, refused.err.find("stabilizer before alpha")) << refused.err;
}

TEST_F(Stabilize, MotionDataAreMeasuredOnceAndKeptWithTheClip) {
  Run("stabilize @clip.mkv --settings @s.json --level 30 --plot @path.png");
  const ReadBack plot = ReadVideo(folder.Path("path.png"));
  ASSERT_EQ((KivSize{1280, 960}), plot.size);
  const double raw = RowsTravelled(plot, {255, 107, 129});
  const double smooth = RowsTravelled(plot, {89, 211, 107});
  EXPECT_GT(raw, 1000);
  EXPECT_GT(raw, 4 * smooth);
  EXPECT_GT(smooth, 0);
  const std::string full = std::filesystem::canonical(folder.Path("clip.mkv"));
  EXPECT_EQ(full, Data("s.json")["Stab.wstrPath"]["value"].asString());
  EXPECT_EQ("30", Data("s.json")["Stabilization.AnalyzedDataSize"]["value"].asString());
  const Pictures steady = Rendered("--stabilize=30");
  EXPECT_EQ(steady, Rendered("--settings @s.json --save-settings @t.json"));
  EXPECT_EQ(Data("s.json"), Data("t.json"));
  // What stands there is believed, not measured again ...
  const std::string entry = Data("s.json")["Stab-Data-9"]["value"].asString();
  ReplaceInSettings("s.json", entry, "dx:200000,0y,da:0");
  const Pictures adopted = Rendered("--settings @s.json --save-settings @t.json");
  EXPECT_NE(steady, adopted);
  EXPECT_EQ(Data("s.json"), Data("t.json"));
  // ... but not for another file.
  std::filesystem::copy(folder.Path("clip.mkv"), folder.Path("other.mkv"));
  Run("stabilize @other.mkv --settings @s.json");
  EXPECT_EQ(entry, Data("s.json")["Stab-Data-9"]["value"].asString());
  EXPECT_EQ(steady, Rendered("--settings @s.json"));
}

TEST_F(Stabilize, ProgressTellsTheAnalysisFromTheRender) {
  const std::string json = " --progress json";
  const std::string err =
      Run("render @clip.mkv -o null --stabilize --save-settings @s.json" + json).err;
  const size_t render = err.find("\"stage\":\"render\"}");
  EXPECT_LT(err.rfind("\"stage\":\"analysis\"}"), render) << err;
  EXPECT_NE(std::string::npos, render) << err;
  EXPECT_EQ(std::string::npos,
            Run("render @clip.mkv -o null --settings @s.json" + json).err.find("stage"));
  // Three passes, each on the clip opened anew, and one analysis, which is over once.
  const std::string verified = Run("verify @clip.mkv --stabilize" + json).err;
  const std::string over = "{\"frame\":30,\"frames\":30,";
  EXPECT_NE(std::string::npos, verified.find(over)) << verified;
  EXPECT_EQ(verified.find(over), verified.rfind(over)) << verified;
  EXPECT_NE(std::string::npos, verified.find("\"render\"")) << verified;
}

TEST_F(Stabilize, LevelZeroAndSettingsTurnItOff) {
  const Pictures plain = Rendered("");
  EXPECT_EQ(plain, Rendered("--stabilize=0"));
  Run("stabilize @clip.mkv --settings @s.json");
  EXPECT_NE(plain, Rendered("--settings @s.json"));
  EXPECT_EQ(plain, Rendered("--settings @s.json --stabilize=0 --save-settings @s.json"));
  EXPECT_EQ(plain, Rendered("--settings @s.json"));
  EXPECT_NE(plain, Rendered("--settings @s.json --stabilize=5"));
}

TEST_F(Stabilize, TurnedOffItKeepsItsLevelAndAStoredZeroMeansTheUsualOne) {
  const Pictures plain = Rendered(""), strong = Rendered("--stabilize=40");
  Run("stabilize @clip.mkv --settings @s.json --level 40");
  EXPECT_EQ(plain, Rendered("--settings @s.json --stabilize=0 --save-settings @off.json"));
  EXPECT_EQ(plain, Rendered("--settings @off.json"));
  EXPECT_EQ(strong, Rendered("--settings @off.json --stabilize"));
  ReplaceInSettings("off.json", "\"40\"", "\"0\"");
  const Pictures usual = Rendered("--stabilize");
  EXPECT_NE(plain, usual);
  EXPECT_EQ(usual, Rendered("--settings @off.json --stabilize"));
  Run("stabilize @clip.mkv --settings @off.json");
  EXPECT_EQ(usual, Rendered("--settings @off.json"));
}

TEST_F(Stabilize, AnInterruptEndsTheAnalysisAndLeavesNothing) {
  const std::string clip = kivtest::MakeClip({.frames = 3000});
  for (const char* const line : {"stabilize ", "render --stabilize -o @x.mkv "}) {
    const std::string json = line[0] == 's' ? " --settings @s.json" : "";
    RunningKivclip running(folder, line + clip + json + " --progress json");
    EXPECT_NE(std::string::npos, running.ReadSomeErrors().find("\"frames\":3000"));
    running.Signal(SIGINT);
    EXPECT_EQ(130, running.Wait().status);
    EXPECT_EQ(std::vector<std::string>{"clip.mkv"}, folder.Names());
  }
}

}  // namespace
