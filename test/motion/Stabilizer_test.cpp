#include "kiv/platform/Stabilizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>

#include "engine/motion/MotionAnalyser.h"
#include "kiv/platform/KivCommon.h"
#include "test/motion/Scene.h"
#include "test/support/Frames.h"

namespace {

using test::Render;
using test::View;

constexpr KivSize kSize{480, 270};
constexpr int kFrames = 24;

KivComPtr<IKivFrame> FrameOf(const std::vector<uint8_t>& pixels, const KivSize& size) {
  const KivComPtr<IKivFrame> frame = test::MakeFrame(0, size);
  std::copy(pixels.begin(), pixels.end(), static_cast<uint8_t*>(frame->GetPixels()));
  return frame;
}

std::vector<uint8_t> PixelsOf(const KivComPtr<IKivFrame>& frame, const KivSize& size) {
  const auto* const pixels = static_cast<const uint8_t*>(frame->GetPixels());
  return {pixels, pixels + 4L * size.width * size.height};
}

class Stabilizer : public testing::Test {
 protected:
  Stabilizer() {
    KivCommon::GetInterface(kStabilizerAlgorithmClassId, nullptr, 0, IKivStabilizerAlgorithm::kIid,
                            algorithm.PutVoid());
    std::mt19937 random(11);
    std::normal_distribution<double> normal;
    for (int i = 0; i < kFrames; ++i) {
      const View view{2 * normal(random), 2 * normal(random), 0.2 * normal(random)};
      shaken.push_back(FrameOf(Render(scene, kSize, view), kSize));
    }
  }

  void Analyse(int32_t first) {
    ASSERT_EQ(S_OK, algorithm->Begin(&kSize));
    ASSERT_EQ(S_OK, algorithm->StartAnalysis());
    for (int i = 0; i < kFrames; ++i) {
      ASSERT_EQ(S_OK, algorithm->AnalyseFrame(shaken[static_cast<size_t>(i)].Get(), first + i));
    }
    ASSERT_EQ(S_OK, algorithm->CollectResult(&data));
    ASSERT_EQ(S_OK, algorithm->SetData(&data));
  }
  std::vector<uint8_t> Corrected(int32_t first, int i, int32_t level = kStabLevelDefault) {
    const KivComPtr<IKivFrame> out = test::MakeFrame(0, kSize);
    IKivFrame* const in = shaken[static_cast<size_t>(i)].Get();
    EXPECT_EQ(S_OK, algorithm->CorrectFrame(in, out.Get(), first + i, level));
    return PixelsOf(out, kSize);
  }

