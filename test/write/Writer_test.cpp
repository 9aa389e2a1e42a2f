#include "engine/write/Writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

#include "engine/write/WriterFile.h"
#include "test/write/WriterReadBack.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace {

using kiv::WriteError;

kiv::OutputPlan Plan(const std::string& name, const std::string& codec = "",
                     const std::string& format = "") {
  kiv::OutputPlan plan;
  EXPECT_EQ(std::nullopt, kiv::PlanOutput({name, format, codec, kiv::kQualityUnset}, &plan));
  return plan;
}

WriteError WriteOne(const kiv::OutputPlan& plan, KivSize size, const std::vector<uint8_t>& bgra) {
  std::unique_ptr<kiv::Writer> writer;
  if (auto error = kiv::OpenWriter(plan, {size}, nullptr, &writer)) return error;
  if (auto error = writer->Write(bgra.data())) return error;
  return writer->Finish();
}

TEST(WrittenVideo, ComesBackWithItsPicturesRateAndTags) {
  constexpr KivSize kSmall{64, 48}, kOdd{63, 47}, kHd{1280, 720};
  constexpr KivRational kSquare{1, 1};
  constexpr int kNone = AVCOL_SPC_UNSPECIFIED, k601 = AVCOL_SPC_SMPTE170M, k709 = AVCOL_SPC_BT709;
  constexpr int kPictures = 12;
  const struct {
    const char *name, *codec, *decodedAs;
    KivSize size, written;
    KivRational rate, aspect;
    int matrix;
  } cases[] = {{"a.mp4", "", "h264", kSmall, kSmall, {25, 1}, kSquare, k601},
               {"a.mp4", "", "h264", kOdd, kSmall, {30000, 1001}, {16, 11}, k601},
               {"a.mov", "", "h264", kHd, kHd, {24000, 1001}, kSquare, k709},
               {"a.mkv", "", "h264", kSmall, kSmall, {60000, 1001}, kSquare, k601},
               {"a.mkv", "ffv1", "ffv1", kOdd, kOdd, {120, 1}, kSquare, kNone},
               {"a.mp4", "vp9", "vp9", kSmall, kSmall, {50, 1}, kSquare, kNone},
               {"a.webm", "", "vp9", kOdd, kOdd, {25, 1}, kSquare, k601},
               {"a.mp4", "hevc", "hevc", kOdd, kSmall, {30000, 1001}, {16, 11}, k601},
               {"a.mov", "hevc", "hevc", kHd, kHd, {24, 1}, kSquare, k709},
               {"a.mkv", "hevc", "hevc", kSmall, kSmall, {50, 1}, kSquare, k601},
               {"a.mp4", "av1", "av1", kOdd, kOdd, {25, 1}, kSquare, k601},
               {"a.mkv", "av1", "av1", kSmall, kSmall, {60000, 1001}, kSquare, k601},
               {"a.webm", "av1", "av1", kOdd, kOdd, {30, 1}, kSquare, k601},
               {"a.y4m", "", "rawvideo", kOdd, kOdd, {30000, 1001}, {16, 11}, kNone}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + c.codec);
    const TestFolder folder;
    ASSERT_EQ(std::nullopt, WriteGreys(Plan(folder.Path(c.name), c.codec),
                                       {c.size, c.rate, c.aspect, 0}, kPictures));
    const ReadBack back = ReadVideo(folder.Path(c.name));
    EXPECT_EQ(c.decodedAs, back.codec);
    EXPECT_EQ(c.written, back.size);
    // Matroska keeps the length of a frame in whole nanoseconds.
    EXPECT_NEAR(c.rate.ToDouble(), back.rate.ToDouble(), 1e-5);
    if (c.name != std::string("a.mkv")) {
      EXPECT_EQ(c.rate, back.rate);
    }
    EXPECT_EQ(c.aspect, back.aspect);
    ASSERT_EQ(static_cast<size_t>(kPictures), back.pixels.size());
    for (int i = 0; i < kPictures; ++i) {
      const auto at = static_cast<size_t>(i);
      EXPECT_NEAR(GreyOf(i), back.pixels[at][0], 3) << "picture " << i;
      // Matroska counts in milliseconds.
      EXPECT_NEAR(i / c.rate.ToDouble(), back.times[at] - back.times[0], 0.0011) << "picture " << i;
    }
    if (c.matrix == kNone) continue;
    const bool hd = c.matrix == k709;
    EXPECT_EQ((std::vector<int>{c.matrix, hd ? AVCOL_PRI_BT709 : AVCOL_PRI_SMPTE170M,
                                hd ? AVCOL_TRC_BT709 : AVCOL_TRC_SMPTE170M, AVCOL_RANGE_MPEG}),
              back.colours);
  }
}

