// What stabilizing costs for a 1080p frame on one core: measuring the motion, and correcting it.
//
// Baseline: copying the frame.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "engine/motion/CameraPath.h"
#include "engine/motion/MotionAnalyser.h"
#include "engine/motion/Warp.h"

namespace {

constexpr KivSize kSize{1920, 1080};
constexpr int kDrift = 3;  // pixels between two frames
constexpr size_t kBytes = size_t{4} * kSize.width * kSize.height;

// Blocks of random brightness, each frame a little to the left of the one before.
std::vector<uint8_t> MakeFrame(int number) {
  std::mt19937 random(1);
  constexpr int kBlock = 12;
  constexpr int kColumns = kSize.width / kBlock + 8;
  std::vector<uint8_t> codes(static_cast<size_t>(kColumns) * (kSize.height / kBlock + 1));
  std::generate(codes.begin(), codes.end(), [&] { return static_cast<uint8_t>(random()); });
  std::vector<uint8_t> frame;
  frame.reserve(kBytes);
  for (int y = 0; y < kSize.height; ++y) {
    for (int x = 0; x < kSize.width; ++x) {
      const int column = (x + number * kDrift) / kBlock;
      const uint8_t code = codes[static_cast<size_t>(y / kBlock * kColumns + column)];
      frame.insert(frame.end(), {code, code, code, 255});
    }
  }
  return frame;
}

void BM_CopyFrame(benchmark::State& state) {
  const std::vector<uint8_t> frame = MakeFrame(0);
  std::vector<uint8_t> out(kBytes);
  for (auto _ : state) {
    std::memcpy(out.data(), frame.data(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CopyFrame)->Unit(benchmark::kMillisecond);

void BM_AnalyseFrame(benchmark::State& state) {
  std::vector<std::vector<uint8_t>> frames;
  for (int i = 0; i < 8; ++i) frames.push_back(MakeFrame(i));
  kiv::MotionAnalyser analyser(kSize);
  size_t next = 0;
  for (auto _ : state) {
    analyser.Add(frames[next].data(), kSize);
    next = (next + 1) % frames.size();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AnalyseFrame)->Unit(benchmark::kMillisecond);

// The argument is the turn in hundredths of a degree.
void BM_CorrectFrame(benchmark::State& state) {
  const std::vector<uint8_t> frame = MakeFrame(0);
  std::vector<uint8_t> out(kBytes);
  const double turn = static_cast<double>(state.range(0)) * 3.14159265 / 18000;
  const kiv::WarpMap map{0.96, turn, 30.3, -turn, 0.96, 20.7};
  for (auto _ : state) {
    kiv::WarpPicture(frame.data(), kSize, map, out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CorrectFrame)->Unit(benchmark::kMillisecond)->Arg(0)->Arg(20)->Arg(200);

// The whole path of a clip of so many frames.
void BM_SmoothPath(benchmark::State& state) {
  std::mt19937 random(2);
  std::normal_distribution<double> normal(0, 3);
  std::vector<StabMotion> motions(static_cast<size_t>(state.range(0)));
  for (StabMotion& m : motions) m = {normal(random), normal(random), normal(random) / 30};
  for (auto _ : state) {
    benchmark::DoNotOptimize(kiv::CorrectionsFor(motions, kSize, kStabLevelDefault));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SmoothPath)->Unit(benchmark::kMillisecond)->Arg(1000)->Arg(20000);

}  // namespace
