#include "session/MeteredDecoder.h"

#include <gtest/gtest.h>

#include "test/support/FakeDecoder.h"

namespace {

TEST(MeteredDecoder, CountsThePicturesThatCouldNotBeRead) {
  const auto inner = test::FakeDecoder::Make();
  const auto metered = kiv::session::MeteredDecoder::Make(
      KivComPtr<IKivMediaDecoder>(static_cast<IKivMediaDecoder*>(inner.Get())));
  KivComPtr<IKivFrame> frame;
  EXPECT_EQ(S_OK, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(0, metered->UnreadPictures());
  EXPECT_FALSE(metered->ReadNothing());
  inner->readResult = E_FAIL;
  EXPECT_EQ(E_FAIL, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(E_FAIL, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(2, metered->UnreadPictures());
  EXPECT_FALSE(metered->ReadNothing());
}

TEST(MeteredDecoder, SaysWhenNotOnePictureCame) {
  const auto inner = test::FakeDecoder::Make();
  inner->readResult = E_FAIL;
  const auto metered = kiv::session::MeteredDecoder::Make(
      KivComPtr<IKivMediaDecoder>(static_cast<IKivMediaDecoder*>(inner.Get())));
  EXPECT_FALSE(metered->ReadNothing()) << "nothing was asked for";
  KivComPtr<IKivFrame> frame;
  metered->ReadCurrentFrame(&frame);
  EXPECT_TRUE(metered->ReadNothing());
}

}  // namespace
