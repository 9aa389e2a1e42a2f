#include <algorithm>

#include "session/SettingsFile.h"
#include "session/Verify.h"
#include "test/cli/RunProgram.h"
#include "test/session/SessionFixture.h"
#include "test/write/WriterReadBack.h"

namespace {

using namespace kiv::session;
using kivtest::BytesOf;
using kivtest::NumberOf;

// Both are front ends of one library: what kivclip writes, a host gets byte for byte.
TEST(ClipExport, WritesWhatTheProgramWrites) {
  struct Case {
    const char* arguments;
    std::function<void(ClipOptions&)> options;
  };
  const Case cases[] = {
      {"--reverse --speed 1/2",
       [](ClipOptions& o) {
         o.reverse = true;
         o.speed = Rational{1, 2};
       }},
      {"--fps 30 --crop 0.25,0.25,0.5,0.5",
       [](ClipOptions& o) {
         o.frameRate = Rational{30, 1};
         o.crop = Region{0.25, 0.25, 0.5, 0.5};
       }},
      {"--stabilize=10 --size 96x56",
       [](ClipOptions& o) {
         o.stabilize = StabilizeOption{10};
         o.size = Size{96, 56};
       }},
  };
  for (const Case& each : cases) {
    const TestFolder folder;
    ClipOptions options;
    each.options(options);
    Clip clip = Clip::Open(kivtest::Numbered(), options);
    const ExportReport report = clip.Export(folder.Path("host-%03d.png"));
    // Lossless, as libx264 may give a process's second film other bytes for the same frames.
    ExportPlan lossless;
    lossless.output = folder.Path("host.mkv");
    lossless.codec = "ffv1";
    const ExportReport film = clip.Export(lossless);
    EXPECT_EQ(clip.FrameCount(), report.frames);
    EXPECT_EQ(clip.FrameRate(), film.frameRate);
    for (const char* const output : {"program-%03d.png", "program.mkv --codec ffv1"}) {
      const ProgramResult run = RunKivclip(
          folder, "render '" + kivtest::Numbered() + "' " + each.arguments + " -o @/" + output);
      ASSERT_EQ(0, run.status) << run.err;
    }
    const std::vector<std::string> names = folder.Names();
    EXPECT_EQ(2 * static_cast<size_t>(clip.FrameCount()) + 2, names.size());
    for (const std::string& name : names) {
      if (!name.starts_with("host")) continue;
      const std::string other = "program" + name.substr(4);
      EXPECT_TRUE(ReadBytes(folder.Path(name)) == ReadBytes(folder.Path(other)))
          << name << ' ' << each.arguments;
    }
    EXPECT_EQ(static_cast<size_t>(clip.FrameCount()),
              ReadVideo(folder.Path("host.mkv")).pixels.size());
  }
}

TEST(ClipExport, WritesASpanUnderTheFramesOwnNumbers) {
  const TestFolder folder;
  Clip clip = Clip::Open(kivtest::Numbered());
  EXPECT_EQ(40, NumberOf(clip.At(40)));
  ExportPlan plan;
  plan.output = folder.Path("%02d.png");
  plan.frames = {10, 12};
  const ExportReport report = clip.Export(plan);
  EXPECT_EQ(3, report.frames);
  EXPECT_EQ((Size{192, 112}), report.size);
  EXPECT_EQ("not needed", report.inBetweenFrames);
  EXPECT_EQ(0, report.picturesLost);
  EXPECT_EQ((std::vector<std::string>{"10.png", "11.png", "12.png"}), folder.Names());
  EXPECT_EQ(41, NumberOf(clip.At(41)));
  EXPECT_EQ(12, NumberOf(Clip::Open(folder.Path("12.png")).At(0)));
}

TEST(ClipExport, TellsWhatItDoesDifferently) {
  const TestFolder folder;
  std::vector<std::string> notes;
  ClipOptions options;
  options.size = Size{95, 55};
  options.reverse = true;
  options.onNote = [&](const std::string& note) { notes.push_back(note); };
  const std::string path = kivtest::MakeClip({.audioCodec = "aac"});
  Clip clip = Clip::Open(path, options);
  EXPECT_TRUE(notes.empty());
  const ExportReport report = clip.Export(folder.Path("out.mp4"));
  EXPECT_EQ((std::vector<std::string>{
                "the pictures of 95x55 are written as 96x56: H.264 has even sides",
                "note: the sound of '" + path + "' is left out: the clip plays backwards"}),
            notes);
  EXPECT_EQ((Size{96, 56}), report.size);
  EXPECT_EQ(1, report.soundStreams);
  EXPECT_EQ(0, report.soundCopied);
  EXPECT_EQ("the clip plays backwards", report.soundLeftOut);
}

TEST(ClipSettings, OpenTheSameClipAgain) {
  const TestFolder folder;
  ClipOptions options;
  options.reverse = true;
  options.speed = Rational{1, 2};
  options.reverseRange = FrameSpan{10, 29};
  options.crop = Region{0.25, 0.25, 0.5, 0.5};
  options.stabilize = StabilizeOption{20};
  options.kept = {{"Host.Title", "a caf\xC3\xA9"}};
  Clip first = Clip::Open(kivtest::Numbered(), options);
  ASSERT_EQ(40, first.FrameCount());
  first.Analyse();
  first.SaveSettings(folder.Path("settings.json"));

  ClipOptions stored;
  stored.settings = folder.Path("settings.json");
  Clip again = Clip::Open(kivtest::Numbered(), stored);
  ASSERT_EQ(40, again.FrameCount());
  again.Analyse([](const Progress&) {
    ADD_FAILURE() << "the motion was stored";
    return true;
  });
  for (int32_t i = 0; i < 40; ++i) {
    const Frame expected = first.At(i), frame = again.At(i);
    ASSERT_EQ((Size{96, 56}), frame.Size());
    ASSERT_EQ(expected.SourceFrame(), frame.SourceFrame()) << i;
    ASSERT_TRUE(BytesOf(expected) == BytesOf(frame)) << i;
  }
  const SettingsFile file = SettingsFile::Read(stored.settings);
  EXPECT_EQ("a caf\xC3\xA9", file.Text("Host.Title"));
  EXPECT_EQ("", file.Text("Host.Other"));
}

TEST(ClipVerify, FindsFramesTheSameInEveryOrder) {
  ClipOptions options;
  options.speed = Rational{1, 2};
  const VerifyResult result = Verify(kivtest::Numbered(), options, {20, 49});
  EXPECT_EQ(30, result.frames);
  EXPECT_TRUE(result.Agrees());
  EXPECT_EQ(0, result.picturesLost);
}

}  // namespace
