#include "engine/media/Writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

#include "engine/media/WriterFile.h"
#include "test/media/WriterReadBack.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace {

using kiv::WriteError;

struct Colour {
  uint8_t b, g, r, a;
};

std::vector<uint8_t> Flat(KivSize size, Colour colour) {
  std::vector<uint8_t> bgra;
  for (int i = 0; i < size.width * size.height; ++i) {
    bgra.insert(bgra.end(), {colour.b, colour.g, colour.r, colour.a});
  }
  return bgra;
}

// Picture n of a series: its grey level tells its number.
uint8_t GreyOf(int number) { return static_cast<uint8_t>(20 + 10 * number); }

kiv::OutputPlan Plan(const std::string& name, const std::string& codec = "",
                     const std::string& format = "") {
  kiv::OutputPlan plan;
  EXPECT_EQ(std::nullopt, kiv::PlanOutput({name, format, codec, kiv::kQualityUnset}, &plan));
  return plan;
}

WriteError WriteGreys(const kiv::OutputPlan& plan, const kiv::PictureSeries& series, int count) {
  std::unique_ptr<kiv::Writer> writer;
  if (auto error = kiv::OpenWriter(plan, series, nullptr, &writer)) return error;
  for (int i = 0; i < count; ++i) {
    const uint8_t grey = GreyOf(i);
    if (auto error = writer->Write(Flat(series.size, {grey, grey, grey, 255}).data())) return error;
  }
  return writer->Finish();
}

struct VideoCase {
  const char* name;
  const char* codec;
  const char* decodedAs;
  KivSize size;
  KivSize written;
  KivRational rate;
  KivRational aspect;
  int matrix;
};

class WrittenVideo : public testing::TestWithParam<VideoCase> {};

TEST_P(WrittenVideo, ComesBackWithItsPicturesRateAndTags) {
  const VideoCase& c = GetParam();
  constexpr int kPictures = 12;
  const TestFolder folder;
  ASSERT_EQ(std::nullopt, WriteGreys(Plan(folder.Path(c.name), c.codec),
                                     {c.size, c.rate, c.aspect, 0}, kPictures));

  const ReadBack back = ReadVideo(folder.Path(c.name));

  ASSERT_TRUE(back.opened);
  EXPECT_EQ(c.decodedAs, back.codec);
  EXPECT_EQ(c.written.width, back.width);
  EXPECT_EQ(c.written.height, back.height);
  if (std::string(c.name) == "a.mkv") {
    // Matroska keeps the length of a frame in whole nanoseconds.
    const KivRational rate{back.rateNumerator, back.rateDenominator};
    EXPECT_NEAR(c.rate.ToDouble(), rate.ToDouble(), 1e-5);
  } else {
    EXPECT_EQ(c.rate.numerator * back.rateDenominator, c.rate.denominator * back.rateNumerator);
  }
  EXPECT_EQ(c.aspect.numerator * back.aspectDenominator,
            c.aspect.denominator * back.aspectNumerator);
  ASSERT_EQ(static_cast<size_t>(kPictures), back.pixels.size());
  for (int i = 0; i < kPictures; ++i) {
    const auto at = static_cast<size_t>(i);
    EXPECT_NEAR(GreyOf(i), back.pixels[at][0], 3) << "picture " << i;
    // Matroska counts in milliseconds.
    EXPECT_NEAR(i / c.rate.ToDouble(), back.times[at] - back.times[0], 0.0011) << "picture " << i;
  }
  if (c.matrix == AVCOL_SPC_UNSPECIFIED) return;
  EXPECT_EQ(c.matrix, back.matrix);
  EXPECT_EQ(AVCOL_RANGE_MPEG, back.range);
  EXPECT_EQ(c.matrix == AVCOL_SPC_BT709 ? AVCOL_PRI_BT709 : AVCOL_PRI_SMPTE170M, back.primaries);
  EXPECT_EQ(c.matrix == AVCOL_SPC_BT709 ? AVCOL_TRC_BT709 : AVCOL_TRC_SMPTE170M, back.transfer);
}

constexpr KivSize kSmall{64, 48}, kOdd{63, 47}, kHd{1280, 720};
constexpr KivRational kSquare{1, 1};

