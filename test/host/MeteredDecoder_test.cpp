#include "host/MeteredDecoder.h"

#include <gtest/gtest.h>

#include "test/support/FakeDecoder.h"

namespace {

KivComPtr<host::MeteredDecoder> MeterOf(test::FakeDecoder& decoder) {
  return host::MeteredDecoder::Make(
      KivComPtr<IKivMediaDecoder>(static_cast<IKivMediaDecoder*>(&decoder)));
}

TEST(MeteredDecoder, PassesCallsOnAndReturnsTheirResults) {
  const auto inner = test::FakeDecoder::Make();
  inner->skipResult = E_NOTREADY;
  const auto metered = MeterOf(*inner);
  const auto size = KivComPtr<IKivMediaDecoder>(metered).As<IKivDecoderSize>();
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
  const auto metered = MeterOf(*inner);
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
    const auto metered = MeterOf(*inner);
    EXPECT_GT(inner->References(), 1u);
  }
  EXPECT_EQ(1u, inner->References());
}

}  // namespace
