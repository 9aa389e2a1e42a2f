#include "engine/picture/Frame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <tuple>
#include <vector>

#include "engine/registry/ClassRegistry.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

using Pixels = std::vector<uint32_t>;

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

KivComPtr<IKivFrame> FrameOf(int32_t width, int32_t height, const Pixels& pixels) {
  auto frame = NewFrame();
  EXPECT_EQ(S_OK, Allocate(frame, width, height, pixels.data()));
  return frame;
}

KivFrameDescription Describe(const KivComPtr<IKivFrame>& frame) {
  KivFrameDescription description;
  EXPECT_EQ(S_OK, frame->GetDescription(&description));
  return description;
}

Pixels PixelsOf(const KivComPtr<IKivFrame>& frame) {
  const auto* const pixels = static_cast<const uint32_t*>(frame->GetPixels());
  return {pixels, pixels + Describe(frame).byteCount / 4};
}

// A frame of somebody else: rows with a gap.
class PaddedFrame : public CountedObject<IKivFrame> {
 public:
  HRESULT SetTime(int64_t, int64_t) override { return S_OK; }
  HRESULT GetTime(int64_t*, int64_t*) override { return S_OK; }
  HRESULT GetDescription(KivFrameDescription* out) override {
    out->width = out->height = 2;
    out->rowBytes = rowBytes;
    out->frameIndex = 5;
    out->pixelLayout = KivPixelLayout::kPadded;
    return S_OK;
  }
  void* GetPixels() override { return rows; }
  HRESULT CopyFrom(IKivFrame*) override { return E_NOTIMPL; }
  IKivBitmap* GetBitmap() override { return nullptr; }

  uint32_t rows[6] = {1, 2, 99, 3, 4, 99};
  int32_t rowBytes = 12;
};

TEST(Frame, ANewFrameIsOneObjectWithoutAPicture) {
  const auto frame = NewFrame();
  const KivComPtr<IKivBitmap> bitmap(frame->GetBitmap());
  EXPECT_EQ(frame.As<IUnknown>().Get(), frame.As<IKivVideoFrame>().As<IUnknown>().Get());
  EXPECT_EQ(frame.As<IUnknown>().Get(), bitmap.As<IUnknown>().Get());
  EXPECT_EQ(nullptr, frame->GetPixels());
  EXPECT_EQ(E_NOTREADY, bitmap->Fill(0));
}

TEST(Frame, SizesOutsideTheLimitsAreRefusedAndKeepThePicture) {
  for (const auto& [width, height] : {std::pair{0, 1},
                                      {1, 0},
                                      {-1, -1},
                                      {32769, 1},
                                      {1, 32769},
                                      {INT32_MAX, INT32_MAX},
                                      {32768, 32768},
                                      {16385, 16384},
                                      {8193, 32768}}) {
    const auto frame = FrameOf(1, 1, {42});
    EXPECT_EQ(E_INVALIDARG, Allocate(frame, width, height));
    EXPECT_EQ(Pixels{42}, PixelsOf(frame));
    EXPECT_FALSE(KivCommon::ImageFunc::InitBitmap(width, height));
  }
  EXPECT_EQ(S_OK, Allocate(NewFrame(), 32768, 1));
  EXPECT_EQ(S_OK, Allocate(NewFrame(), 1, 32768));
}

TEST(Frame, ReallocationKeepsMemoryOfTheSameSizeAndMayReadItsOwnPixels) {
  const auto frame = FrameOf(2, 2, {1, 2, 3, 4});
  void* const memory = frame->GetPixels();
  ASSERT_EQ(S_OK, Allocate(frame, 2, 2));
  EXPECT_EQ(memory, frame->GetPixels());
  ASSERT_EQ(S_OK, Allocate(frame, 1, 2, frame->GetPixels()));
  EXPECT_EQ((Pixels{1, 2}), PixelsOf(frame));
}

TEST(Frame, CopyTakesOverPictureTimeAndIndex) {
  const auto source = FrameOf(3, 2, {1, 2, 3, 4, 5, 6});
  source->SetTime(11, 22);
  source.As<IKivVideoFrame>()->SetFrameIndex(33);
  const auto copy = FrameOf(2, 1, {7, 8});
  ASSERT_EQ(S_OK, copy->CopyFrom(source.Get()));
  source->GetBitmap()->Fill(0xFF102030);
  EXPECT_EQ(Pixels(6, 0xFF102030), PixelsOf(source));
  EXPECT_EQ(0x30, static_cast<uint8_t*>(source->GetPixels())[0]);

  EXPECT_EQ((Pixels{1, 2, 3, 4, 5, 6}), PixelsOf(copy));
  const KivFrameDescription d = Describe(copy);
  EXPECT_EQ(12, d.rowBytes);
  EXPECT_EQ(11, d.presentationTime);
  EXPECT_EQ(22, d.duration);
  EXPECT_EQ(33, d.frameIndex);
}

TEST(Frame, CopyRepacksPaddedRowsAndRefusesLies) {
  const auto padded = KivComPtr<PaddedFrame>::Adopt(new PaddedFrame);
  const auto copy = NewFrame();
  ASSERT_EQ(S_OK, copy->CopyFrom(padded.Get()));
  padded->rowBytes = 4;
  EXPECT_EQ(E_INVALIDARG, copy->CopyFrom(padded.Get()));
  EXPECT_EQ(E_INVALIDARG, copy->CopyFrom(nullptr));
  EXPECT_EQ(E_NOTREADY, copy->CopyFrom(NewFrame().Get()));
  EXPECT_EQ(S_OK, copy->CopyFrom(copy.Get()));
  EXPECT_EQ((Pixels{1, 2, 3, 4}), PixelsOf(copy));
  EXPECT_EQ(KivPixelLayout::kStraight, Describe(copy).pixelLayout);
  EXPECT_EQ(5, Describe(copy).frameIndex);
}

