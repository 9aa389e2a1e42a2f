// The rows of the option tables: what each reads, what it refuses, and in which words.
#include "session/OptionTable.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "session/Clip.h"
#include "session/SessionError.h"

namespace kiv::session {
namespace {

// The message of a refusal; empty: there was none.
template <typename Act>
std::string RefusalOf(Act act) {
  try {
    act();
  } catch (const SessionError& error) {
    EXPECT_EQ(ErrorCode::kInvalidArgument, error.Code()) << error.what();
    return error.what();
  }
  return {};
}

ClipOptions With(const char* name, const char* text) {
  ClipOptions options;
  ApplyOption(&options, name, text);
  return options;
}

ExportPlan Planned(const char* name, const char* text) {
  ExportPlan plan;
  ApplyOption(&plan, name, text);
  return plan;
}

TEST(ClipOptionTable, ReadsEachOptionIntoItsField) {
  EXPECT_EQ((Rational{2, 5}), With("speed", "0.4").speed);
  EXPECT_EQ(Interpolation::kOff, With("interpolation", "off").interpolation);
  EXPECT_EQ((Rational{30000, 1001}), With("fps", "30000/1001").frameRate);
  EXPECT_EQ((Size{1280, 720}), With("size", "1280x720").size);
  EXPECT_EQ((Rational{1, 2}), With("decode-scale", "1/2").decodeScale);
  EXPECT_EQ("small.mp4", With("proxy", "small.mp4").proxy);
  EXPECT_TRUE(With("no-proxy", "on").noProxy);
  EXPECT_TRUE(With("reverse", "on").reverse);
  EXPECT_TRUE(With("no-reverse", "on").noReverse);
  EXPECT_EQ(9, With("reverse-range", "4:9").reverseRange->last);
  EXPECT_EQ(0.25, With("crop", "0,0.25,1,0.5").crop->top);
  EXPECT_EQ("zoom.json", With("crop-keyframes", "zoom.json").cropKeyframes);
  EXPECT_EQ(60, With("stabilize", "60").stabilize->level);
  EXPECT_EQ((std::vector<std::string>{"source", "crop"}), With("chain", "source,crop").chain);
  EXPECT_EQ(3 * 1048576, With("memory", "3").memory);
  EXPECT_EQ("clip.json", With("settings", "clip.json").settings);
}

TEST(ClipOptionTable, ReadsEachOptionOfAShapeIntoItsField) {
  EXPECT_TRUE(With("alpha-preset", "on").alpha.preset);
  EXPECT_EQ(0xFF8000, With("alpha-color", "FF8000").alpha.colour);
  EXPECT_EQ(45, With("alpha-gradient", "FF8000,0040FF,45").alpha.gradient->angle);
  EXPECT_EQ("fill.png", With("alpha-image", "fill.png").alpha.image);
  EXPECT_EQ("mask.mp4", With("alpha-full-hd", "mask.mp4").alpha.fullHd);
  EXPECT_EQ(2.5, With("alpha-duration", "2.5").alpha.duration);
  EXPECT_EQ(0, With("alpha-pause", "0").alpha.pause);
  EXPECT_EQ(6, With("alpha-loop", "6").alpha.loop);
  EXPECT_EQ(3, With("alpha-length", "3").alpha.length);
  EXPECT_EQ("below.mp4", With("over", "below.mp4").alpha.over);
}

TEST(ClipOptionTable, TakesBareValuesSwitchesOffAndUnderscores) {
  const ClipOptions bare = With("stabilize", kBareValue);
  ASSERT_TRUE(bare.stabilize);
  EXPECT_FALSE(bare.stabilize->level);
  ClipOptions options = With("reverse", "on");
  ApplyOption(&options, "reverse", "off");
  EXPECT_FALSE(options.reverse);
  EXPECT_EQ(7, With("alpha_loop", "7").alpha.loop);
}

TEST(ExportOptionTable, ReadsEachOptionIntoItsField) {
  EXPECT_EQ(10, Planned("frames", "10:").frames.first);
  EXPECT_EQ("y4m", Planned("format", "y4m").format);
  EXPECT_EQ("ffv1", Planned("codec", "ffv1").codec);
  EXPECT_EQ(90, Planned("quality", "90").quality);
}

TEST(ClipOptionTable, RefusesTextsThatAreNoValues) {
  const std::pair<const char*, const char*> wrong[] = {
      {"speed", "fast"},          {"interpolation", "on"},
      {"fps", "29.97"},           {"size", "320"},
      {"decode-scale", "0.5"},    {"no-proxy", "yes"},
      {"reverse", "1"},           {"no-reverse", "true"},
      {"reverse-range", "9:4"},   {"crop", "0,0,2,2"},
      {"alpha-preset", "FF8000"}, {"alpha-color", "red"},
      {"alpha-gradient", "0,1"},  {"alpha-duration", "0"},
      {"alpha-pause", "-1"},      {"alpha-loop", "1.5"},
      {"alpha-length", "0"},      {"stabilize", "101"},
      {"chain", "source,wobble"}, {"memory", "lots"}};
  std::set<std::string> refusing;
  for (const auto& [name, text] : wrong) {
    const std::string option = std::string("--") + name;
    EXPECT_EQ(0u, RefusalOf([&] { With(name, text); }).find(option + " ")) << name;
    refusing.insert(name);
  }
  for (const auto& row : ClipOptionTable()) {
    const std::string name = row.facts.name;
    EXPECT_EQ("--" + name + ": no value given", RefusalOf([&] { With(row.facts.name, ""); }));
    // A path may be any text; nothing else may.
    const bool isPath = RefusalOf([&] { With(row.facts.name, "\n"); }).empty();
    EXPECT_NE(isPath, refusing.contains(name)) << name;
  }
  EXPECT_EQ("--frames 5:4: expected FIRST:LAST such as 0:99, both included, FIRST not above LAST",
            RefusalOf([] { Planned("frames", "5:4"); }));
  EXPECT_EQ("--quality high: expected a whole number, 0 or above",
            RefusalOf([] { Planned("quality", "high"); }));
}

TEST(ApplyOption, NamesTheNearestOptionToAnUnknownOne) {
  const std::tuple<const char*, const char*> names[] = {
      {"sped", "--speed"}, {"reverse-rnage", "--reverse-range"}, {"alpha_colour", "--alpha-color"},
      {"--fps", "--fps"},  {"stabilise", "--stabilize"},         {"", "--fps"}};
  for (const auto& [name, nearest] : names) {
    EXPECT_EQ("there is no option '" + std::string(name) + "': the nearest is " + nearest,
              RefusalOf([&, name = name] { With(name, "1"); }));
  }
  EXPECT_EQ("there is no option 'speed': the nearest is --codec",
            RefusalOf([] { Planned("speed", "1"); }));
}

// Whoever opens a clip hears of them, before any file is touched.
TEST(CheckOptions, RefusesWhatExcludesOrNeedsOneAnother) {
  const struct {
    std::vector<std::pair<const char*, const char*>> given;
    const char* refusal;
  } cases[] = {
      {{{"proxy", "a"}, {"no-proxy", "on"}}, "--proxy and --no-proxy exclude each other"},
      {{{"reverse", "on"}, {"no-reverse", "on"}}, "--reverse and --no-reverse exclude each other"},
      {{{"reverse-range", "1:2"}}, "--reverse-range needs --reverse"},
      {{{"crop", "0,0,1,1"}, {"crop-keyframes", "a"}},
       "--crop and --crop-keyframes exclude each other"},
      {{{"alpha-color", "FF8000"}, {"alpha-image", "a"}},
       "--alpha-color, --alpha-gradient and --alpha-image exclude each other"}};
  for (const auto& c : cases) {
    ClipOptions options;
    for (const auto& [name, text] : c.given) ApplyOption(&options, name, text);
    EXPECT_EQ(c.refusal, RefusalOf([&] { Clip::Open("none.mp4", options); }));
  }
  // Settings may say that the clip is reversed.
  ClipOptions halved = With("reverse-range", "1:2");
  halved.settings = "clip.json";
  EXPECT_EQ("", RefusalOf([&] { CheckOptions(halved); }));
}

}  // namespace
}  // namespace kiv::session
