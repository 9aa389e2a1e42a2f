#include <atomic>
#include <cmath>
#include <functional>

#include "session/FileChecks.h"
#include "session/KeyframeDocument.h"
#include "session/Picture.h"
#include "session/SettingsFile.h"
#include "session/Verify.h"
#include "test/session/SessionFixture.h"

namespace {

using namespace kiv::session;
using kivtest::CodeOf;
using kivtest::NumberOf;

ClipOptions Steadied() {
  ClipOptions options;
  options.stabilize = StabilizeOption{10};
  return options;
}

TEST(ClipErrors, TellMissingFilesFromDamagedAndUnsupportedOnes) {
  const TestFolder folder;
  const auto open = [](const std::string& path) { return CodeOf([&] { Clip::Open(path); }); };
  EXPECT_EQ(ErrorCode::kNotFound, open(folder.Path("none.mp4")));
  EXPECT_EQ(ErrorCode::kNotFound, CodeOf([&] { ReadMediaInfo(folder.Path("none.mp4")); }));
  EXPECT_EQ(ErrorCode::kUnsupported, open(folder.Path("")));
  WriteBytes(folder.Path("empty.mp4"), "");
  EXPECT_EQ(ErrorCode::kDamaged, open(folder.Path("empty.mp4")));
  WriteBytes(folder.Path("text.mp4"), "this is no film\n");
  EXPECT_EQ(ErrorCode::kUnsupported, open(folder.Path("text.mp4")));

  const auto withSettings = [&](const std::string& name) {
    ClipOptions options;
    options.settings = folder.Path(name);
    return CodeOf([&] { Clip::Open(kivtest::Numbered(), options); });
  };
  WriteBytes(folder.Path("settings.json"), "{\"cut");
  EXPECT_EQ(ErrorCode::kNotFound, withSettings("none.json"));
  EXPECT_EQ(ErrorCode::kDamaged, withSettings("settings.json"));
  EXPECT_EQ(ErrorCode::kDamaged, withSettings("text.mp4"));
  EXPECT_EQ(ErrorCode::kDamaged, CodeOf([&] { SettingsFile::Read(folder.Path("text.mp4")); }));
  EXPECT_EQ(ErrorCode::kDamaged, CodeOf([&] { KeyframeDocument::Open(folder.Path("text.mp4")); }));
  EXPECT_EQ(ErrorCode::kNotFound, CodeOf([&] { KeyframeDocument::Open(folder.Path("none")); }));
}

using Change = std::function<void(ClipOptions&)>;

// What a text would be refused for is refused as a number too, before any file is looked at.
TEST(ClipErrors, RefuseImpossibleOptions) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  const Change impossible[] = {
      [](ClipOptions& o) {
        o.speed = Rational{1, 0};
      },
      [](ClipOptions& o) {
        o.speed = Rational{-1, 2};
      },
      [](ClipOptions& o) {
        o.speed = Rational{1, INT64_MAX};
      },
      [](ClipOptions& o) {
        o.frameRate = Rational{0, 1};
      },
      [](ClipOptions& o) {
        o.frameRate = Rational{INT64_MIN, -1};
      },
      [](ClipOptions& o) {
        o.decodeScale = Rational{1, -2};
      },
      [](ClipOptions& o) {
        o.size = Size{0, 112};
      },
      [](ClipOptions& o) {
        o.size = Size{1 << 30, 1 << 30};
      },
      [](ClipOptions& o) {
        o.crop = Region{0.5, 0, 0.6, 1};
      },
      [](ClipOptions& o) {
        o.crop = Region{0, 0, kNone, 1};
      },
      [](ClipOptions& o) { o.memory = -1; },
      [](ClipOptions& o) { o.memory = INT64_MAX; },
      [](ClipOptions& o) { o.stabilize = StabilizeOption{-1}; },
      [](ClipOptions& o) { o.stabilize = StabilizeOption{101}; },
      [](ClipOptions& o) {
        o.chain = {"source", "nonsense"};
      },
      [](ClipOptions& o) { o.chain = {"crop"}; },
      [](ClipOptions& o) { o.alpha.colour = 0; },  // not a preset
      [](ClipOptions& o) {
        o.alpha.preset = true;
        o.alpha.colour = 0x1000000;
      },
      [](ClipOptions& o) {
        o.alpha.preset = true;
        o.alpha.gradient = GradientFill{0, 0, kNone};
      },
      [](ClipOptions& o) {
        o.alpha.preset = true;
        o.alpha.pause = -1.0;
      },
      [](ClipOptions& o) {
        o.alpha.preset = true;
        o.alpha.length = 0.0;
      },
      [](ClipOptions& o) {
        o.alpha.preset = true;
        o.alpha.loop = -1;
      },
      [](ClipOptions& o) {
        o.reverseRange = FrameSpan{0, 9};
      },  // not backwards
  };
  for (size_t i = 0; i < std::size(impossible); ++i) {
    ClipOptions options;
    impossible[i](options);
    EXPECT_EQ(ErrorCode::kInvalidArgument,
              CodeOf([&] { Clip::Open(kivtest::Numbered(), options); }))
        << "option " << i;
  }
}

