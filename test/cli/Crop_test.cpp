// --crop and --crop-keyframes on drawn clips, and what the keyframes command says of a document.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "test/cli/RunProgram.h"
#include "test/write/WriterReadBack.h"

namespace {

constexpr int kFrames = 61;
constexpr KivSize kDrawn{320, 180};
// What a filter overshoots is cut at both, which moves edges most.
constexpr int kDark = 0, kLight = 255;
constexpr double kEdgeX = 130, kEdgeY = 70;

using Drawing = std::function<Bgra(int x, int y)>;

// Dark but for the part right of and below the two edges.
Bgra Corner(int x, int y) {
  const auto grey = static_cast<uint8_t>(x >= kEdgeX && y >= kEdgeY ? kLight : kDark);
  return {grey, grey, grey, 255};
}

std::string KeyFrame(int index, const KivRectF& region) {
  char text[200];
  std::snprintf(text, sizeof text,
                R"({"index":%d,"valueType":"KivRectF",)"
                R"("valueValue":"left:%f, top:%f, width:%f, height:%f"})",
                index, region.left, region.top, region.width, region.height);
  return text;
}

std::string Document(const std::string& frames, int dataType = 1) {
  return R"({"FrameRateDen":1,"FrameRateNum":25,"dataType":)" + std::to_string(dataType) +
         R"(,"params":[)" + frames + R"(],"splineDegree":0,"splineType":0})" + "\n";
}

class Crop : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.Path(name); }
  ProgramResult Run(const std::string& line) const {
    const ProgramResult result = RunKivclip(folder_, line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result;
  }
  ReadBack Render(const std::string& options) const {
    Run("render -o @x.mkv --codec ffv1 @" + options);
    return ReadVideo(Path("x.mkv"));
  }
  void Draw(const std::string& name, KivSize size, int count, const Drawing& drawing) const {
    kiv::OutputPlan plan;
    std::unique_ptr<kiv::Writer> writer;
    ASSERT_FALSE(kiv::PlanOutput({Path(name), "", "ffv1"}, &plan));
    ASSERT_FALSE(kiv::OpenWriter(plan, {size}, nullptr, &writer));
    std::vector<uint8_t> bgra;
    for (int i = 0; i < size.width * size.height; ++i) {
      const Bgra pixel = drawing(i % size.width, i / size.width);
      bgra.insert(bgra.end(), {pixel.b, pixel.g, pixel.r, pixel.a});
    }
    for (int i = 0; i < count; ++i) ASSERT_FALSE(writer->Write(bgra.data()));
    ASSERT_FALSE(writer->Finish());
  }
  void Save(const std::string& name, const std::string& text) const {
    WriteBytes(Path(name), text);
  }

  const TestFolder folder_;
};

// Where a row of greys crosses the middle between dark and light, in pixels from its begin.
double Crossing(const std::function<int(int)>& grey, int count) {
  constexpr double kMiddle = (kDark + kLight) / 2.0;
  for (int i = 1; i < count; ++i) {
    if (grey(i) < kMiddle) continue;
    return i - 0.5 + (kMiddle - grey(i - 1)) / (grey(i) - grey(i - 1));
  }
  return -1;
}

TEST_F(Crop, EdgesMoveWithoutJitter) {
  Draw("corner.mkv", kDrawn, kFrames, Corner);
  const struct {
    KivRectF first, last;
  } kMoves[] = {{{0.2, 0.2, 0.5, 0.5}, {0.22, 0.21, 0.5, 0.5}},  // slowly along
                {{0.1, 0.1, 0.5, 0.5}, {0.3, 0.25, 0.5, 0.5}},
                {{0, 0, 1, 1}, {0.2, 0.2, 0.5, 0.5}},  // in
                {{0.3, 0.3, 0.2, 0.2}, {0.1, 0.1, 0.7, 0.7}}};
  double worst = 0;
  for (const auto& move : kMoves) {
    Save("move.json", Document(KeyFrame(0, move.first) + "," + KeyFrame(60, move.last)));
    const ReadBack back = Render("corner.mkv --crop-keyframes @move.json");
    ASSERT_EQ(size_t{kFrames}, back.pixels.size());
    const int width = back.size.width, height = back.size.height;
    ASSERT_EQ(std::lround(kDrawn.width * move.first.width), width);
    for (int frame = 0; frame < kFrames; ++frame) {
      const uint8_t* const pixels = back.pixels[static_cast<size_t>(frame)].data();
      const auto grey = [&](int x, int y) { return int{pixels[4 * (y * width + x)]}; };
      const double x = Crossing([&](int i) { return grey(i, height - 1); }, width);
      const double y = Crossing([&](int i) { return grey(width - 1, i); }, height);
      const auto between = [&](double a, double b) { return a + (b - a) * frame / 60; };
      const double idealX = (kEdgeX / kDrawn.width - between(move.first.left, move.last.left)) /
                            between(move.first.width, move.last.width) * width;
      const double idealY = (kEdgeY / kDrawn.height - between(move.first.top, move.last.top)) /
                            between(move.first.height, move.last.height) * height;
      worst = std::max({worst, std::fabs(x - idealX), std::fabs(y - idealY)});
      ASSERT_NEAR(idealX, x, 0.1) << "frame " << frame << " of the move to " << move.last.left;
      ASSERT_NEAR(idealY, y, 0.1) << "frame " << frame << " of the move to " << move.last.left;
    }
  }
  RecordProperty("worst_edge_error_in_pixels", std::to_string(worst));
}

