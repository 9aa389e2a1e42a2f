#include "engine/common/Frame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

#include "engine/common/ClassRegistry.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

KivComPtr<IKivFrame> NewFrame() {
  KivComPtr<IKivFrame> frame;
  KivCommon::GetInterface(kFrameClassId, nullptr, 0, IKivFrame::kIid, frame.PutVoid());
  return frame;
}

HRESULT Allocate(const KivComPtr<IKivFrame>& frame, int32_t width, int32_t height,
                 const void* pixels = nullptr) {
  return frame.As<IKivVideoFrame>()->Allocate(width, height, 0, KivCGMemoryType::kDownstream,
                                              pixels, 0, kDefaultFrameDuration);
}

KivFrameDescription Describe(const KivComPtr<IKivFrame>& frame) {
  KivFrameDescription description;
  EXPECT_EQ(S_OK, frame->GetDescription(&description));
  return description;
}

std::vector<uint32_t> PixelsOf(const KivComPtr<IKivFrame>& frame) {
  const KivFrameDescription description = Describe(frame);
  std::vector<uint32_t> pixels(static_cast<size_t>(description.byteCount) / 4);
  std::memcpy(pixels.data(), frame->GetPixels(), pixels.size() * 4);
  return pixels;
}

// A frame of somebody else: rows with a gap.
class PaddedFrame : public CountedObject<IKivFrame> {
 public:
  PaddedFrame() {
    description.width = 2;
    description.height = 2;
    description.rowBytes = 12;
    description.frameIndex = 5;
    description.pixelLayout = KivPixelLayout::kPadded;
  }
  HRESULT SetTime(int64_t, int64_t) override { return S_OK; }
  HRESULT GetTime(int64_t*, int64_t*) override { return S_OK; }
  HRESULT GetDescription(KivFrameDescription* out) override {
    *out = description;
    return S_OK;
  }
  void* GetPixels() override { return rows; }
  HRESULT CopyFrom(IKivFrame*) override { return E_NOTIMPL; }
  IKivBitmap* GetBitmap() override { return nullptr; }

  uint32_t rows[6] = {1, 2, 99, 3, 4, 99};
  KivFrameDescription description;
};

TEST(Frame, AllInterfacesShareOneIdentity) {
  const int64_t alive = LiveObjectCount();
  {
    const auto frame = NewFrame();
    const auto video = frame.As<IKivVideoFrame>();
    const KivComPtr<IKivBitmap> bitmap(frame->GetBitmap());
    ASSERT_TRUE(video);
    EXPECT_EQ(frame.As<IUnknown>().Get(), video.As<IUnknown>().Get());
    EXPECT_EQ(frame.As<IUnknown>().Get(), bitmap.As<IUnknown>().Get());
    EXPECT_EQ(frame.Get(), video.As<IKivFrame>().Get());
    EXPECT_FALSE(frame.As<IKivCGDevice>());
  }
  EXPECT_EQ(alive, LiveObjectCount());
}

TEST(Frame, ANewFrameHoldsNoPicture) {
  const auto frame = NewFrame();
  EXPECT_EQ(nullptr, frame->GetPixels());
  EXPECT_EQ(nullptr, frame->GetBitmap()->GetPixels());
  EXPECT_EQ(-1, frame.As<IKivVideoFrame>()->GetFrameIndex());
  EXPECT_EQ(KivPixelLayout::kNone, Describe(frame).pixelLayout);
  EXPECT_EQ(E_NOTREADY, frame->GetBitmap()->Fill(0));
}

TEST(Frame, DescribesWhatWasAllocated) {
  const auto frame = NewFrame();
  const uint32_t pixels[] = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(S_OK, Allocate(frame, 3, 2, pixels));
  frame->SetTime(1000, 50);
  frame.As<IKivVideoFrame>()->SetFrameIndex(7);

  const KivFrameDescription d = Describe(frame);
  EXPECT_EQ(3, d.width);
  EXPECT_EQ(2, d.height);
  EXPECT_EQ(12, d.rowBytes);
  EXPECT_EQ(24, d.byteCount);
  EXPECT_EQ(1000, d.presentationTime);
  EXPECT_EQ(50, d.duration);
  EXPECT_EQ(7, d.frameIndex);
  EXPECT_EQ(KivPixelLayout::kStraight, d.pixelLayout);
  EXPECT_EQ((std::vector<uint32_t>{1, 2, 3, 4, 5, 6}), PixelsOf(frame));
  EXPECT_EQ(3, frame->GetBitmap()->GetWidth());
  EXPECT_EQ(2, frame->GetBitmap()->GetHeight());
}

struct SizeCase {
  int32_t width, height;
  HRESULT expected;
};

class FrameSize : public testing::TestWithParam<SizeCase> {};