INSTANTIATE_TEST_SUITE_P(
    Formats, WrittenVideo,
    testing::Values(
        VideoCase{"a.mp4", "", "h264", kSmall, kSmall, {25, 1}, kSquare, AVCOL_SPC_SMPTE170M},
        VideoCase{"a.mp4", "", "h264", kOdd, kSmall, {30000, 1001}, {16, 11}, AVCOL_SPC_SMPTE170M},
        VideoCase{"a.mov", "", "h264", kHd, kHd, {24000, 1001}, kSquare, AVCOL_SPC_BT709},
        VideoCase{"a.mkv", "", "h264", kSmall, kSmall, {60000, 1001}, kSquare, AVCOL_SPC_SMPTE170M},
        VideoCase{"a.mkv", "ffv1", "ffv1", kOdd, kOdd, {120, 1}, kSquare, AVCOL_SPC_UNSPECIFIED},
        VideoCase{"a.mp4", "vp9", "vp9", kSmall, kSmall, {50, 1}, kSquare, AVCOL_SPC_UNSPECIFIED},
        VideoCase{"a.webm", "", "vp9", kOdd, kOdd, {25, 1}, kSquare, AVCOL_SPC_SMPTE170M},
        VideoCase{
            "a.y4m", "", "rawvideo", kOdd, kOdd, {30000, 1001}, {16, 11}, AVCOL_SPC_UNSPECIFIED}),
    [](const auto& test) {
      std::string name = test.param.name;
      name[name.find('.')] = '_';
      return name + "_" + std::to_string(test.index);
    });

struct YuvCase {
  const char* name;
  KivSize size;
  Colour colour;
  int luma, cb, cr;
};

class FlatColour : public testing::TestWithParam<YuvCase> {};

