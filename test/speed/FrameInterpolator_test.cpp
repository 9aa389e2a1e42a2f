#include "kiv/speed/FrameInterpolator.h"

#include "test/speed/SpeedFixture.h"

namespace {

using test::Calls;

struct FrameInterpolator : testing::Test {
  void PushKey(int32_t number, int64_t time, const KivSize& size = {4, 2}) {
    const auto frame = test::MakeFrame(number, size);
    frame->SetTime(time, 400000);
    interpolator.EnsureAlgorithm();
    EXPECT_TRUE(interpolator.PushKeyFrame(frame.Get()));
  }
  struct Stamped {
    int32_t number = -1;
    int64_t time = 0;
    int64_t duration = 0;
    friend bool operator==(const Stamped&, const Stamped&) = default;
  };
  Stamped At(int32_t index) {
    const auto frame = test::MakeEmptyFrame();
    EXPECT_TRUE(interpolator.GetInterpolatedFrame(frame.Get(), index));
    Stamped result{test::NumberIn(frame)};
    frame->GetTime(&result.time, &result.duration);
    return result;
  }

  test::FakeTween tween;
  CFrameInterpolator interpolator;
};

TEST_F(FrameInterpolator, FramesBetweenKeyFramesGetTimesBetweenTheirs) {
  interpolator.SetInBetweenCount(1);
  PushKey(10, 4'000'000);
  PushKey(20, 4'400'000);
  EXPECT_EQ((Stamped{10, 4'000'000, 400'000}), At(0));
  EXPECT_EQ((Stamped{15, 4'400'000, 400'000}), At(1));
  interpolator.SetInBetweenCount(4);
  PushKey(20, 4'000'000);
  PushKey(30, 4'400'000);
  EXPECT_EQ((Stamped{24, 4'200'000, 100'000}), At(2));
}

TEST_F(FrameInterpolator, AStepIsTruncatedAndHostileTimesSaturate) {
  interpolator.SetInBetweenCount(3);
  PushKey(0, 4'000'000);
  PushKey(0, 4'400'000);
  EXPECT_EQ((Stamped{0, 4'266'666, 133'333}), At(2));
  PushKey(0, INT64_MAX);
  PushKey(0, INT64_MIN);
  EXPECT_EQ(INT64_MIN, At(4).time);
}

TEST_F(FrameInterpolator, ANewCountCarriesTheKeyFramesOver) {
  interpolator.SetInBetweenCount(1);
  PushKey(10, 4'000'000, {1920, 1080});
  PushKey(30, 4'400'000, {1920, 1080});
  tween.record.log.Take();
  for (const int32_t unchanged : {0, -1, 1}) interpolator.SetInBetweenCount(unchanged);
  EXPECT_EQ(Calls{}, tween.record.log.Take());
  interpolator.SetInBetweenCount(3);
  EXPECT_EQ((Calls{"Read 0", "Read 4", "Destroy", "Start", "Push 1920x1080", "Push 1920x1080"}),
            tween.record.log.Take());
  EXPECT_EQ(3, tween.record.params.inBetweenCount);
  // The times are not known any more until the next key frame.
  EXPECT_EQ((Stamped{20, 0, 0}), At(2));
  tween.record.readResult = -1;
  interpolator.SetInBetweenCount(INT32_MAX);
  EXPECT_EQ((Calls{"Read 2", "Read 0", "Read 2147483647", "Destroy", "Start"}),
            tween.record.log.Take());
}

// Frames whose rows have gaps are repacked; any other frame's own pixels are handed over.
class PaddedFrame : public kiv::CountedObject<IKivFrame> {
 public:
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

TEST_F(FrameInterpolator, APaddedFrameGoesThroughTheScratchFrame) {
  const auto padded = KivComPtr<PaddedFrame>::Adopt(new PaddedFrame);
  interpolator.EnsureAlgorithm();
  interpolator.PushKeyFrame(padded.Get());
  ASSERT_EQ((KivSize{4, 2}), interpolator.KeyFrameSize());
  EXPECT_EQ(0x07, test::NumberIn(interpolator.GetScratchFrame()));
}

TEST_F(FrameInterpolator, WithoutAPictureOrAnAlgorithmNothingIsPushedOrRead) {
  EXPECT_FALSE(interpolator.GetInterpolatedFrame(test::MakeFrame(1).Get(), 0));
  EXPECT_TRUE(interpolator.PassParameters());
  interpolator.EnsureAlgorithm();
  EXPECT_FALSE(interpolator.PushKeyFrame(nullptr));
  EXPECT_FALSE(interpolator.PushKeyFrame(test::MakeEmptyFrame().Get()));
  EXPECT_FALSE(interpolator.GetInterpolatedFrame(nullptr, 0));
  PushKey(1, 0);
  // Too few key frames: what comes out is transparent, not what the memory held before.
  EXPECT_EQ((Stamped{0, 0, 0}), At(0));
}

}  // namespace
