#include "kiv/StreamCommon/MissingMedia.h"

#include "test/StreamCommon/MissingMediaFixture.h"
#include "test/support/Frames.h"

namespace {

using test::Calls;

struct MissingMedia : test::MissingMediaFixture {};

TEST_F(MissingMedia, IsLoadedOnceAndShared) {
  paths_->value = WritePicture();
  const KivComPtr<IKivFrame> image = MissingMediaImage();
  ASSERT_TRUE(image);
  EXPECT_EQ((KivSize{2, 1}), test::SizeOf(image));
  paths_->log.Take();
  EXPECT_EQ(image, MissingMediaImage());
  EXPECT_EQ(Calls{}, paths_->log.Calls());
}

TEST_F(MissingMedia, AFailedLookupIsFinal) {
  EXPECT_FALSE(MissingMediaImage());
  paths_->value = WritePicture();
  paths_->log.Take();
  EXPECT_FALSE(MissingMediaImage());
  EXPECT_EQ(Calls{}, paths_->log.Calls());
  ForgetMissingMediaImage();
  EXPECT_TRUE(MissingMediaImage());
}

TEST_F(MissingMedia, TakesStillPicturesOnly) {
  paths_->value = WritePicture("picture.mov");
  EXPECT_FALSE(MissingMediaImage());
  ForgetMissingMediaImage();
  paths_->value = L"color://red";
  EXPECT_FALSE(MissingMediaImage());
  ForgetMissingMediaImage();
  paths_->value = KivCommon::Char2WChar((folder_ / "nothing.ppm").c_str());
  EXPECT_FALSE(MissingMediaImage());
}

TEST_F(MissingMedia, WithoutAPathServiceThereIsNone) {
  const test::SwappedClass none(kPathServiceClassId, nullptr);
  EXPECT_FALSE(MissingMediaImage());
}

}  // namespace