TEST(WrittenSound, IsTheSourcesByteForByteWhereTheContainerHoldsIt) {
  const TestFolder folder;
  WriteSound(folder.Path("two.mkv"), 2, 0.25);
  const std::vector<SoundBack> before = ReadSounds(folder.Path("two.mkv"));
  ASSERT_EQ(2u, before.size());
  ASSERT_NE(before[0].bytes, before[1].bytes);
  const struct {
    const char* name;
    int fitting;
  } cases[] = {{"a.mkv", 2}, {"a.mov", 2}, {"a.mp4", 0}, {"a.webm", 0}, {"a.y4m", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const kiv::OutputPlan plan = Plan(folder.Path(c.name));
    const kiv::SoundFit fit = kiv::SoundThatFits(plan, folder.Path("two.mkv"));
    EXPECT_EQ(2, fit.streams);
    EXPECT_EQ(c.fitting, fit.fitting);
    // Sound that ends before the pictures, and after them.
    for (const int pictures : {40, 10}) {
      const kiv::PictureSeries series{{64, 48}, {25, 1}, {1, 1}, 0, folder.Path("two.mkv")};
      ASSERT_EQ(std::nullopt, WriteGreys(plan, series, pictures));
      const std::vector<SoundBack> after = ReadSounds(folder.Path(c.name));
      ASSERT_EQ(static_cast<size_t>(c.fitting), after.size());
      for (size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ("pcm_s16le", after[i].codec);
        EXPECT_NEAR(0.25, after[i].start, 0.0011);
        EXPECT_TRUE(before[i].bytes == after[i].bytes) << "stream " << i;
      }
    }
  }
}

TEST(Writer, RefusesACodecThatItDoesNotKnow) {
  const TestFolder folder;
  for (const auto codec : {kiv::OutputCodec::kNone, static_cast<kiv::OutputCodec>(99)}) {
    kiv::OutputPlan plan = Plan(folder.Path("a.mp4"));
    plan.codec = codec;
    const auto error = WriteGreys(plan, {{64, 48}}, 1);
    ASSERT_TRUE(error);
    EXPECT_NE(std::string::npos, error->find("codec is not known")) << *error;
    EXPECT_FALSE(std::filesystem::exists(folder.Path("a.mp4")));
  }
}

TEST(WrittenTimes, ArePicturesOwnInEveryContainer) {
  const TestFolder folder;
  // In milliseconds; the last is where the pictures end. Enough of them for pictures in between.
  const int times[] = {0, 185, 218, 251, 252, 500, 533, 566, 600, 1600, 1633, 1666, 1700};
  for (const char* name : {"a.mp4", "a.mov", "a.mkv", "a.webm"}) {
    SCOPED_TRACE(name);
    kiv::PictureSeries series{{64, 48}, {30, 1}};
    for (const int time : times) series.times.push_back(int64_t{time} * 10'000);
    ASSERT_EQ(std::nullopt, WriteGreys(Plan(folder.Path(name)), series, 12));
    const ReadBack back = ReadVideo(folder.Path(name));
    ASSERT_EQ(12u, back.times.size());
    for (size_t i = 0; i < 12; ++i) {
      EXPECT_NEAR(times[i] * 0.001, back.times[i] - back.times[0], 0.0006) << i;
      EXPECT_NEAR(GreyOf(static_cast<int>(i)), back.pixels[i][0], 3);
    }
  }
}

TEST(WrittenSound, OfADamagedFileCostsNoPictures) {
  const TestFolder folder;
  WriteSound(folder.Path("in.mkv"), 1, 0);
  const std::string whole = ReadBytes(folder.Path("in.mkv"));
  std::mt19937 random(11);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    std::string bytes = whole;
    for (int i = 0; i < 20; ++i) bytes[random() % bytes.size()] = static_cast<char>(random());
    WriteBytes(folder.Path("in.mkv"), bytes);
    const kiv::OutputPlan plan = Plan(folder.Path(round % 2 == 0 ? "a.mkv" : "a.mov"));
    const kiv::PictureSeries series{{64, 48}, {25, 1}, {1, 1}, 0, folder.Path("in.mkv")};
    ASSERT_EQ(std::nullopt, WriteGreys(plan, series, 5));
    EXPECT_EQ(5, CountPictures(plan.name));
  }
}

// Expected codes by hand from the matrices: 16 + 219 Y', 128 + 224 C.
TEST(FlatColour, BecomesItsYuvWithinHalfACode) {
  const struct {
    const char* name;
    KivSize size;
    Bgra colour;
    int luma, cb, cr;
  } cases[] = {{"red601", {63, 47}, {0, 0, 255, 255}, 81, 90, 240},
               {"blue601", {1, 1}, {255, 0, 0, 255}, 41, 240, 110},
               {"white601", {64, 48}, {255, 255, 255, 255}, 235, 128, 128},
               {"red709", {1280, 720}, {0, 0, 255, 255}, 63, 102, 240},
               {"green709", {16, 720}, {0, 255, 0, 255}, 173, 42, 26},
               {"transparentWhite", {64, 48}, {255, 255, 255, 0}, 16, 128, 128},
               {"halfWhite", {63, 47}, {255, 255, 255, 128}, 126, 128, 128}};
  for (const auto& c : cases) {
    for (const char* format : {"y4m", "y4m444"}) {
      const TestFolder folder;
      ASSERT_EQ(std::nullopt,
                WriteOne(Plan(folder.Path("a"), "", format), c.size, Flat(c.size, c.colour)));
      const std::string file = ReadBytes(folder.Path("a"));
      const auto luma = static_cast<size_t>(c.size.width * c.size.height);
      const KivSize half{(c.size.width + 1) / 2, (c.size.height + 1) / 2};
      const size_t chroma =
          format == std::string("y4m444") ? luma : static_cast<size_t>(half.width * half.height);
      const std::string expected = std::string(luma, static_cast<char>(c.luma)) +
                                   std::string(chroma, static_cast<char>(c.cb)) +
                                   std::string(chroma, static_cast<char>(c.cr));
      EXPECT_TRUE(expected == file.substr(file.find("FRAME\n") + 6)) << c.name << ' ' << format;
    }
  }
}

// The exact value of a plane's sample for any picture, straight from the definition: BT.601 limited
// range, chroma between the rows and on the left columns.
class ExactYuv {
 public:
  ExactYuv(const std::vector<uint8_t>& bgra, KivSize size) : bgra_(bgra), size_(size) {}

  double Luma(int x, int y) const { return 16 + 219 * Light(x, y) / 255; }
  double Cb(int x, int y) const {
    return 128 + 224 * (Channel(x, y, 0) - Light(x, y)) / (2 * (1 - 0.114)) / 255;
  }
  double Cr(int x, int y) const {
    return 128 + 224 * (Channel(x, y, 2) - Light(x, y)) / (2 * (1 - 0.299)) / 255;
  }
  double Halved(int x, int y, double (ExactYuv::*chroma)(int, int) const) const {
    double sum = 0;
    for (const int row : {2 * y, 2 * y + 1}) {
      for (const int column : {2 * x - 1, 2 * x, 2 * x, 2 * x + 1}) {
        sum += (this->*chroma)(column, row);
      }
    }
    return sum / 8;
  }

 private:
  double Channel(int x, int y, int channel) const {
    x = std::clamp(x, 0, size_.width - 1);
    y = std::clamp(y, 0, size_.height - 1);
    return bgra_[static_cast<size_t>((y * size_.width + x) * 4 + channel)];
  }
  double Light(int x, int y) const {
    return 0.299 * Channel(x, y, 2) + 0.587 * Channel(x, y, 1) + 0.114 * Channel(x, y, 0);
  }

  const std::vector<uint8_t>& bgra_;
  KivSize size_;
};

class NoiseToYuv : public testing::TestWithParam<KivSize> {};

TEST_P(NoiseToYuv, IsTheNearestCodeInEverySample) {
  const KivSize size = GetParam();
  std::mt19937 random(7);
  std::vector<uint8_t> bgra(static_cast<size_t>(size.width * size.height * 4), 255);
  for (size_t i = 0; i < bgra.size(); ++i) {
    if (i % 4 != 3) bgra[i] = static_cast<uint8_t>(random());
  }
  const TestFolder folder;
  ASSERT_EQ(std::nullopt, WriteOne(Plan(folder.Path("a.y4m")), size, bgra));
  const std::string file = ReadBytes(folder.Path("a.y4m"));
  size_t at = file.find("FRAME\n") + 6;
  const ExactYuv exact(bgra, size);
  const auto expectNext = [&](double value) {
    ASSERT_NEAR(value, static_cast<uint8_t>(file.at(at++)), 0.55);
  };
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) expectNext(exact.Luma(x, y));
  }
  const KivSize half{(size.width + 1) / 2, (size.height + 1) / 2};
  for (const auto chroma : {&ExactYuv::Cb, &ExactYuv::Cr}) {
    for (int i = 0; i < half.width * half.height; ++i) {
      expectNext(exact.Halved(i % half.width, i / half.width, chroma));
    }
  }
  EXPECT_EQ(file.size(), at);
}