// Blue tells how far right, green how far down.
Bgra Slope(int x, int y, KivSize size) {
  return {static_cast<uint8_t>((x + 0.5) * 255 / size.width),
          static_cast<uint8_t>((y + 0.5) * 255 / size.height), 0, 255};
}

TEST_F(Crop, ShowsTheSamePartAtEveryScaleAndFromAProxy) {
  const KivSize small{80, 46};
  Draw("clip.mkv", kDrawn, 3, [](int x, int y) { return Slope(x, y, kDrawn); });
  Draw("proxy.mkv", small, 3, [&](int x, int y) { return Slope(x, y, small); });
  const struct {
    const char* options;
    KivSize size;
  } kCases[] = {{"", {160, 72}},
                {" --decode-scale 1/2", {80, 36}},
                {" --decode-scale 1/3", {54, 24}},
                {" --proxy @proxy.mkv", {160, 72}},
                {" --proxy @proxy.mkv --decode-scale 1/4", {40, 18}},
                {" --size 300x100", {150, 40}}};
  for (const auto& c : kCases) {
    const ReadBack back = Render("clip.mkv --crop 0.25,0.3,0.5,0.4" + std::string(c.options));
    ASSERT_EQ(c.size, back.size) << c.options;
    for (const double across : {0.0, 0.5, 1.0}) {
      for (const double down : {0.0, 0.5, 1.0}) {
        const int x = static_cast<int>(across * (c.size.width - 1));
        const int y = static_cast<int>(down * (c.size.height - 1));
        const uint8_t* const pixel = &back.pixels[2][4u * (y * c.size.width + x)];
        EXPECT_NEAR(255 * (0.25 + 0.5 * (x + 0.5) / c.size.width), pixel[0], 2.5) << c.options;
        EXPECT_NEAR(255 * (0.3 + 0.4 * (y + 0.5) / c.size.height), pixel[1], 2.5) << c.options;
      }
    }
  }
}

TEST_F(Crop, APartOnWholePixelsIsCopiedAndKeepsTheShape) {
  Draw("corner.mkv", kDrawn, 2, Corner);
  const ReadBack back = Render("corner.mkv --crop 0.4,0.25,0.5,0.25");
  EXPECT_EQ((KivSize{160, 45}), back.size);
  EXPECT_EQ((KivRational{1, 1}), back.aspect);
  for (int i = 0; i < 160 * 45; ++i) {
    ASSERT_EQ(Corner(128 + i % 160, 45 + i / 160).g, back.pixels[0][4u * i]) << i;
  }
}

TEST_F(Crop, SettingsBringTheKeyframesBack) {
  Draw("corner.mkv", kDrawn, 12, Corner);
  // Out of order, with a second frame 0 that does not count, and without a kind.
  Save("zoom.json",
       Document(KeyFrame(10, {0.25, 0.25, 0.5, 0.5}) + "," + KeyFrame(0, {0, 0, 1, 1}) + "," +
                    KeyFrame(0, {0.5, 0.5, 0.5, 0.5}),
                0));
  const ReadBack first = Render("corner.mkv --crop-keyframes @zoom.json --save-settings @s.json");
  EXPECT_EQ(kDrawn, first.size);
  EXPECT_EQ(first.pixels, Render("corner.mkv --settings @s.json").pixels);
  EXPECT_NE(first.pixels[0], first.pixels[5]);
  // A result frame looks the same wherever the rendering begins.
  EXPECT_EQ(first.pixels[5], Render("corner.mkv --settings @s.json --frames 5:6").pixels[0]);
  Run("sheet @corner.mkv --settings @s.json -o @sheet.png");
  const std::string text = ReadBytes(Path("s.json"));
  EXPECT_NE(std::string::npos, text.find(R"(\"dataType\":1,\"params\":[{\"index\":0,)")) << text;
}

