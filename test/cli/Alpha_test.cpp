// Alpha presets from the command line: files of every kind in, shapes over footage and files with
// coverage out.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <numeric>

#include "test/cli/RunProgram.h"
#include "test/support/NumberedClip.h"
#include "test/write/WriterReadBack.h"

namespace {

constexpr KivSize kNumbered{192, 112};
using Numbers = std::vector<int>;
using Drawing = std::function<Bgra(int x, int y)>;

struct Pictures {
  Bgra At(size_t frame, int x, int y) const {
    const size_t at = 4 * static_cast<size_t>(y * size.width + x);
    const auto* const pixel = reinterpret_cast<const uint8_t*>(bytes.data()) + frame * Bytes() + at;
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
  }
  size_t Bytes() const { return 4 * static_cast<size_t>(size.width * size.height); }
  size_t Count() const { return bytes.size() / Bytes(); }

  KivSize size;
  std::string bytes;
};

struct Alpha : testing::Test {
  ProgramResult Run(const std::string& line) const {
    const ProgramResult result = RunKivclip(folder, line);
    EXPECT_EQ(0, result.status) << line << ": " << result.err;
    return result;
  }
  Pictures Render(KivSize size, const std::string& options) const {
    return {size, Run("render " + options + " -o - --format bgra").out};
  }
  Numbers NumbersOf(const std::string& options) const {
    const Pictures pictures = Render(kNumbered, options);
    Numbers numbers;
    for (size_t i = 0; i < pictures.Count(); ++i) {
      const auto* const bytes = reinterpret_cast<const uint8_t*>(pictures.bytes.data());
      numbers.push_back(
          kivtest::ReadNumber(bytes + i * pictures.Bytes(), kNumbered.width, kNumbered.height));
    }
    return numbers;
  }
  // A lossless clip of one picture, shown `count` times.
  void Draw(const std::string& name, const std::string& codec, KivSize size, int count,
            const Drawing& drawing) const {
    kiv::OutputPlan plan;
    std::unique_ptr<kiv::Writer> writer;
    kiv::PictureSeries series{size};
    series.hasAlpha = true;
    ASSERT_FALSE(kiv::PlanOutput({folder.Path(name), "", codec}, &plan));
    ASSERT_FALSE(kiv::OpenWriter(plan, series, nullptr, &writer));
    std::vector<uint8_t> bgra;
    for (int i = 0; i < size.width * size.height; ++i) {
      const Bgra pixel = drawing(i % size.width, i / size.width);
      bgra.insert(bgra.end(), {pixel.b, pixel.g, pixel.r, pixel.a});
    }
    for (int i = 0; i < count; ++i) ASSERT_FALSE(writer->Write(bgra.data()));
    ASSERT_FALSE(writer->Finish());
  }