INSTANTIATE_TEST_SUITE_P(Sizes, NoiseToYuv,
                         testing::Values(KivSize{1, 1}, KivSize{2, 2}, KivSize{7, 3},
                                         KivSize{16, 16}, KivSize{37, 23}, KivSize{64, 5},
                                         KivSize{131, 66}));

TEST(WriterLossless, Ffv1PngAndRawKeepEveryBitAndTheAlpha) {
  constexpr KivSize kSize{17, 9};
  std::vector<uint8_t> bgra;
  for (int i = 0; i < kSize.width * kSize.height * 4; ++i) {
    bgra.push_back(static_cast<uint8_t>(i * 37));
  }
  const TestFolder folder;
  for (const auto& [name, codec] : {std::pair{"a.mkv", "ffv1"}, {"a.png", ""}, {"a.bgra", ""}}) {
    ASSERT_EQ(std::nullopt, WriteOne(Plan(folder.Path(name), codec), kSize, bgra));
  }
  for (const char* name : {"a.mkv", "a.png"}) {
    const ReadBack back = ReadVideo(folder.Path(name));
    ASSERT_EQ(1u, back.pixels.size()) << name;
    EXPECT_EQ(bgra, back.pixels[0]) << name;
  }
  EXPECT_EQ(std::string(bgra.begin(), bgra.end()), ReadBytes(folder.Path("a.bgra")));
}

