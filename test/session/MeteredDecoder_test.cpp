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
  inner->readResult = E_FAIL;
  EXPECT_EQ(E_FAIL, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(E_FAIL, metered->ReadCurrentFrame(&frame));
  EXPECT_EQ(2, metered->UnreadPictures());
}

}  // namespace