TEST_F(Crop, WrongRequestsSayWhatWouldBeRight) {
  Draw("corner.mkv", {32, 18}, 1, Corner);
  Save("none.json", Document(""));
  Save("wide.json", Document(KeyFrame(4, {0.5, 0, 0.6, 1})));
  Save("number.json", Document(R"({"index":0,"valueType":"double","valueValue":"1"})", 2));
  Save("mixed.json", Document(KeyFrame(0, {0, 0, 1, 1}) +
                              R"(,{"index":5,"valueType":"double","valueValue":"1"})"));
  Save("damaged.json", "{");
  const struct {
    const char* options;
    int status;
    const char* message;
  } kCases[] = {{"--crop 0,0,0.5", 2, "expected LEFT,TOP,WIDTH,HEIGHT"},
                {"--crop 0,0,0.5,0.5,1", 2, "expected LEFT,TOP,WIDTH,HEIGHT"},
                {"--crop 0,0,0,1", 2, "does not lie inside"},
                {"--crop 0,0.5,1,0.6", 2, "does not lie inside"},
                {"--crop nan,0,1,1", 2, "does not lie inside"},
                {"--crop 0,0,1,1 --crop-keyframes @wide.json", 2, "exclude each other"},
                {"--crop 0,0,1,1 --chain source", 2, "name crop in --chain"},
                {"--crop-keyframes @none.json", 1, "has no keyframes"},
                {"--crop-keyframes @wide.json", 1, "at frame 4"},
                {"--crop-keyframes @number.json", 1, "numbers"},
                {"--crop-keyframes @mixed.json", 1, "not all KivRectF or all double"},
                {"--crop-keyframes @damaged.json", 1, "no keyframe document"},
                {"--crop-keyframes @missing.json", 1, "missing.json"}};
  for (const auto& c : kCases) {
    const ProgramResult result =
        RunKivclip(folder_, "render @corner.mkv -o null " + std::string(c.options));
    EXPECT_EQ(c.status, result.status) << c.options;
    EXPECT_NE(std::string::npos, result.err.find(c.message)) << c.options << ": " << result.err;
  }
}

void Replace(std::string* text, const std::string& from, const std::string& to) {
  const size_t at = text->find(from);
  ASSERT_NE(std::string::npos, at) << from << " in " << *text;
  text->replace(at, from.size(), to);
}

TEST_F(Crop, StoredSettingsThatCannotBeUsedAreRefused) {
  Draw("corner.mkv", {32, 18}, 1, Corner);
  Run("render @corner.mkv -o null --crop 0,0,0.5,0.5 --save-settings @s.json");
  const std::string good = ReadBytes(Path("s.json"));
  const std::string stored = "left:0.000000, top:0.000000, width:0.500000, height:0.500000";
  const std::string beside = '"' + stored + '"', outside = "left:5, top:5, width:9, height:9";
  const std::string text = "Crop.Region.Serialize\"", length = "Crop.Region.Serialize.Size\"";
  using Edits = std::vector<std::pair<std::string, std::string>>;
  const struct {
    Edits edits;
    const char* message;
  } kCases[] = {
      {{{stored, "left:0.5, top:0.5, width:0.75, height:0.5"}}, "at frame 0 does not lie inside"},
      {{{text, "Gone\""}}, "their text is not"},
      {{{text, "Gone\""}, {length, "Too\""}, {beside, '"' + outside + '"'}}, "not lie inside"},
      {{{R"(\"index\":0)", R"(\"index\":\"0\")"}}, "no keyframe document"},
      {{{R"(\"splineType\":0})", R"(\"splineType\":0)"}}, "no keyframe document"},
      {{{R"(\"valueType\":\"KivRectF\")", R"(\"valueType\":\"double\")"}, {stored, "1"}},
       "numbers, not KivRectF"},
      {{{"\"int\"", "\"double\""}}, "Crop.Enabled is not an integer"},
      {{{text, "Gone\""}, {length, "Crop.Region\""}, {"Crop.Region\"", "Too\""}},
       "Crop.Region is not a rectangle"},
  };
  for (const auto& [edits, message] : kCases) {
    std::string edited = good;
    for (const auto& [from, to] : edits) {
      // The region stands before its keyframes.
      if (from == stored) Replace(&edited, beside, "\"@\"");
      Replace(&edited, from, to);
      if (from == stored) Replace(&edited, "\"@\"", beside);
    }
    Save("s.json", edited);
    const ProgramResult result =
        RunKivclip(folder_, "render @corner.mkv -o null --settings @s.json");
    EXPECT_EQ(1, result.status) << message;
    EXPECT_NE(std::string::npos, result.err.find(message)) << message << ": " << result.err;
    EXPECT_NE(std::string::npos, result.err.find(Path("s.json"))) << result.err;
    // An option stands in their place.
    Run("render @corner.mkv -o null --settings @s.json --crop 0,0,1,1");
  }
}