// A coloured picture with soft transitions, half of it see-through when asked for.
std::vector<uint8_t> Rainbow(KivSize size, uint8_t alpha = 255) {
  std::vector<uint8_t> bgra;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int right = 255 * x / size.width, down = 255 * y / size.height;
      for (const int value : {255 - right, down, right}) {
        bgra.push_back(static_cast<uint8_t>(value));
      }
      bgra.push_back(2 * x < size.width ? 255 : alpha);
    }
  }
  return bgra;
}

// Of the three colours, as seen over black.
double MeanError(const std::vector<uint8_t>& wanted, const std::vector<uint8_t>& found) {
  if (wanted.size() != found.size()) return HUGE_VAL;
  double sum = 0;
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (i % 4 != 3) sum += std::abs(wanted[i] * wanted[i | 3] / 255.0 - found[i]);
  }
  return sum / (static_cast<double>(wanted.size()) * 3 / 4);
}

TEST(WrittenColours, AreThePicturesInEveryLossyFormat) {
  constexpr KivSize kSize{128, 96};
  const struct {
    const char *name, *codec;
    uint8_t alpha;
  } cases[] = {{"a.mp4", "h264", 255}, {"a.webm", "vp9", 255}, {"a.mp4", "hevc", 255},
               {"a.mkv", "av1", 255},  {"a.jpg", "", 255},     {"a.jpg", "", 64}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + c.codec);
    const TestFolder folder;
    const std::vector<uint8_t> picture = Rainbow(kSize, c.alpha);
    ASSERT_EQ(std::nullopt, WriteOne(Plan(folder.Path(c.name), c.codec), kSize, picture));
    const ReadBack back = ReadVideo(folder.Path(c.name));
    ASSERT_EQ(1u, back.pixels.size());
    EXPECT_LT(MeanError(picture, back.pixels[0]), 2.5);
  }
}

TEST(WrittenPictures, AreAsGoodAsTheQualitySays) {
  constexpr KivSize kSize{127, 95};
  std::mt19937 random(5);
  std::vector<uint8_t> noise;
  for (int i = 0; i < kSize.width * kSize.height; ++i) {
    const auto grey = static_cast<uint8_t>(random() % 128);
    noise.insert(noise.end(), {grey, grey, grey, 255});
  }
  double before = HUGE_VAL;
  for (const int quality : {0, 50, 100}) {
    const TestFolder folder;
    kiv::OutputPlan plan;
    ASSERT_EQ(std::nullopt, kiv::PlanOutput({folder.Path("a.jpg"), "", "", quality}, &plan));
    ASSERT_EQ(std::nullopt, WriteOne(plan, kSize, noise));
    const ReadBack back = ReadVideo(plan.name);
    EXPECT_EQ("mjpeg", back.codec);
    ASSERT_EQ(1u, back.pixels.size());
    const double error = MeanError(noise, back.pixels[0]);
    EXPECT_LT(error, before * 0.9) << quality;
    before = error;
  }
}