TEST_P(FrameSize, IsAcceptedInsideTheLimitsOnly) {
  const auto frame = NewFrame();
  const uint32_t pixel = 42;
  ASSERT_EQ(S_OK, Allocate(frame, 1, 1, &pixel));
  EXPECT_EQ(GetParam().expected, Allocate(frame, GetParam().width, GetParam().height));
  if (Failed(GetParam().expected)) {
    EXPECT_EQ((std::vector<uint32_t>{42}), PixelsOf(frame));
  }
}

INSTANTIATE_TEST_SUITE_P(Sides, FrameSize,
                         testing::Values(SizeCase{0, 1, E_INVALIDARG}, SizeCase{1, 0, E_INVALIDARG},
                                         SizeCase{-1, -1, E_INVALIDARG}, SizeCase{32768, 1, S_OK},
                                         SizeCase{1, 32768, S_OK}, SizeCase{32769, 1, E_INVALIDARG},
                                         SizeCase{1, 32769, E_INVALIDARG},
                                         SizeCase{INT32_MAX, INT32_MAX, E_INVALIDARG}));

TEST(Frame, ReallocationKeepsMemoryOfTheSameSizeAndMayReadItsOwnPixels) {
  const auto frame = NewFrame();
  const uint32_t pixels[] = {1, 2, 3, 4};
  ASSERT_EQ(S_OK, Allocate(frame, 2, 2, pixels));
  void* const memory = frame->GetPixels();
  ASSERT_EQ(S_OK, Allocate(frame, 2, 2));
  EXPECT_EQ(memory, frame->GetPixels());
  ASSERT_EQ(S_OK, Allocate(frame, 1, 2, frame->GetPixels()));
  EXPECT_EQ((std::vector<uint32_t>{1, 2}), PixelsOf(frame));
}

TEST(Frame, CopyTakesOverPictureTimeAndIndex) {
  const auto source = NewFrame();
  const uint32_t pixels[] = {10, 20, 30};
  ASSERT_EQ(S_OK, Allocate(source, 1, 3, pixels));
  source->SetTime(11, 22);
  source.As<IKivVideoFrame>()->SetFrameIndex(33);
  const auto copy = NewFrame();
  ASSERT_EQ(S_OK, Allocate(copy, 3, 1));

  ASSERT_EQ(S_OK, copy->CopyFrom(source.Get()));
  source->GetBitmap()->Fill(0);

  EXPECT_EQ((std::vector<uint32_t>{10, 20, 30}), PixelsOf(copy));
  EXPECT_EQ(3, Describe(copy).height);
  EXPECT_EQ(33, copy.As<IKivVideoFrame>()->GetFrameIndex());
  int64_t time = 0, duration = 0;
  copy->GetTime(&time, &duration);
  EXPECT_EQ(11, time);
  EXPECT_EQ(22, duration);
}

TEST(Frame, CopyRepacksPaddedRows) {
  const auto padded = KivComPtr<PaddedFrame>::Adopt(new PaddedFrame);
  const auto copy = NewFrame();
  ASSERT_EQ(S_OK, copy->CopyFrom(padded.Get()));
  EXPECT_EQ((std::vector<uint32_t>{1, 2, 3, 4}), PixelsOf(copy));
  EXPECT_EQ(KivPixelLayout::kStraight, Describe(copy).pixelLayout);
  EXPECT_EQ(5, Describe(copy).frameIndex);
}

TEST(Frame, ARefusedCopyChangesNothing) {
  const auto frame = NewFrame();
  const uint32_t pixel = 9;
  ASSERT_EQ(S_OK, Allocate(frame, 1, 1, &pixel));
  const auto lying = KivComPtr<PaddedFrame>::Adopt(new PaddedFrame);
  lying->description.rowBytes = 4;

  EXPECT_EQ(E_INVALIDARG, frame->CopyFrom(nullptr));
  EXPECT_EQ(E_NOTREADY, frame->CopyFrom(NewFrame().Get()));
  EXPECT_EQ(E_INVALIDARG, frame->CopyFrom(lying.Get()));
  EXPECT_EQ(S_OK, frame->CopyFrom(frame.Get()));

  EXPECT_EQ((std::vector<uint32_t>{9}), PixelsOf(frame));
  EXPECT_EQ(-1, Describe(frame).frameIndex);
}

TEST(Frame, FillWritesBlueLowestIntoEveryPixel) {
  const auto frame = NewFrame();
  ASSERT_EQ(S_OK, Allocate(frame, 3, 3));
  ASSERT_EQ(S_OK, frame->GetBitmap()->Fill(0xFF102030));
  EXPECT_EQ(std::vector<uint32_t>(9, 0xFF102030), PixelsOf(frame));
  EXPECT_EQ(0x30, static_cast<uint8_t*>(frame->GetPixels())[0]);
  ASSERT_EQ(S_OK, frame->GetBitmap()->Fill(0));
  EXPECT_EQ(std::vector<uint32_t>(9, 0), PixelsOf(frame));
}

