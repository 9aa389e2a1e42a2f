#include <gtest/gtest.h>

#include "engine/media/Writer.h"

namespace {

using kiv::OutputCodec;
using kiv::OutputKind;

struct PlanCase {
  const char* name;
  const char* format;
  const char* codec;
  int quality;
  OutputKind kind;
  OutputCodec planned;
  const char* container;
};

class PlanAccepts : public testing::TestWithParam<PlanCase> {};

TEST_P(PlanAccepts, TheOutput) {
  const PlanCase& c = GetParam();
  kiv::OutputPlan plan;
  ASSERT_EQ(std::nullopt, kiv::PlanOutput({c.name, c.format, c.codec, c.quality}, &plan));
  EXPECT_EQ(c.kind, plan.kind);
  EXPECT_EQ(c.planned, plan.codec);
  EXPECT_EQ(c.container, plan.container);
  EXPECT_EQ(c.quality < 0 ? 70 : c.quality, plan.quality);
}

INSTANTIATE_TEST_SUITE_P(
    Names, PlanAccepts,
    testing::Values(
        PlanCase{"a.mp4", "", "", -1, OutputKind::kEncoded, OutputCodec::kH264, "mp4"},
        PlanCase{"d.d/a.MP4", "", "vp9", 0, OutputKind::kEncoded, OutputCodec::kVp9, "mp4"},
        PlanCase{"a.mov", "", "h264", 100, OutputKind::kEncoded, OutputCodec::kH264, "mov"},
        PlanCase{"a.mkv", "", "", -1, OutputKind::kEncoded, OutputCodec::kH264, "matroska"},
        PlanCase{"a.mkv", "", "ffv1", -1, OutputKind::kEncoded, OutputCodec::kFfv1, "matroska"},
        PlanCase{"a.webm", "", "", 50, OutputKind::kEncoded, OutputCodec::kVp9, "webm"},
        PlanCase{"a.png", "", "", -1, OutputKind::kPicture, OutputCodec::kNone, ""},
        PlanCase{"a%04d.png", "", "", -1, OutputKind::kPictures, OutputCodec::kNone, ""},
        PlanCase{"a%d", "png", "", -1, OutputKind::kPictures, OutputCodec::kNone, ""},
        PlanCase{"a.y4m", "", "", -1, OutputKind::kYuv4Mpeg, OutputCodec::kNone, ""},
        PlanCase{"-", "", "", -1, OutputKind::kYuv4Mpeg, OutputCodec::kNone, ""},
        PlanCase{"-", "bgra", "", -1, OutputKind::kRawBgra, OutputCodec::kNone, ""},
        PlanCase{"raw", "bgra", "", -1, OutputKind::kRawBgra, OutputCodec::kNone, ""},
        PlanCase{"null", "", "", -1, OutputKind::kDiscard, OutputCodec::kNone, ""},
        PlanCase{"null", "mp4", "", -1, OutputKind::kEncoded, OutputCodec::kH264, "mp4"}));

struct RefusalCase {
  const char* name;
  const char* format;
  const char* codec;
  int quality;
  const char* says;
};

class PlanRefuses : public testing::TestWithParam<RefusalCase> {};

TEST_P(PlanRefuses, WithALineThatNamesWhatWouldBeRight) {
  const RefusalCase& c = GetParam();
  kiv::OutputPlan plan;
  plan.name = "untouched";
  const auto error = kiv::PlanOutput({c.name, c.format, c.codec, c.quality}, &plan);
  ASSERT_TRUE(error);
  EXPECT_NE(std::string::npos, error->find(c.says)) << *error;
  EXPECT_EQ("untouched", plan.name);
}

INSTANTIATE_TEST_SUITE_P(
    Names, PlanRefuses,
    testing::Values(RefusalCase{"", "", "", -1, "no name"},
                    RefusalCase{"noending", "", "", -1, "'noending'"},
                    RefusalCase{"a.avi", "", "", -1, "mp4, mov, mkv, webm, png"},
                    RefusalCase{"a.mp4", "flv", "", -1, "--format flv"},
                    RefusalCase{"-", "mp4", "", -1, "standard output"},
                    RefusalCase{"-", "png", "", -1, "standard output"},
                    RefusalCase{"a.mp4", "", "mpeg2", -1, "h264, vp9, ffv1"},
                    RefusalCase{"a.mp4", "", "ffv1", -1, "does not go into mp4"},
                    RefusalCase{"a.webm", "", "h264", -1, "does not go into webm"},
                    RefusalCase{"a.png", "", "h264", -1, "does not go into png"},
                    RefusalCase{"a.mp4", "", "", 101, "0 (worst) to 100 (best)"},
                    RefusalCase{"a.mp4", "", "", -7, "0 (worst) to 100 (best)"},
                    RefusalCase{"a.mkv", "", "ffv1", 50, "lossless"},
                    RefusalCase{"a.y4m", "", "", 50, "lossless"},
                    RefusalCase{"a%d_%d.png", "", "", -1, "more than one"},
                    RefusalCase{"a%s.png", "", "", -1, "only %d and %04d"},
                    RefusalCase{"a%n.png", "", "", -1, "only %d and %04d"},
                    RefusalCase{"a%", "png", "", -1, "only %d and %04d"},
                    RefusalCase{"a%21d.png", "", "", -1, "only %d and %04d"},
                    RefusalCase{"a%%.png", "", "", -1, "no %d"},
                    RefusalCase{"a%d/b.png", "", "", -1, "in the file name"}));

TEST(PictureName, PutsTheNumberIn) {
  EXPECT_EQ("a0007.png", kiv::PictureName("a%04d.png", 7));
  EXPECT_EQ("a7.png", kiv::PictureName("a%d.png", 7));
  EXPECT_EQ("a   7.png", kiv::PictureName("a%4d.png", 7));
  EXPECT_EQ("100%7.png", kiv::PictureName("100%%%d.png", 7));
  EXPECT_EQ("a12345.png", kiv::PictureName("a%04d.png", 12345));
}

}  // namespace
