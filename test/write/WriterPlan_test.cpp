#include <gtest/gtest.h>

#include "engine/write/Writer.h"

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

TEST(OutputPlan, FollowsTheNameTheFormatAndTheCodec) {
  const PlanCase cases[] = {
      {"a.mp4", "", "", -1, OutputKind::kEncoded, OutputCodec::kH264, "mp4"},
      {"d.d/a.MP4", "", "vp9", 0, OutputKind::kEncoded, OutputCodec::kVp9, "mp4"},
      {"a.mkv", "", "ffv1", -1, OutputKind::kEncoded, OutputCodec::kFfv1, "matroska"},
      {"a.webm", "", "", 50, OutputKind::kEncoded, OutputCodec::kVp9, "webm"},
      {"a%04d.png", "", "", -1, OutputKind::kPictures, OutputCodec::kNone, ""},
      {"a.mov", "", "hevc", 0, OutputKind::kEncoded, OutputCodec::kHevc, "mov"},
      {"a.webm", "", "av1", 0, OutputKind::kEncoded, OutputCodec::kAv1, "webm"},
      {"a.JPG", "", "", 90, OutputKind::kPicture, OutputCodec::kJpeg, ""},
      {"a%d.jpeg", "", "", 0, OutputKind::kPictures, OutputCodec::kJpeg, ""},
      {"-", "png", "", -1, OutputKind::kPicture, OutputCodec::kNone, ""},
      {"a%d", "png", "", -1, OutputKind::kPictures, OutputCodec::kNone, ""},
      {"a.y4m", "", "", -1, OutputKind::kYuv4Mpeg, OutputCodec::kNone, ""},
      {"-", "", "", -1, OutputKind::kYuv4Mpeg, OutputCodec::kNone, ""},
      {"null", "", "", -1, OutputKind::kDiscard, OutputCodec::kNone, ""},
      {"null", "mp4", "", -1, OutputKind::kDiscard, OutputCodec::kNone, ""},
      {"./null", "mp4", "", -1, OutputKind::kEncoded, OutputCodec::kH264, "mp4"},
  };
  for (const PlanCase& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + c.format + " " + c.codec);
    kiv::OutputPlan plan;
    ASSERT_EQ(std::nullopt, kiv::PlanOutput({c.name, c.format, c.codec, c.quality}, &plan));
    EXPECT_EQ(c.kind, plan.kind);
    EXPECT_EQ(c.planned, plan.codec);
    EXPECT_EQ(c.container, plan.container);
    EXPECT_EQ(c.quality < 0 ? 70 : c.quality, plan.quality);
  }
}

struct RefusalCase {
  const char* name;
  const char* format;
  const char* codec;
  int quality;
  const char* says;
};

TEST(OutputPlan, RefusesWithALineThatNamesWhatWouldBeRight) {
  const RefusalCase cases[] = {
      {"noending", "", "", -1, "'noending'"},
      {"a.avi", "", "", -1, "mp4, mov, mkv, webm, png"},
      {"a.mp4", "flv", "", -1, "--format flv"},
      {"-", "mp4", "", -1, "standard output"},
      {"a.mp4", "", "mpeg2", -1, "h264, hevc, av1, vp9"},
      {"a.mp4", "", "ffv1", -1, "does not go into mp4"},
      {"a.webm", "", "h264", -1, "does not go into webm"},
      {"a.webm", "", "hevc", -1, "does not go into webm"},
      {"a.mov", "", "av1", -1, "does not go into mov"},
      {"a.png", "", "", 50, "lossless"},
      {"a.mp4", "", "", 101, "0 (worst) to 100 (best)"},
      {"a.mkv", "", "ffv1", 50, "lossless"},
      {"a%d_%d.png", "", "", -1, "more than one"},
      {"a%", "png", "", -1, "only %d and %04d"},
      {"a%21d.png", "", "", -1, "only %d and %04d"},
      {"a%%.png", "", "", -1, "no %d"},
      {"a%d/b.png", "", "", -1, "in the file name"},
  };
  for (const RefusalCase& c : cases) {
    kiv::OutputPlan plan;
    const auto error = kiv::PlanOutput({c.name, c.format, c.codec, c.quality}, &plan);
    ASSERT_TRUE(error) << c.name;
    EXPECT_NE(std::string::npos, error->find(c.says)) << *error;
  }
}

}  // namespace