  const test::Scene scene{3};
  KivComPtr<IKivStabilizerAlgorithm> algorithm;
  std::vector<KivComPtr<IKivFrame>> shaken;
  StabData data;
};

double Movement(const std::vector<StabMotion>& motions) {
  double sum = 0;
  for (const StabMotion& m : motions) sum += m.dx * m.dx + m.dy * m.dy + 400 * m.da * m.da;
  return std::sqrt(sum / static_cast<double>(motions.size()));
}

TEST_F(Stabilizer, MakesAShakenSceneStandStill) {
  Analyse(100);
  EXPECT_EQ(100, data.first);
  EXPECT_EQ(100 + kFrames - 1, data.last);
  ASSERT_EQ(size_t{kFrames}, data.motions.size());
  kiv::MotionAnalyser left(kSize);
  for (int i = 0; i < kFrames; ++i) left.Add(Corrected(100, i, 40).data(), kSize);
  EXPECT_LT(Movement(left.Motions()), 0.15 * Movement(data.motions));
}

TEST_F(Stabilizer, TheSameFrameGivesTheSamePictureHoweverItIsReached) {
  Analyse(0);
  const std::vector<uint8_t> forward = Corrected(0, 5);
  for (const int32_t level : {3, 40}) Corrected(0, 9, level);
  EXPECT_EQ(forward, Corrected(0, 5));
  EXPECT_NE(forward, Corrected(0, 5, 1));
  // Stored as text: cut off at the fourth decimal.
  for (StabMotion& m : data.motions) {
    for (double* value : {&m.dx, &m.dy, &m.da}) *value = std::trunc(*value * 10000.0) / 10000.0;
  }
  KivCommon::GetInterface(kStabilizerAlgorithmClassId, nullptr, 0, IKivStabilizerAlgorithm::kIid,
                          algorithm.PutVoid());
  algorithm->Begin(&kSize);
  algorithm->SetData(&data);
  EXPECT_EQ(forward, Corrected(0, 5));
  // Without strength nothing changes.
  EXPECT_EQ(PixelsOf(shaken[5], kSize), Corrected(0, 5, 0));
}

TEST_F(Stabilizer, SmallerFramesAreCorrectedAlike) {
  Analyse(0);
  constexpr KivSize kHalf{240, 135};
  const auto halve = [](const std::vector<uint8_t>& full) {
    std::vector<uint8_t> half;
    for (size_t y = 0; y < kHalf.height; ++y) {
      for (size_t i = 0; i < 4UL * kHalf.width; ++i) {
        const size_t at = 2 * y * 4 * kSize.width + i / 4 * 8 + i % 4,
                     below = at + 4UL * kSize.width;
        half.push_back(
            static_cast<uint8_t>((full[at] + full[at + 4] + full[below] + full[below + 4]) / 4));
      }
    }
    return half;
  };
  const std::vector<uint8_t> expected = halve(Corrected(0, 7));
  const KivComPtr<IKivFrame> in = FrameOf(halve(PixelsOf(shaken[7], kSize)), kHalf);
  const KivComPtr<IKivFrame> out = test::MakeFrame(0, kHalf);
  ASSERT_EQ(S_OK, algorithm->CorrectFrame(in.Get(), out.Get(), 7, kStabLevelDefault));
  const std::vector<uint8_t> found = PixelsOf(out, kHalf);
  double off = 0;
  for (size_t i = 0; i < found.size(); ++i) off += std::abs(found[i] - expected[i]);
  EXPECT_LT(off / static_cast<double>(found.size()), 1.0);
}

TEST_F(Stabilizer, RefusesWhatDoesNotFit) {
  const KivComPtr<IKivFrame> out = test::MakeFrame(0, kSize), small = test::MakeFrame(0, {8, 8});
  const KivComPtr<IKivFrame> empty = test::MakeEmptyFrame();
  IKivFrame* const in = shaken[0].Get();
  const KivSize none{0, 5};
  EXPECT_EQ(E_INVALIDARG, algorithm->Begin(&none));
  EXPECT_EQ(E_POINTER, algorithm->Begin(nullptr));
  EXPECT_EQ(E_NOTREADY, algorithm->StartAnalysis());
  EXPECT_EQ(E_NOTREADY, algorithm->AnalyseFrame(in, 0));
  EXPECT_EQ(S_FALSE, algorithm->CollectResult(&data));
  EXPECT_EQ(E_NOTREADY, algorithm->CorrectFrame(in, out.Get(), 0, 10));
  Analyse(10);
  const struct {
    IKivFrame* in;
    IKivFrame* out;
    int32_t index;
    HRESULT result;
  } kCases[] = {{in, out.Get(), 7, S_OK},
                {in, out.Get(), 6, E_NOTFOUND},
                {in, out.Get(), kFrames + 12, S_OK},
                {in, out.Get(), kFrames + 13, E_NOTFOUND},
                {in, in, 10, E_INVALIDARG},
                {in, small.Get(), 10, E_INVALIDARG},
                {in, empty.Get(), 10, E_INVALIDARG},
                {empty.Get(), out.Get(), 10, E_INVALIDARG},
                {nullptr, out.Get(), 10, E_POINTER},
                {in, nullptr, 10, E_POINTER},
                {in, out.Get(), INT32_MIN, E_NOTFOUND}};
  for (const auto& c : kCases) {
    EXPECT_EQ(c.result, algorithm->CorrectFrame(c.in, c.out, c.index, 10)) << c.index;
  }
  EXPECT_EQ(S_OK, algorithm->ReleaseState());
  EXPECT_EQ(E_NOTREADY, algorithm->CorrectFrame(in, out.Get(), 10, 10));
}

TEST_F(Stabilizer, MissingFramesStandStillAndIndicesOnlyRise) {
  algorithm->Begin(&kSize);
  algorithm->StartAnalysis();
  EXPECT_EQ(S_OK, algorithm->AnalyseFrame(shaken[0].Get(), 4));
  EXPECT_EQ(S_FALSE, algorithm->AnalyseFrame(nullptr, 5));
  EXPECT_EQ(E_INVALIDARG, algorithm->AnalyseFrame(shaken[1].Get(), 5));
  EXPECT_EQ(E_INVALIDARG, algorithm->AnalyseFrame(shaken[1].Get(), INT32_MAX));
  EXPECT_EQ(S_OK, algorithm->AnalyseFrame(shaken[1].Get(), 8));
  EXPECT_EQ(S_OK, algorithm->CollectResult(&data));
  ASSERT_EQ(5U, data.motions.size());
  for (const size_t i : {0, 1, 2, 3}) EXPECT_EQ(StabMotion{}, data.motions[i]);
  EXPECT_NE(StabMotion{}, data.motions[4]);
  EXPECT_EQ(S_FALSE, algorithm->CollectResult(&data));
  EXPECT_EQ(5U, data.motions.size());
}

TEST_F(Stabilizer, FramesAreCorrectedWhileAnotherThreadAnalyses) {
  Analyse(0);
  const std::vector<uint8_t> alone = Corrected(0, 3);
  std::thread analysis([this] {
    algorithm->StartAnalysis();
    for (int i = 0; i < kFrames; ++i) {
      algorithm->AnalyseFrame(shaken[static_cast<size_t>(i)].Get(), i);
    }
    StabData again;
    algorithm->CollectResult(&again);
    EXPECT_EQ(data.motions, again.motions);
    algorithm->SetData(&again);
  });
  for (int i = 0; i < 30; ++i) EXPECT_EQ(alone, Corrected(0, 3));
  analysis.join();
}

}  // namespace