TEST(CreateBGRAFrameFrom, ReusesAFrameOfTheSizeAndReplacesAnyOther) {
  KivComPtr<IKivFrame> held;
  const auto first = KivCommon::CreateBGRAFrameFrom(held, KivSize{4, 2}, KivCGMemoryType::kCached);
  ASSERT_TRUE(first);
  EXPECT_TRUE(held == first);
  EXPECT_EQ(KivCGMemoryType::kCached, Describe(first).memoryType);

  const auto again =
      KivCommon::CreateBGRAFrameFrom(held, first.Get(), KivCGMemoryType::kDownstream);
  EXPECT_TRUE(again == first);

  const auto other =
      KivCommon::CreateBGRAFrameFrom(held, KivSize{2, 4}, KivCGMemoryType::kDownstream);
  EXPECT_FALSE(other == first);
  EXPECT_TRUE(held == other);
  EXPECT_EQ(4, Describe(other).height);
}

TEST(CreateBGRAFrameFrom, AFailureLeavesTheHeldFrame) {
  const auto empty = NewFrame();
  const auto held = NewFrame();
  ASSERT_EQ(S_OK, Allocate(held, 2, 2));
  KivComPtr<IKivFrame> slot = held;
  const auto type = KivCGMemoryType::kDownstream;
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, KivSize{0, 5}, type));
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, empty.Get(), type));
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, nullptr, type));
  const ScopedClass withoutFrames(kFrameClassId, nullptr);
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, KivSize{3, 3}, type));
  EXPECT_TRUE(slot == held);
}

TEST(CreateBGRAFrameFrom, APaddedFrameIsNotReused) {
  const KivComPtr<IKivFrame> padded = KivComPtr<PaddedFrame>::Adopt(new PaddedFrame);
  KivComPtr<IKivFrame> slot = padded;
  const auto made =
      KivCommon::CreateBGRAFrameFrom(slot, padded.Get(), KivCGMemoryType::kDownstream);
  ASSERT_TRUE(made);
  EXPECT_FALSE(made == padded);
  EXPECT_EQ(8, Describe(made).rowBytes);
}

TEST(Frame, SteadyPlaybackAllocatesNoPictureMemory) {
  const auto play = [] {
    for (int i = 0; i < 50; ++i) {
      const auto a = NewFrame();
      const auto b = NewFrame();
      ASSERT_EQ(S_OK, Allocate(a, 320, 180));
      ASSERT_EQ(S_OK, b->CopyFrom(a.Get()));
    }
  };
  play();
  const int64_t before = BufferPool::Shared().Figures().systemAllocations;
  play();
  EXPECT_EQ(before, BufferPool::Shared().Figures().systemAllocations);
}

struct TimeCase {
  int32_t index;
  double rate;
  int64_t ticks;
};

class FrameTime : public testing::TestWithParam<TimeCase> {};

TEST_P(FrameTime, IsTruncatedAndSaturated) {
  EXPECT_EQ(GetParam().ticks, KivCommon::FrameNumberToPTS(GetParam().index, GetParam().rate));
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
INSTANTIATE_TEST_SUITE_P(
    Rates, FrameTime,
    testing::Values(TimeCase{0, 25, 0}, TimeCase{1, 25, 400000}, TimeCase{1, 30, 333333},
                    TimeCase{1, 30000.0 / 1001, 333666}, TimeCase{2, 24000.0 / 1001, 834166},
                    TimeCase{-1, 30, -333333}, TimeCase{7, 0, 0}, TimeCase{7, -0.0, 0},
                    TimeCase{7, kNaN, 0}, TimeCase{7, kInfinity, 0},
                    TimeCase{INT32_MAX, 1e-10, INT64_MAX}, TimeCase{INT32_MIN, 1e-10, INT64_MIN}));

TEST(Bitmap, StartsTransparentAndRefusesBadSizes) {
  const auto bitmap = KivCommon::ImageFunc::InitBitmap(5, 4);
  ASSERT_TRUE(bitmap);
  EXPECT_EQ(5, bitmap->GetWidth());
  EXPECT_EQ(4, bitmap->GetHeight());
  const auto* const pixels = static_cast<const uint32_t*>(bitmap->GetPixels());
  EXPECT_EQ(0U, std::accumulate(pixels, pixels + 20, 0U));
  EXPECT_FALSE(KivCommon::ImageFunc::InitBitmap(0, 4));
  EXPECT_FALSE(KivCommon::ImageFunc::InitBitmap(4, 40000));
}

}  // namespace
}  // namespace kiv