// Expected codes by hand from the matrices: 16 + 219 Y', 128 + 224 C.
TEST_P(FlatColour, BecomesItsYuvWithinHalfACode) {
  const YuvCase& c = GetParam();
  const TestFolder folder;
  for (const char* format : {"y4m", "y4m444"}) {
    std::unique_ptr<kiv::Writer> writer;
    ASSERT_EQ(std::nullopt,
              kiv::OpenWriter(Plan(folder.Path("a"), "", format), {c.size}, nullptr, &writer));
    ASSERT_EQ(std::nullopt, writer->Write(Flat(c.size, c.colour).data()));
    ASSERT_EQ(std::nullopt, writer->Finish());

    const std::string file = ReadBytes(folder.Path("a"));
    const size_t luma = file.find("FRAME\n") + 6;
    const auto pixels = static_cast<size_t>(c.size.width * c.size.height);
    const size_t chroma = std::string(format) == "y4m"
                              ? static_cast<size_t>((c.size.width + 1) / 2) *
                                    static_cast<size_t>((c.size.height + 1) / 2)
                              : pixels;
    ASSERT_EQ(luma + pixels + 2 * chroma, file.size());
    const std::string expected = std::string(pixels, static_cast<char>(c.luma)) +
                                 std::string(chroma, static_cast<char>(c.cb)) +
                                 std::string(chroma, static_cast<char>(c.cr));
    EXPECT_TRUE(expected == file.substr(luma))
        << format << ": " << int(uint8_t(file[luma])) << " " << int(uint8_t(file[luma + pixels]))
        << " " << int(uint8_t(file[luma + pixels + chroma]));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Matrices, FlatColour,
    testing::Values(YuvCase{"red601", {63, 47}, {0, 0, 255, 255}, 81, 90, 240},
                    YuvCase{"green601", {64, 48}, {0, 255, 0, 255}, 145, 54, 34},
                    YuvCase{"blue601", {1, 1}, {255, 0, 0, 255}, 41, 240, 110},
                    YuvCase{"white601", {64, 48}, {255, 255, 255, 255}, 235, 128, 128},
                    YuvCase{"black601", {64, 48}, {0, 0, 0, 255}, 16, 128, 128},
                    YuvCase{"red709", {1280, 720}, {0, 0, 255, 255}, 63, 102, 240},
                    YuvCase{"green709", {16, 720}, {0, 255, 0, 255}, 173, 42, 26},
                    YuvCase{"grey709", {1280, 720}, {128, 128, 128, 255}, 126, 128, 128},
                    YuvCase{"transparentWhite", {64, 48}, {255, 255, 255, 0}, 16, 128, 128},
                    YuvCase{"halfWhite", {63, 47}, {255, 255, 255, 128}, 126, 128, 128}),
    [](const auto& test) { return test.param.name; });

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
  template <typename Chroma>
  double Halved(int x, int y, Chroma chroma) const {
    double sum = 0;
    for (const int row : {2 * y, 2 * y + 1}) {
      sum += chroma(2 * x - 1, row) + 2 * chroma(2 * x, row) + chroma(2 * x + 1, row);
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
  std::unique_ptr<kiv::Writer> writer;
  ASSERT_EQ(std::nullopt, kiv::OpenWriter(Plan(folder.Path("a.y4m")), {size}, nullptr, &writer));
  ASSERT_EQ(std::nullopt, writer->Write(bgra.data()));
  ASSERT_EQ(std::nullopt, writer->Finish());

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
  for (int i = 0; i < half.width * half.height; ++i) {
    expectNext(
        exact.Halved(i % half.width, i / half.width, [&](int x, int y) { return exact.Cb(x, y); }));
  }
  for (int i = 0; i < half.width * half.height; ++i) {
    expectNext(
        exact.Halved(i % half.width, i / half.width, [&](int x, int y) { return exact.Cr(x, y); }));
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
    std::unique_ptr<kiv::Writer> writer;
    ASSERT_EQ(std::nullopt,
              kiv::OpenWriter(Plan(folder.Path(name), codec), {kSize}, nullptr, &writer));
    ASSERT_EQ(std::nullopt, writer->Write(bgra.data()));
    ASSERT_EQ(std::nullopt, writer->Finish());
  }
  for (const char* name : {"a.mkv", "a.png"}) {
    const ReadBack back = ReadVideo(folder.Path(name));
    ASSERT_EQ(1u, back.pixels.size()) << name;
    EXPECT_EQ(bgra, back.pixels[0]) << name;
  }
  EXPECT_EQ(std::string(bgra.begin(), bgra.end()), ReadBytes(folder.Path("a.bgra")));
}

TEST(WriterPictures, AreNumberedFromTheFirstAndHoldTheirOwnPicture) {
  const TestFolder folder;
  ASSERT_EQ(std::nullopt,
            WriteGreys(Plan(folder.Path("p%03d.png")), {{8, 8}, {25, 1}, {1, 1}, 98}, 4));
  EXPECT_EQ((std::vector<std::string>{"p098.png", "p099.png", "p100.png", "p101.png"}),
            folder.Names());
  const ReadBack third = ReadVideo(folder.Path("p100.png"));
  ASSERT_EQ(1u, third.pixels.size());
  EXPECT_EQ(GreyOf(2), third.pixels[0][0]);
}

TEST(WriterName, AppearsOnlyWhenFinished) {
  for (const char* name : {"a.mp4", "a.mkv", "a.webm", "a.y4m", "a.bgra", "a.png", "a%d.png"}) {
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

struct FailureCase {
  const char* what;
  const char* name;
  const char* format;
  const char* says;
};

class WriterFails : public testing::TestWithParam<FailureCase> {};

TEST_P(WriterFails, WithOneLineAndNothingLeft) {
  const FailureCase& c = GetParam();
  const TestFolder folder;
  std::filesystem::create_directory(folder.Path("folder.y4m"));
  const std::string name = c.name[0] == '/' ? c.name : folder.Path(c.name);
  const WriteError error = WriteGreys(Plan(name, "", c.format), {{640, 480}}, 3);
  ASSERT_TRUE(error);
  EXPECT_EQ(0u, error->find("cannot write '" + name)) << *error;
  EXPECT_NE(std::string::npos, error->find(c.says)) << *error;
  EXPECT_EQ(std::string::npos, error->find('\n')) << *error;
  EXPECT_EQ(std::vector<std::string>{"folder.y4m"}, folder.Names());
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, WriterFails,
    testing::Values(FailureCase{"missingFolder", "none/a.mp4", "", "No such file or directory"},
                    FailureCase{"missingFolderOfPictures", "none/a%d.png", "", "No such file"},
                    FailureCase{"folder", "folder.y4m", "", "Is a directory"},
                    FailureCase{"fullDevice", "/dev/full", "y4m", "No space left on device"},
                    FailureCase{"fullDeviceRaw", "/dev/full", "bgra", "No space left on device"},
                    FailureCase{"deviceForMp4", "/dev/full", "mp4", "needs a regular file"}),
    [](const auto& test) { return test.param.what; });

// A file size limit stands in for a disk that fills up.
TEST(WriterFull, EveryFileFormatReportsItAndLeavesNothing) {
  kiv::IgnoreWriteSignals();
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  for (const char* name :
       {"a.mp4", "a.mov", "a.mkv", "a.webm", "a.y4m", "a.bgra", "a.png", "a%d.png"}) {
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

TEST(WriterStream, AClosedPipeIsAFailureNotASignal) {
  kiv::IgnoreWriteSignals();
  const TestFolder folder;
  ASSERT_EQ(0, mkfifo(folder.Path("pipe").c_str(), 0600));
  const int reader = open(folder.Path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  std::unique_ptr<kiv::Writer> writer;
  ASSERT_EQ(std::nullopt,
            kiv::OpenWriter(Plan(folder.Path("pipe"), "", "bgra"), {{8, 8}}, nullptr, &writer));
  const auto picture = Flat({8, 8}, {9, 9, 9, 255});
  ASSERT_EQ(std::nullopt, writer->Write(picture.data()));
  close(reader);
  const WriteError error = writer->Write(picture.data());
  ASSERT_TRUE(error);
  EXPECT_NE(std::string::npos, error->find("Broken pipe")) << *error;
}

TEST(WriterSizes, RefusesWhatCannotBeAPicture) {
  for (const kiv::PictureSeries& series :
       {kiv::PictureSeries{{0, 8}}, {{8, -1}}, {{40000, 8}}, {{8, 8}, {0, 1}}, {{8, 8}, {25, 0}}}) {
    std::unique_ptr<kiv::Writer> writer;
    EXPECT_TRUE(kiv::OpenWriter(Plan("null"), series, nullptr, &writer));
    EXPECT_EQ(nullptr, writer);
  }
}

}  // namespace