TEST(WriterName, AppearsOnlyWhenFinished) {
  for (const char* name :
       {"a.mp4", "a.mkv", "a.webm", "a.y4m", "a.bgra", "a.png", "a%d.png", "a.jpg", "a%d.jpg"}) {
    const TestFolder folder;
    std::ofstream(folder.Path(name)) << "old";
    {
      std::unique_ptr<kiv::Writer> writer;
      ASSERT_EQ(std::nullopt,
                kiv::OpenWriter(Plan(folder.Path(name)), {{16, 16}}, nullptr, &writer));
      ASSERT_EQ(std::nullopt, writer->Write(Flat({16, 16}, {1, 2, 3, 255}).data()));
      EXPECT_EQ(2u, folder.Names().size()) << name;
      EXPECT_EQ("old", ReadBytes(folder.Path(name))) << name;
    }
    EXPECT_EQ(std::vector<std::string>{name}, folder.Names());
    EXPECT_EQ("old", ReadBytes(folder.Path(name))) << name;
  }
}

TEST(WriterName, ReplacesTheTargetOfALink) {
  const TestFolder folder;
  std::ofstream(folder.Path("real.bgra")) << "old";
  std::filesystem::create_symlink("real.bgra", folder.Path("link.bgra"));
  ASSERT_EQ(std::nullopt, WriteGreys(Plan(folder.Path("link.bgra")), {{1, 1}}, 1));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link.bgra")));
  EXPECT_EQ("\x14\x14\x14\xff", ReadBytes(folder.Path("real.bgra")));
}

TEST(WriterFails, WithOneLineAndNothingLeft) {
  const char* const cases[][3] = {{"none/a.mp4", "", "No such file or directory"},
                                  {"none/a%d.png", "", "No such file"},
                                  {"folder.y4m", "", "Is a directory"},
                                  {"/dev/full", "y4m", "No space left on device"},
                                  {"/dev/full", "bgra", "No space left on device"},
                                  {"/dev/full", "mp4", "needs a regular file"}};
  const TestFolder folder;
  std::filesystem::create_directory(folder.Path("folder.y4m"));
  for (const auto& [file, format, says] : cases) {
    const std::string name = file[0] == '/' ? file : folder.Path(file);
    const WriteError error = WriteGreys(Plan(name, "", format), {{640, 480}}, 3);
    ASSERT_TRUE(error) << name;
    EXPECT_EQ(0u, error->find("cannot write '" + name)) << *error;
    EXPECT_NE(std::string::npos, error->find(says)) << *error;
    EXPECT_EQ(std::string::npos, error->find('\n')) << *error;
    EXPECT_EQ(std::vector<std::string>{"folder.y4m"}, folder.Names());
  }
}

TEST(WriterFails, LeavingThePicturesThatStoodThereBefore) {
  const TestFolder folder;
  std::filesystem::create_directory(folder.Path("a_2.png"));
  WriteBytes(folder.Path("a_1.png"), "old");
  const WriteError error = WriteGreys(Plan(folder.Path("a_%d.png")), {{16, 16}}, 4);
  ASSERT_TRUE(error);
  EXPECT_NE(std::string::npos, error->find("a_2.png': Is a directory")) << *error;
  EXPECT_EQ((std::vector<std::string>{"a_1.png", "a_2.png"}), folder.Names());
  EXPECT_EQ("old", ReadBytes(folder.Path("a_1.png")));
}

// A file size limit stands in for a disk that fills up.
TEST(WriterFull, EveryFileFormatReportsItAndLeavesNothing) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  for (const char* name : {"a.mp4", "a.mov", "a.mkv", "a.webm", "a.y4m", "a.bgra", "a.png",
                           "a%d.png", "a.jpg", "a%d.jpg"}) {
    const TestFolder folder;
    const rlimit small{200, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const WriteError error = WriteGreys(Plan(folder.Path(name)), {{320, 240}}, 1);
    setrlimit(RLIMIT_FSIZE, &before);
    ASSERT_TRUE(error) << name;
    EXPECT_NE(std::string::npos, error->find("File too large")) << *error;
    EXPECT_EQ(std::string::npos, error->find(".kivclip")) << *error;
    EXPECT_TRUE(folder.Names().empty()) << name;
  }
}

TEST(WriterSizes, RefusesWhatCannotBeAPicture) {
  for (const kiv::PictureSeries& series : {kiv::PictureSeries{{0, 8}},
                                           {{8, -1}},
                                           {{40000, 8}},
                                           {{32768, 32768}},
                                           {{8, 8}, {0, 1}},
                                           {{8, 8}, {25, 0}}}) {
    std::unique_ptr<kiv::Writer> writer;
    EXPECT_TRUE(kiv::OpenWriter(Plan("null"), series, nullptr, &writer));
    EXPECT_EQ(nullptr, writer);
  }
}

}  // namespace
