// Pictures are read where the system refuses every thread.
#include <gtest/gtest.h>

#include <optional>

#include "test/media/Clips.h"
#include "test/support/ThreadRefusal.h"

namespace {

struct Decoded {
  kivtest::ClipRecipe recipe;
};

void PrintTo(const Decoded& value, std::ostream* out) { *out << value.recipe.codec; }

class ThreadShortage : public testing::TestWithParam<Decoded> {
 protected:
  void SetUp() override {
    MakeClip(GetParam().recipe);
    refusal_.emplace();
    decoder_ = kivtest::OpenClip(GetParam().recipe, 4);
  }
  void TearDown() override {
    decoder_.Reset();
    refusal_.reset();
  }

  std::optional<test::ThreadRefusal> refusal_;
  KivComPtr<IKivMediaDecoder> decoder_;
};

TEST_P(ThreadShortage, EveryPictureIsStillRead) {
  for (int frame = 0; frame < 60; ++frame) {
    ASSERT_EQ(frame, kivtest::CurrentNumber(decoder_));
    decoder_->Skip(1, nullptr);
  }
  EXPECT_LE(1, refusal_->Count()) << "the decoder asked for threads";
  const int before = refusal_->Count();
  for (int frame = 59; frame >= 0; --frame) {
    decoder_->Skip(-1, nullptr);
    ASSERT_EQ(frame, kivtest::CurrentNumber(decoder_));
  }
  EXPECT_EQ(before + 1, refusal_->Count()) << "the cache asked for one, once";
  EXPECT_EQ(0, kivtest::StatsOf(decoder_).picturesReplaced);
}

INSTANTIATE_TEST_SUITE_P(Decoders, ThreadShortage,
                         testing::Values(Decoded{{.bFrames = 2}}, Decoded{{.codec = "libx265"}},
                                         Decoded{{.codec = "mpeg2video", .container = "ts"}},
                                         Decoded{{.codec = "prores_ks",
                                                  .container = "mov",
                                                  .pixelFormat = "yuv422p10le"}}),
                         [](const auto& clip) { return clip.param.recipe.codec; });

}  // namespace
