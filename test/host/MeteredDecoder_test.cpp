#include "host/MeteredDecoder.h"

#include <gtest/gtest.h>

#include "host/SheetCanvas.h"
#include "test/support/FakeDecoder.h"

namespace {

TEST(MeteredDecoder, PassesCallsOnAndReturnsTheirResults) {
  const auto inner = test::FakeDecoder::Make();
  inner->skipResult = E_NOTREADY;
  const auto metered = host::MeteredDecoder::Make(
      KivComPtr<IKivMediaDecoder>(static_cast<IKivMediaDecoder*>(inner.Get())));
  const auto size = metered->Inner() ? KivComPtr<IKivMediaDecoder>(metered).As<IKivDecoderSize>()
                                     : KivComPtr<IKivDecoderSize>();
  ASSERT_TRUE(size);
  const KivSize wanted{640, 360};
  KivSize source;
  EXPECT_EQ(S_OK, size->SetOutputSize(&wanted));
  EXPECT_EQ(S_OK, size->GetSourceSize(&source));
  EXPECT_EQ((KivSize{1920, 1080}), source);
  EXPECT_EQ(S_OK, metered->Seek(800000, 1));
  EXPECT_EQ(E_NOTREADY, metered->Skip(2, nullptr));
  EXPECT_EQ((std::vector<std::string>{"SetOutputSize 640x360", "GetSourceSize",
                                      "Seek 800000 mode 1", "Skip 2"}),
            inner->log.Take());
}

TEST(MeteredDecoder, CountsThePicturesThatCouldNotBeRead) {
  const auto inner = test::FakeDecoder::Make();
  const auto metered = host::MeteredDecoder::Make(
      KivComPtr<IKivMediaDecoder>(static_cast<IKivMediaDecoder*>(inner.Get())));
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(S_OK, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(0, metered->UnreadPictures());
  inner->readResult = E_FAIL;
  EXPECT_EQ(E_FAIL, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(E_FAIL, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(2, metered->UnreadPictures());
}

TEST(MeteredDecoder, GivesItsDecoderBack) {
  const auto inner = test::FakeDecoder::Make();
  {
    const auto metered = host::MeteredDecoder::Make(
        KivComPtr<IKivMediaDecoder>(static_cast<IKivMediaDecoder*>(inner.Get())));
    EXPECT_GT(inner->References(), 1u);
  }
  EXPECT_EQ(1u, inner->References());
}

struct SheetCase {
  const char* name;
  int32_t frames;
  KivSize picture;
  bool fits;
};

class Sheet : public testing::TestWithParam<SheetCase> {};

TEST_P(Sheet, HoldsEveryFrameWithinItsBounds) {
  const SheetCase& c = GetParam();
  const auto layout = host::LayOutSheet(c.frames, c.picture);
  ASSERT_EQ(c.fits, layout.has_value());
  if (!layout) return;
  EXPECT_GE(int64_t{layout->columns} * layout->rows, c.frames);
  EXPECT_LT(int64_t{layout->columns} * (layout->rows - 1), c.frames);
  EXPECT_GE(layout->sheet.width, layout->columns * layout->cell.width);
  EXPECT_GE(layout->sheet.height, layout->rows * layout->cell.height);
  EXPECT_LE(layout->sheet.width, 16384);
  EXPECT_LE(layout->sheet.height, 16384);
  EXPECT_LE(int64_t{layout->sheet.width} * layout->sheet.height, int64_t{1} << 26);
  EXPECT_GE(layout->thumbnail.height, 1);
}

INSTANTIATE_TEST_SUITE_P(Clips, Sheet,
                         testing::Values(SheetCase{"one", 1, {1920, 1080}, true},
                                         SheetCase{"two", 2, {1920, 1080}, true},
                                         SheetCase{"hundred", 100, {720, 404}, true},
                                         SheetCase{"tiny", 20, {1, 1}, true},
                                         SheetCase{"flat", 5, {32768, 1}, true},
                                         SheetCase{"tower", 5, {64, 32768}, false},
                                         SheetCase{"minutes", 9000, {1920, 1080}, true},
                                         SheetCase{"hours", 300000, {1920, 1080}, false},
                                         SheetCase{"endless", INT32_MAX, {1920, 1080}, false}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