TEST(ClipErrors, TellFramesThatAreNotThere) {
  Clip clip = Clip::Open(kivtest::Numbered());
  for (const int32_t index : {-1, 60, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(ErrorCode::kOutOfRange, CodeOf([&] { clip.At(index); })) << index;
  }
  EXPECT_EQ(7, NumberOf(clip.At(7)));
  for (const FrameSpan& span : {FrameSpan{0, 60}, FrameSpan{-1, 5}}) {
    ClipOptions options;
    options.reverse = true;
    options.reverseRange = span;
    EXPECT_EQ(ErrorCode::kOutOfRange, CodeOf([&] { Clip::Open(kivtest::Numbered(), options); }));
    ExportPlan plan;
    plan.output = "null";
    plan.frames = span;
    EXPECT_EQ(ErrorCode::kOutOfRange, CodeOf([&] { clip.Export(plan); }));
  }
}

TEST(ClipErrors, TellOutputsThatCannotBeWritten) {
  const TestFolder folder;
  Clip clip = Clip::Open(kivtest::Numbered());
  for (const std::string& output : {folder.Path("none/out.mp4"), std::string("/dev/full")}) {
    ExportPlan plan;
    plan.output = output;
    plan.format = output == "/dev/full" ? "bgra" : "";
    EXPECT_EQ(ErrorCode::kWriteFailed, CodeOf([&] { clip.Export(plan); })) << output;
  }
  const auto saveTo = [&](const std::string& path) {
    return CodeOf([&] { clip.SaveSettings(path); });
  };
  EXPECT_EQ(ErrorCode::kWriteFailed, saveTo(folder.Path("none/settings.json")));
  EXPECT_EQ(ErrorCode::kWriteFailed, saveTo("/dev/full"));
  EXPECT_EQ(ErrorCode::kWriteFailed, CodeOf([] { WriteTextFile("/dev/full", "text"); }));
  const uint8_t pixel[4] = {};
  const auto picture = [&] { WritePicture(folder.Path("none/a.png"), {1, 1}, pixel); };
  EXPECT_EQ(ErrorCode::kWriteFailed, CodeOf(picture));
  EXPECT_TRUE(folder.Names().empty());
  EXPECT_EQ(7, NumberOf(clip.At(7)));
}

// A host need not call CheckFiles for its clips to be safe.
TEST(ClipErrors, RefuseToWriteOverWhatIsRead) {
  const TestFolder folder;
  const std::string input = folder.Path("in.mp4");
  WriteBytes(input, ReadBytes(kivtest::Numbered()));
  Clip clip = Clip::Open(input);
  EXPECT_EQ(ErrorCode::kInvalidArgument, CodeOf([&] { clip.Export(input); }));
  EXPECT_EQ(ErrorCode::kInvalidArgument, CodeOf([&] { clip.SaveSettings(input); }));
  for (const char* const name : {"out.nonsense", "out"}) {
    EXPECT_EQ(ErrorCode::kInvalidArgument, CodeOf([&] { clip.Export(folder.Path(name)); })) << name;
  }
  EXPECT_EQ((std::vector<std::string>{"in.mp4"}), folder.Names());
  EXPECT_EQ(ReadBytes(kivtest::Numbered()), ReadBytes(input));
}

struct HostsOwn {};

// 80 MB, so that opening it is told of.
std::string Large() {
  return kivtest::MakeClip({.codec = "rawvideo",
                            .container = "nut",
                            .pixelFormat = "bgra",
                            .size = {1024, 1024},
                            .frames = 20});
}

// Long work of each kind, and what it hears. Whatever it writes goes into the folder.
struct Work {
  const char* name;
  Stage stage;
  std::function<void(const TestFolder&, const ProgressFunction&)> run;
};

const Work kWorks[] = {
    {"opening", Stage::kOpening,
     [](const TestFolder&, const ProgressFunction& progress) {
       ClipOptions options;
       options.onOpening = progress;
       Clip::Open(Large(), options);
     }},
    {"analysis", Stage::kAnalysis,
     [](const TestFolder&, const ProgressFunction& progress) {
       Clip::Open(kivtest::Numbered(), Steadied()).Analyse(progress);
     }},
    {"analysis before an export", Stage::kAnalysis,
     [](const TestFolder& folder, const ProgressFunction& progress) {
       Clip::Open(kivtest::Numbered(), Steadied()).Export(folder.Path("out.mp4"), progress);
     }},
    {"export", Stage::kRender,
     [](const TestFolder& folder, const ProgressFunction& progress) {
       Clip::Open(kivtest::Numbered()).Export(folder.Path("out.mp4"), progress);
     }},
    {"verify", Stage::kVerify,
     [](const TestFolder& folder, const ProgressFunction& progress) {
       Verify(kivtest::Numbered(), {}, {}, progress, folder.Path("settings.json"));
     }},
};

TEST(ClipProgress, EndsWorkAndLeavesNothing) {
  for (const Work& work : kWorks) {
    for (const int64_t atMost : {int64_t{0}, int64_t{20}}) {
      const TestFolder folder;
      int calls = 0;
      const ProgressFunction refuse = [&](const Progress& progress) {
        ++calls;
        EXPECT_EQ(work.stage, progress.stage) << work.name;
        return progress.done < atMost;
      };
      EXPECT_EQ(ErrorCode::kCancelled, CodeOf([&] { work.run(folder, refuse); })) << work.name;
      EXPECT_GT(calls, 0);
      EXPECT_TRUE(folder.Names().empty()) << work.name;
    }
  }
}

TEST(ClipProgress, PassesOnWhatTheHostThrows) {
  for (const Work& work : kWorks) {
    const TestFolder folder;
    const ProgressFunction fail = [](const Progress&) -> bool { throw HostsOwn(); };
    EXPECT_THROW(work.run(folder, fail), HostsOwn) << work.name;
    EXPECT_TRUE(folder.Names().empty()) << work.name;
  }
}

TEST(ClipProgress, CountsFromNothingToEverything) {
  for (const Work& work : kWorks) {
    const TestFolder folder;
    std::vector<Progress> heard;
    work.run(folder, [&](const Progress& progress) {
      if (progress.stage == work.stage) heard.push_back(progress);
      return true;
    });
    ASSERT_FALSE(heard.empty()) << work.name;
    for (size_t i = 1; i < heard.size(); ++i) {
      EXPECT_GE(heard[i].done, heard[i - 1].done) << work.name;
      EXPECT_EQ(heard[i].total, heard[0].total) << work.name;
    }
    EXPECT_EQ(heard.back().total, heard.back().done) << work.name;
  }
}

TEST(ClipProgress, LeavesTheClipUsableWhenItCancels) {
  const TestFolder folder;
  Clip clip = Clip::Open(kivtest::Numbered());
  EXPECT_EQ(7, NumberOf(clip.At(7)));
  const auto cancel = [](const Progress& progress) { return progress.done < 30; };
  EXPECT_EQ(ErrorCode::kCancelled, CodeOf([&] { clip.Export(folder.Path("out.mp4"), cancel); }));
  EXPECT_EQ(8, NumberOf(clip.At(8)));
  EXPECT_EQ(60, clip.Export(folder.Path("out.mp4")).frames);

  Clip steadied = Clip::Open(kivtest::Numbered(), Steadied());
  const auto refuse = [](const Progress&) { return false; };
  EXPECT_EQ(ErrorCode::kCancelled, CodeOf([&] { steadied.Analyse(refuse); }));
  steadied.Analyse();
  EXPECT_EQ(60U, steadied.Camera().measured.size());
}

TEST(ClipErrors, AreToldForACameraThatWasNotMeasured) {
  Clip clip = Clip::Open(kivtest::Numbered());
  EXPECT_EQ(ErrorCode::kFailed, CodeOf([&] { clip.Camera(); }));
}

}  // namespace