TEST(Frame, ACopySharesMemoryUntilOneOfTheTwoIsWritten) {
  static const Pixels kWhite(4, 0xFFFFFFFF);
  const Pixels before{1, 2, 3, 4};
  using Writes = void (*)(IKivFrame*);
  const Writes kWrites[] = {
      [](IKivFrame* frame) { std::memset(frame->GetPixels(), 0xFF, 16); },
      [](IKivFrame* frame) { std::memset(KivCommon::PixelsToFill(frame), 0xFF, 16); },
      [](IKivFrame* frame) { frame->GetBitmap()->Fill(kWhite[0]); },
      [](IKivFrame* frame) { frame->CopyFrom(FrameOf(2, 2, kWhite).Get()); },
      [](IKivFrame* frame) { Allocate(KivComPtr<IKivFrame>(frame), 2, 2, kWhite.data()); },
  };
  for (const Writes write : kWrites) {
    for (const bool copyIsWritten : {false, true}) {
      const auto source = FrameOf(2, 2, before);
      const auto copy = NewFrame();
      ASSERT_EQ(S_OK, copy->CopyFrom(source.Get()));
      ASSERT_EQ(KivCommon::ReadPixels(source.Get()), KivCommon::ReadPixels(copy.Get()));
      write((copyIsWritten ? copy : source).Get());
      EXPECT_EQ(kWhite, PixelsOf(copyIsWritten ? copy : source));
      EXPECT_EQ(before, PixelsOf(copyIsWritten ? source : copy));
    }
  }
}

TEST(Frame, APointerThatWasGivenOutServesItsFrameAlone) {
  const auto source = FrameOf(2, 1, {1, 2});
  auto* const given = static_cast<uint32_t*>(source->GetPixels());
  const auto copy = NewFrame();
  ASSERT_EQ(S_OK, copy->CopyFrom(source.Get()));
  given[0] = 9;
  EXPECT_EQ((Pixels{9, 2}), PixelsOf(source));
  EXPECT_EQ((Pixels{1, 2}), PixelsOf(copy));
  // And it stays good when its own frame is refilled.
  ASSERT_EQ(S_OK, source->CopyFrom(FrameOf(2, 1, {5, 6}).Get()));
  EXPECT_EQ(5u, given[0]);
  EXPECT_EQ(given, source->GetPixels());
}

TEST(CreateBGRAFrameFrom, ReusesAFrameOfTheSizeAndReplacesAnyOther) {
  const auto type = KivCGMemoryType::kCached;
  KivComPtr<IKivFrame> held;
  const auto first = KivCommon::CreateBGRAFrameFrom(held, KivSize{4, 2}, type);
  ASSERT_TRUE(first);
  EXPECT_TRUE(held == first);
  EXPECT_EQ(type, Describe(first).memoryType);
  EXPECT_TRUE(KivCommon::CreateBGRAFrameFrom(held, first.Get(), type) == first);
  const auto other = KivCommon::CreateBGRAFrameFrom(held, KivSize{2, 4}, type);
  EXPECT_FALSE(other == first);
  EXPECT_EQ(4, Describe(held).height);

  const KivComPtr<IKivFrame> padded = KivComPtr<PaddedFrame>::Adopt(new PaddedFrame);
  held = padded;
  const auto packed = KivCommon::CreateBGRAFrameFrom(held, padded.Get(), type);
  EXPECT_FALSE(packed == padded);
  EXPECT_EQ(8, Describe(packed).rowBytes);
}

TEST(CreateBGRAFrameFrom, AFailureLeavesTheHeldFrame) {
  const auto held = FrameOf(1, 1, {1});
  KivComPtr<IKivFrame> slot = held;
  const auto type = KivCGMemoryType::kDownstream;
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, KivSize{0, 5}, type));
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, NewFrame().Get(), type));
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, nullptr, type));
  const ScopedClass withoutFrames(kFrameClassId, nullptr);
  EXPECT_FALSE(KivCommon::CreateBGRAFrameFrom(slot, KivSize{3, 3}, type));
  EXPECT_TRUE(slot == held);
}

TEST(Frame, SteadyPlaybackAllocatesNoPictureMemory) {
  const auto allocated = [] {
    for (int i = 0; i < 50; ++i) {
      const auto a = NewFrame();
      EXPECT_EQ(S_OK, Allocate(a, 320, 180));
      EXPECT_EQ(S_OK, NewFrame()->CopyFrom(a.Get()));
    }
    return BufferPool::Shared().Figures().systemAllocations;
  };
  const int64_t before = allocated();
  EXPECT_EQ(before, allocated());
}

TEST(FrameNumberToPTS, TruncatesAndSaturates) {
  const std::tuple<int32_t, double, int64_t> kCases[] = {{1, 30000.0 / 1001, 333666},
                                                         {-1, 30, -333333},
                                                         {7, -0.0, 0},
                                                         {7, NAN, 0},
                                                         {7, HUGE_VAL, 0},
                                                         {INT32_MAX, 1e-10, INT64_MAX},
                                                         {INT32_MIN, 1e-10, INT64_MIN}};
  for (const auto& [index, rate, ticks] : kCases) {
    EXPECT_EQ(ticks, KivCommon::FrameNumberToPTS(index, rate)) << rate;
  }
}

}  // namespace
}  // namespace kiv
