// What the stages of making an in-between picture cost: two pictures of the clip with one between
// them left out. $KIV_BENCH_CLIP names a clip of 1080 lines for the figures of docs/performance.md.
//
// Baseline: the key frames mixed as they lie. The argument is the number of threads.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/BenchClip.h"
#include "engine/tween/Sharpness.h"
#include "engine/tween/TweenMaker.h"

namespace {

using namespace kiv::tween;

constexpr float kHalfway = 0.5F;

class Pair {
 public:
  Pair() {
    const KivComPtr<IKivMediaDecoder> decoder = OpenBenchClip();
    decoder->Seek(0, 1);
    older_ = Read(*decoder);
    decoder->Skip(2, nullptr);
    newer_ = Read(*decoder);
  }

  KeyPictures Keys() const { return {older_.data(), newer_.data(), size_}; }
  size_t Bytes() const { return older_.size(); }

 private:
  std::vector<uint8_t> Read(IKivMediaDecoder& decoder) {
    KivComPtr<IKivFrame> frame;
    decoder.ReadCurrentFrame(&frame);
    size_ = {frame->GetBitmap()->GetWidth(), frame->GetBitmap()->GetHeight()};
    const auto* const pixels = static_cast<const uint8_t*>(frame->GetPixels());
    return {pixels, pixels + static_cast<ptrdiff_t>(4) * size_.width * size_.height};
  }

  KivSize size_;
  std::vector<uint8_t> older_, newer_;
};

// Everything that the stages need, made once.
struct Stages {
  explicit Stages(int threads) : pool(threads), out(pair.Bytes()) {
    older.Build(pair.Keys().older, pair.Keys().size);
    newer.Build(pair.Keys().newer, pair.Keys().size);
    Search();
    Choose();
  }
  void Search() {
    pool.Run(2, [this](int which) {
      which == 0 ? onward.Run(older, newer) : backward.Run(newer, older);
    });
  }
  void Choose() {
    field.Choose({older.Level(0), newer.Level(0), onward.Grid(), backward.Grid()}, kHalfway, pool);
  }

  Pair pair;
  RowPool pool;
  kiv::LumaPyramid older, newer;
  FlowSearch onward, backward;
  TweenField field;
  std::vector<uint8_t> out;
};

template <class Work>
void Measure(benchmark::State& state, Work work) {
  Stages stages(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    work(stages);
    benchmark::ClobberMemory();
  }
}

void BM_Mix(benchmark::State& state) {
  Measure(state, [](Stages& s) { MixPictures(s.pair.Keys(), kHalfway, s.pool, s.out.data()); });
}
void BM_Pyramid(benchmark::State& state) {
  Measure(state, [](Stages& s) { s.newer.Build(s.pair.Keys().newer, s.pair.Keys().size); });
}
void BM_SearchBothWays(benchmark::State& state) {
  Measure(state, [](Stages& s) { s.Search(); });
}
void BM_ChooseMotion(benchmark::State& state) {
  Measure(state, [](Stages& s) { s.Choose(); });
}
void BM_FitSharpness(benchmark::State& state) {
  Measure(state, [](Stages& s) {
    benchmark::DoNotOptimize(
        BestSharpness(s.pair.Keys(), s.field.Grid(), s.older.Factor(), kHalfway, s.pool));
  });
}
void Blend(benchmark::State& state, BlendWindow window, float sharpness) {
  Measure(state, [&](Stages& s) {
    BlendPicture(s.pair.Keys(), s.field.Grid(), {s.older.Factor(), kHalfway, window, sharpness},
                 s.pool, s.out.data());
  });
}
void BM_BlendSoft(benchmark::State& state) { Blend(state, BlendWindow::kNear, 0); }
void BM_BlendSharp(benchmark::State& state) { Blend(state, BlendWindow::kNear, kSharpest / 2); }
void BM_BlendWide(benchmark::State& state) { Blend(state, BlendWindow::kWide, kSharpest / 2); }

// All stages for one picture; of its pyramids one is new, as in a clip that goes on.
void BM_WholePicture(benchmark::State& state, TweenMode mode) {
  const Pair pair;
  RowPool pool(static_cast<int>(state.range(0)));
  TweenMaker maker(pool);
  std::vector<uint8_t> out(pair.Bytes());
  KeyPictures keys = pair.Keys();
  maker.SetPair(keys, TweenMaker::Sequence::kNew);
  for (auto _ : state) {
    maker.Make(mode, kHalfway, out.data());
    std::swap(keys.older, keys.newer);
    maker.SetPair(keys, TweenMaker::Sequence::kFollows);
  }
}

void OneAndTwoThreads(benchmark::internal::Benchmark* bench) {
  bench->Unit(benchmark::kMillisecond)->UseRealTime()->Arg(1)->Arg(2);
}
BENCHMARK(BM_Mix)->Apply(OneAndTwoThreads);
BENCHMARK(BM_Pyramid)->Unit(benchmark::kMillisecond)->UseRealTime()->Arg(1);
BENCHMARK(BM_SearchBothWays)->Apply(OneAndTwoThreads);
BENCHMARK(BM_ChooseMotion)->Apply(OneAndTwoThreads);
BENCHMARK(BM_FitSharpness)->Apply(OneAndTwoThreads);
BENCHMARK(BM_BlendSoft)->Apply(OneAndTwoThreads);
BENCHMARK(BM_BlendSharp)->Apply(OneAndTwoThreads);
BENCHMARK(BM_BlendWide)->Apply(OneAndTwoThreads);
BENCHMARK_CAPTURE(BM_WholePicture, mode 0, TweenMode::kFlow)->Apply(OneAndTwoThreads);
BENCHMARK_CAPTURE(BM_WholePicture, mode 2, TweenMode::kFine)->Apply(OneAndTwoThreads);

}  // namespace