  const TestFolder folder;
};

void ExpectNear(const Bgra& expected, const Bgra& pixel, double tolerance) {
  EXPECT_NEAR(expected.b, pixel.b, tolerance);
  EXPECT_NEAR(expected.g, pixel.g, tolerance);
  EXPECT_NEAR(expected.r, pixel.r, tolerance);
  EXPECT_NEAR(expected.a, pixel.a, tolerance);
}

// Opaque in the left half, half transparent in the right; the matte is white on near black there.
TEST_F(Alpha, PresetsOfEveryKindAreColouredAndLaidOver) {
  const struct {
    const char *codec, *container, *pixelFormat, *options;
  } cases[] = {{"png", "mov", "rgba", ""},
               {"png", "mkv", "rgba", ""},
               {"qtrle", "mov", "argb", ""},
               {"prores_ks", "mov", "yuva444p10le", ""},
               {"libvpx", "webm", "yuva420p", ""},
               {"libvpx-vp9", "webm", "yuva420p", ""},
               {"libx264", "mp4", "yuv420p", " --alpha-full-hd "}};
  Draw("grey.mkv", "ffv1", kNumbered, 30, [](int, int) { return Bgra{40, 80, 120, 255}; });
  for (const auto& test : cases) {
    SCOPED_TRACE(std::string(test.codec) + " in " + test.container);
    const std::string preset = kivtest::MakeClip({.codec = test.codec,
                                                  .container = test.container,
                                                  .pixelFormat = test.pixelFormat,
                                                  .frames = 20});
    const bool isMatte = *test.options != 0;
    const Pictures result =
        Render(kNumbered, preset + " --alpha-preset --alpha-color FF8000 --over @grey.mkv" +
                              (isMatte ? test.options + preset : ""));
    ASSERT_EQ(30u, result.Count());
    for (const size_t frame : {size_t{3}, size_t{27}}) {
      if (isMatte) {  // the first two cells are one white, one black
        const Bgra first = result.At(frame, 8, 56), second = result.At(frame, 24, 56);
        const bool firstIsWhite = first.r > second.r;
        ExpectNear({3, 124, 244, 255}, firstIsWhite ? first : second, 4);
        ExpectNear({37, 84, 131, 255}, firstIsWhite ? second : first, 4);
      } else {
        ExpectNear({0, 128, 255, 255}, result.At(frame, 40, 56), 3);
        ExpectNear({20, 104, 188, 255}, result.At(frame, 150, 56), 3);
      }
    }
  }
}

Numbers Plus(Numbers numbers, int first, int count, int step = 1) {
  for (int i = 0; i < count; ++i) numbers.push_back(first + i * step);
  return numbers;
}

// Two seconds of frames that tell their number, in a result of four.
TEST_F(Alpha, FramesComeInTheOrderOfPauseHoldAndLoop) {
  const std::string preset = kivtest::MakeClip(
      {.codec = "qtrle", .container = "mov", .pixelFormat = "argb", .frames = 50});
  const std::string stretched = preset + " --alpha-preset --alpha-length 4 ";
  const Numbers own = Plus({}, 0, 50);
  const Numbers held = Plus(Plus(Plus({}, 0, 20), 19, 51, 0), 20, 29);
  Numbers looped = Plus({}, 0, 20);
  // The loop counts from frame 0.8: frame 20 is the 19th after it, its fourth of five.
  for (int i = 0; i < 51; ++i) looped.push_back(19 + (19 + i) % 5);
  looped = Plus(looped, 20, 29);
  const Numbers whole = Plus(Plus(Plus({0}, 0, 49), 0, 49), 0, 1);
  Numbers longer = Plus({}, 0, 20);
  for (int i = 0; i < 51; ++i) longer.push_back(std::min(19 + 19 + i, 49));
  longer = Plus(longer, 20, 29);
  const std::pair<std::string, Numbers> cases[] = {
      {preset + " --alpha-preset --alpha-pause 0.8", own},
      {preset + " --alpha-preset --alpha-pause 0.8 --alpha-length 1", Plus({}, 0, 25)},
      {stretched + "--alpha-pause 0.8", held},
      {stretched + "--alpha-pause 0.8 --reverse", Numbers(held.rbegin(), held.rend())},
      {stretched + "--alpha-pause 0.8 --frames 68:73", {19, 19, 19, 20, 21, 22}},
      {stretched + "--alpha-pause 0.8 --alpha-loop 5", looped},
      {stretched + "--alpha-pause 0.8 --alpha-loop 1000", longer},
      {stretched, whole},
      {preset + " --alpha-preset --alpha-length 2 --alpha-duration 0.2",
       Plus(Plus(Plus(Plus({0}, 0, 4), 0, 4), 0, 4), 0, 4)}};
  for (const auto& [options, expected] : cases) {
    Numbers numbers = NumbersOf(options);
    if (options.ends_with("0.2")) numbers.resize(17);
    EXPECT_EQ(expected, numbers) << options;
  }
}

// At another rate each frame shows what the preset shows at that time.
TEST_F(Alpha, PresetsOfAnotherRateKeepTheirSpeedOverFootage) {
  const std::string preset = kivtest::MakeClip(
      {.codec = "qtrle", .container = "mov", .pixelFormat = "argb", .rate = {50, 1}, .frames = 50});
  Draw("grey.mkv", "ffv1", kNumbered, 50, [](int, int) { return Bgra{127, 127, 127, 255}; });
  const Numbers numbers = NumbersOf(preset + " --alpha-preset --alpha-pause 0.4 --over @grey.mkv");
  // 25 a second over 2 seconds, each the frame that starts half a result frame before it: 1 second of
  // pause at frame 19.
  const Numbers expected = Plus(Plus({0}, 1, 10, 2), 19, 25, 0);
  EXPECT_EQ(Plus(expected, 20, 14, 2), numbers);
}

// The transparent part is black underneath, and the shape's edge falls from full to none.
TEST_F(Alpha, EdgesAreTheExactMeanOfTheTwoColours) {
  constexpr KivSize kSize{64, 8};
  const auto coverage = [](int x) { return std::clamp(x * 5 - 20, 0, 255); };
  Draw("soft.mov", "png", kSize, 2, [&](int x, int) {
    const auto alpha = static_cast<uint8_t>(coverage(x));
    return alpha == 0 ? Bgra{0, 0, 0, 0} : Bgra{30, 200, 250, alpha};
  });
  Draw("below.mkv", "ffv1", kSize, 3, [](int, int) { return Bgra{200, 90, 10, 255}; });
  Draw("twice.mkv", "ffv1", {160, 16}, 3, [](int, int) { return Bgra{200, 90, 10, 255}; });
  const std::pair<std::string, Bgra> cases[] = {{"", {30, 200, 250, 255}},
                                                {" --alpha-color 0A14C8", {200, 20, 10, 255}}};
  for (const auto& [options, colour] : cases) {
    const std::string shape = "@soft.mov --alpha-preset" + options;
    const Pictures exact = Render(kSize, shape + " --over @below.mkv");
    ASSERT_EQ(3u, exact.Count());
    for (int x = 0; x < kSize.width; ++x) {
      const double alpha = coverage(x) / 255.0;
      const auto mean = [&](int over, int under) { return over * alpha + under * (1 - alpha); };
      const Bgra pixel = exact.At(2, x, 3);
      EXPECT_NEAR(mean(colour.b, 200), pixel.b, 0.51) << x;
      EXPECT_NEAR(mean(colour.g, 90), pixel.g, 0.51) << x;
      EXPECT_NEAR(mean(colour.r, 10), pixel.r, 0.51) << x;
      EXPECT_EQ(255, pixel.a);
    }
    // Scaled up and centred, every pixel still lies between the two.
    const Pictures scaled = Render({160, 16}, shape + " --over @twice.mkv");
    for (int x = 0; x < 160; ++x) {
      const Bgra pixel = scaled.At(0, x, 8);
      const double alpha = (pixel.g - 90.0) / (colour.g - 90.0);
      EXPECT_NEAR(200 + alpha * (colour.b - 200), pixel.b, 2.5) << x;
      EXPECT_GE(alpha, -0.01);
      EXPECT_LE(alpha, 1.01);
      if (x < 16 || x >= 144) ExpectNear({200, 90, 10, 255}, pixel, 0);
    }
  }
}

TEST_F(Alpha, OutputsKeepTheirCoverage) {
  constexpr KivSize kSize{64, 48};
  Draw("soft.mov", "png", kSize, 3, [](int x, int y) {
    return Bgra{30, 200, 250, static_cast<uint8_t>(y < 24 ? x * 4 : 255)};
  });
  const struct {
    const char* output;
    int tolerance;
    bool keeps;
  } cases[] = {{"a.mov", 1, true},
               {"a.webm --quality 100", 4, true},
               {"b.webm", 12, true},
               {"b.mov --codec png", 0, true},
               {"c.mov --codec h264", 0, false},
               {"a.mp4", 0, false},
               {"d.mkv --codec prores", 1, true}};
  for (const auto& [output, tolerance, keeps] : cases) {
    SCOPED_TRACE(output);
    for (const char* shape : {" --alpha-preset --alpha-color 1EC8FA", ""}) {
      Run(std::string("render @soft.mov") + shape + " -o @" + output);
      const std::string name = std::string(output).substr(0, std::string(output).find(' '));
      const Pictures back = Render(kSize, "@" + name);
      ASSERT_EQ(3u, back.Count());
      for (int x = 0; x < kSize.width; x += 7) {
        EXPECT_NEAR(keeps ? x * 4 : 255, back.At(1, x, 12).a, tolerance) << x;
      }
    }
  }
}

// How far half-covered pixels are off in the mean, on the sample preset.
TEST_F(Alpha, SoftEdgesSurviveALossyFile) {
  constexpr KivSize kSize{480, 270};
  const std::string star =
      KIV_SAMPLES "/star.webm --alpha-preset --alpha-color FF8000 --frames 0:14";
  const Pictures exact = Render(kSize, star);
  for (const auto& [quality, most] : {std::pair{"", 1.1}, {" --quality 100", 0.35}}) {
    Run("render " + star + " -o @star.webm" + quality);
    const Pictures back = Render(kSize, "@star.webm");
    ASSERT_EQ(exact.bytes.size(), back.bytes.size());
    double off = 0;
    int count = 0;
    for (size_t alpha = 3; alpha < exact.bytes.size(); alpha += 4) {
      const int was = static_cast<uint8_t>(exact.bytes[alpha]);
      if (was == 0 || was == 255) continue;
      off += std::abs(was - static_cast<uint8_t>(back.bytes[alpha]));
      ++count;
    }
    ASSERT_LT(1000, count);
    EXPECT_LT(off / count, most) << quality;
  }
}

TEST_F(Alpha, AnImageFillsTheShapeAndNothingElse) {
  constexpr KivSize kSize{32, 16};
  Draw("shape.mov", "png", kSize, 2, [](int x, int) {
    return Bgra{9, 9, 9, static_cast<uint8_t>(x < 8 ? 0 : x < 16 ? 128 : 255)};
  });
  Draw("image.mov", "png", kSize, 1, [](int x, int) {
    return Bgra{200, 100, 50, static_cast<uint8_t>(x < 24 ? 255 : 128)};
  });
  Run("frame @image.mov --at 0 -o @image.png");
  Draw("below.mkv", "ffv1", kSize, 3, [](int, int) { return Bgra{0, 0, 0, 255}; });
  const std::string filled = "@shape.mov --alpha-preset --alpha-image @image.png";
  for (const char* playing : {"", " --reverse", " --speed 1/2 --interpolation off"}) {
    const Pictures shape = Render(kSize, filled + playing);
    EXPECT_EQ(0, shape.At(1, 4, 8).a);
    ExpectNear({200, 100, 50, 128}, shape.At(1, 12, 8), 1);
    ExpectNear({200, 100, 50, 255}, shape.At(1, 20, 8), 0);
    ExpectNear({200, 100, 50, 128}, shape.At(1, 28, 8), 1);
  }
  const Pictures over = Render(kSize, filled + " --over @below.mkv");
  ExpectNear({0, 0, 0, 255}, over.At(2, 4, 8), 0);
  ExpectNear({100, 50, 25, 255}, over.At(2, 12, 8), 1);
}

TEST_F(Alpha, SettingsRepeatTheRender) {
  const std::string preset = kivtest::MakeClip(
      {.codec = "qtrle", .container = "mov", .pixelFormat = "argb", .frames = 20});
  Draw("below.mkv", "ffv1", {96, 56}, 40, [](int x, int) {
    return Bgra{0, static_cast<uint8_t>(x), 0, 255};
  });
  Run("frame @below.mkv --at 0 -o @image.png");
  const std::string below = folder.Path("below.mkv");
  const std::string all = " --alpha-pause 0.2 --alpha-loop 7 --alpha-duration 0.7 --over " +
                          std::filesystem::relative(below).string();
  for (const std::string& fill :
       {std::string(" --alpha-color 336699"), std::string(" --alpha-gradient FF0000,00FF00,30"),
        std::string(" --alpha-image @image.png"), " --alpha-full-hd " + preset}) {
    const Pictures typed = Render(
        {96, 56}, preset + " --alpha-preset" + fill + all + " --save-settings @settings.json");
    const Pictures loaded = Render({96, 56}, preset + " --settings @settings.json");
    EXPECT_EQ(typed.Count(), 40u);
    EXPECT_TRUE(typed.bytes == loaded.bytes) << fill;
    EXPECT_NE(std::string::npos, ReadBytes(folder.Path("settings.json")).find('"' + below + '"'))
        << "for whoever loads them from another folder";
  }
}

// 31/30 s is no number of six decimals.
TEST_F(Alpha, AStoredPresetKeepsItsLengthInFrames) {
  const std::string preset = kivtest::MakeClip(
      {.codec = "qtrle", .container = "mov", .pixelFormat = "argb", .rate = {30, 1}, .frames = 31});
  const Numbers own = Plus({}, 0, 31);
  EXPECT_EQ(own, NumbersOf(preset + " --alpha-preset --save-settings @s.json"));
  EXPECT_EQ(std::string::npos, ReadBytes(folder.Path("s.json")).find("Duration"))
      << "nobody gave one";
  EXPECT_EQ(own, NumbersOf(preset + " --settings @s.json --save-settings @s.json"));
  EXPECT_EQ(std::string::npos, ReadBytes(folder.Path("s.json")).find("Duration"));
  Run("render " + preset + " -o null --chain source,alpha --save-settings @s.json");
  EXPECT_EQ(own, NumbersOf(preset + " --settings @s.json --alpha-preset"));
  const std::string given = " --alpha-preset --alpha-duration 1.0333333333 --save-settings @s.json";
  EXPECT_EQ(own, NumbersOf(preset + given));
  EXPECT_NE(std::string::npos, ReadBytes(folder.Path("s.json")).find("\"1.033333\""));
  EXPECT_EQ(own, NumbersOf(preset + " --settings @s.json"));
}

// What settings hold that no option would let in.
TEST_F(Alpha, ImpossibleTimesGiveAPicture) {
  const std::string preset = kivtest::MakeClip(
      {.codec = "qtrle", .container = "mov", .pixelFormat = "argb", .frames = 20});
  Run("frame " + preset +
      " --at 0 -o @x.png --alpha-preset --alpha-pause 0.25 --alpha-loop 3 "
      "--alpha-duration 0.75 --save-settings @good.json");
  const std::string good = ReadBytes(folder.Path("good.json"));
  for (const char* time : {"-0.000001", "0", "-7", "1e300", "1e-300", "-1e300"}) {
    std::string text = good;
    for (const char* value : {"0.25", "0.75"}) {
      const size_t at = text.find(value);
      ASSERT_NE(std::string::npos, at) << text;
      text.replace(at, text.find_first_of("\",}\n", at) - at, time);
    }
    WriteBytes(folder.Path("bad.json"), text);
    EXPECT_EQ(40u, Render(kNumbered, preset + " --alpha-length 1.6 --settings @bad.json").Count());
  }
}

// Half as many frames at another rate and of another size; then one of a single frame.
TEST_F(Alpha, AMaskThatDoesNotFitIsStretchedAndItsLastFrameStays) {
  const std::string preset = kivtest::MakeClip({.frames = 20});
  for (const int count : {4, 1}) {
    WriteGreyClip(folder.Path("mask.mkv"), {{64, 48}, {10, 1}}, count);
    const Pictures masked = Render(kNumbered, preset + " --alpha-preset --alpha-full-hd @mask.mkv");
    ASSERT_EQ(20u, masked.Count());
    for (size_t frame = 0; frame < 20; ++frame) {
      const int number = std::min(static_cast<int>(frame) * 10 / 25, count - 1);
      EXPECT_NEAR(GreyOf(number), masked.At(frame, 90, 50).a, 1) << frame;
    }
  }
}

}  // namespace