// Their text counts, and goes through the reader of --crop-keyframes.
TEST_F(Crop, EditedKeyframesCropAsTheOptionDoes) {
  Draw("corner.mkv", kDrawn, 12, Corner);
  const std::string first = KeyFrame(0, {0, 0, 1, 1}), last = KeyFrame(10, {0.25, 0.25, 0.5, 0.5});
  const std::string middle = KeyFrame(5, {0.25, 0.25, 0.625, 0.625});
  Save("two.json", Document(first + "," + last));
  Save("three.json", Document(last + "," + first + "," + middle));
  Run("render @corner.mkv -o null --crop-keyframes @two.json --save-settings @s.json");
  const std::string good = ReadBytes(Path("s.json"));
  const auto quoted = [](const std::string& text) {
    std::string result;
    for (const char c : text) result += c == '"' ? "\\\"" : std::string(1, c);
    return result;
  };
  const ReadBack two = Render("corner.mkv --crop-keyframes @two.json");
  const ReadBack three = Render("corner.mkv --crop-keyframes @three.json");
  ASSERT_NE(two.pixels, three.pixels);
  std::string longer = good, sizeless = good;
  Replace(&longer, quoted(first + "," + last), quoted(last + "," + first + "," + middle));
  Replace(&sizeless, "Crop.Region.Serialize.Size\"", "Gone\"");
  Save("s.json", longer);
  EXPECT_EQ(three.pixels, Render("corner.mkv --settings @s.json --save-settings @t.json").pixels);
  EXPECT_EQ(three.pixels, Render("corner.mkv --settings @t.json").pixels);
  Save("s.json", sizeless);
  EXPECT_EQ(two.pixels, Render("corner.mkv --settings @s.json").pixels);
}

// Without keyframes a region has no effect, and beside keyframes neither.
TEST_F(Crop, AStoredRegionAloneCutsNothingAndSaysSo) {
  Draw("corner.mkv", {32, 18}, 1, Corner);
  Run("render @corner.mkv -o null --crop 0,0,0.5,0.5 --save-settings @s.json");
  std::string text = ReadBytes(Path("s.json"));
  std::string ignored = text;
  Replace(&ignored, "\"left:0.000000, top:0.000000, width:0.500000, height:0.500000\"",
          "\"left:5, top:5, width:9, height:9\"");
  Save("s.json", ignored);
  EXPECT_EQ((KivSize{16, 9}), Render("corner.mkv --settings @s.json").size);
  Replace(&text, "Crop.Region.Serialize\"", "Gone\"");
  Replace(&text, "Crop.Region.Serialize.Size\"", "Too\"");
  Save("s.json", text);
  EXPECT_NE(std::string::npos, Run("render @corner.mkv -o null --settings @s.json")
                                   .err.find("a crop region without keyframes"));
  EXPECT_EQ((KivSize{32, 18}), Render("corner.mkv --settings @s.json").size);
}

TEST_F(Crop, TheKeyframesCommandListsAndEvaluates) {
  Save("zoom.json",
       Document(KeyFrame(-4, {0, 0, 1, 1}) + "," + KeyFrame(4, {0.5, 0.25, 0.5, 0.5})));
  Save("rise.json", Document(R"({"index":0,"valueType":"double","valueValue":"-1"},)"
                             R"({"index":3,"valueType":"double","valueValue":"0"})",
                             2));
  const struct {
    const char* options;
    const char* out;
  } kCases[] = {{"@zoom.json",
                 "-4 0.000000,0.000000,1.000000,1.000000\n4 0.500000,0.250000,0.500000,0.500000\n"},
                {"@zoom.json --at 0", "0.250000,0.125000,0.750000,0.750000\n"},
                {"@zoom.json --at -3", "0.062500,0.031250,0.937500,0.937500\n"},
                {"@rise.json --at 1", "-0.666667\n"},
                {"@rise.json --plot @plot.png", ""}};
  for (const auto& c : kCases) {
    EXPECT_EQ(c.out, Run("keyframes " + std::string(c.options)).out) << c.options;
  }
  // Frames -1 to 4 lie between columns 110 and 1250, -1 to 0 between rows 640 and 80: frame 3 at 1022.
  const ReadBack plot = ReadVideo(Path("plot.png"));
  const auto blueAt = [&](int x, int y) { return plot.pixels[0][4u * (y * 1280 + x)] > 200; };
  EXPECT_TRUE(blueAt(338, 642) && blueAt(680, 360) && blueAt(1022, 78));
  EXPECT_FALSE(blueAt(338, 600) || blueAt(680, 400) || blueAt(1022, 120));
}

}  // namespace
