#include "kiv/speed/FrameInterpolator.h"

#include "test/speed/SpeedFixture.h"

namespace {

using test::Calls;

struct FrameInterpolator : testing::Test {
  void PushKey(int32_t number, int64_t time) {
    const auto frame = test::MakeFrame(number);
    frame->SetTime(time, 0);
    interpolator.EnsureAlgorithm();
    EXPECT_TRUE(interpolator.PushKeyFrame(frame.Get()));
  }
  // Number, time and duration.
  using Stamped = std::array<int64_t, 3>;
  Stamped At(int32_t index) {
    const auto frame = test::MakeEmptyFrame();
    EXPECT_TRUE(interpolator.GetInterpolatedFrame(frame.Get(), index));
    Stamped result{test::NumberIn(frame)};
    frame->GetTime(&result[1], &result[2]);
    return result;
  }

  test::FakeTween tween;
  CFrameInterpolator interpolator;
};

TEST_F(FrameInterpolator, FramesBetweenKeyFramesGetTruncatedTimesBetweenTheirs) {
  interpolator.SetInBetweenCount(1);
  PushKey(10, 4'000'000);
  PushKey(20, 4'400'000);
  EXPECT_EQ((Stamped{10, 4'000'000, 400'000}), At(0));
  EXPECT_EQ((Stamped{15, 4'400'000, 400'000}), At(1));
  for (const int32_t unchanged : {0, -1, 1}) interpolator.SetInBetweenCount(unchanged);
  tween.record.log.Take();
  interpolator.SetInBetweenCount(3);
  // The key frames are carried over; their times are not known any more until the next ones.
  EXPECT_EQ((Calls{"Read 0", "Read 4", "Destroy", "Start", "Push 4x2", "Push 4x2"}),
            tween.record.log.Take());
  EXPECT_EQ((Stamped{15, 0, 0}), At(2));
  PushKey(20, 4'000'000);
  PushKey(40, 4'400'000);
  EXPECT_EQ((Stamped{30, 4'266'666, 133'333}), At(2));
  PushKey(0, INT64_MAX);
  PushKey(0, INT64_MIN);
  EXPECT_EQ(INT64_MIN, At(4)[1]);
  tween.record.readResult = -1;
  tween.record.log.Take();
  interpolator.SetInBetweenCount(INT32_MAX);
  EXPECT_EQ((Calls{"Read 0", "Read 2147483647", "Destroy", "Start"}), tween.record.log.Take());
}

TEST_F(FrameInterpolator, AGeneratedPictureIsHandedOnWithoutACopy) {
  interpolator.SetInBetweenCount(3);
  PushKey(10, 0);
  PushKey(50, 4);
  const auto shown = test::MakeEmptyFrame(), kept = test::MakeEmptyFrame();
  for (int32_t index = 1; index <= 3; ++index) {
    ASSERT_TRUE(interpolator.GetInterpolatedFrame(shown.Get(), index));
    EXPECT_EQ(tween.record.written, KivCommon::ReadPixels(shown.Get())) << index;
    if (index == 1) kept->CopyFrom(shown.Get());
  }
  // What was handed out stays, and a refused read shows the last picture again.
  EXPECT_EQ(20, test::NumberIn(kept));
  tween.record.readResult = -1;
  EXPECT_EQ(40, At(1)[0]);
}

// Its rows have gaps, and it can be copied only.
struct PaddedFrame : kiv::CountedObject<IKivFrame> {
  HRESULT SetTime(int64_t, int64_t) override { return S_OK; }
  HRESULT GetTime(int64_t*, int64_t*) override { return S_OK; }
  HRESULT GetDescription(KivFrameDescription* description) override {
    inner->GetDescription(description);
    description->pixelLayout = KivPixelLayout::kPadded;
    return S_OK;
  }
  void* GetPixels() override { return inner->GetPixels(); }
  HRESULT CopyFrom(IKivFrame*) override { return E_NOTIMPL; }
  IKivBitmap* GetBitmap() override { return inner->GetBitmap(); }
  KivComPtr<IKivFrame> inner = test::MakeFrame(7);
};

TEST_F(FrameInterpolator, OnlyStraightPicturesAreHandedOver) {
  EXPECT_FALSE(interpolator.GetInterpolatedFrame(test::MakeFrame(1).Get(), 0));
  EXPECT_FALSE(interpolator.PushKeyFrame(nullptr));
  EXPECT_FALSE(interpolator.PushKeyFrame(test::MakeEmptyFrame().Get()));
  PushKey(1, 0);
  // Too few key frames: what comes out is transparent, not what the memory held before.
  EXPECT_EQ((Stamped{0, 0, 0}), At(0));
  interpolator.PushKeyFrame(KivComPtr<PaddedFrame>::Adopt(new PaddedFrame).Get());
  EXPECT_EQ(7, test::NumberIn(interpolator.GetScratchFrame()));
}

}  // namespace
