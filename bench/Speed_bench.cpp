// What the speed and frame-rate nodes add to a step when nothing is interpolated.
#include <benchmark/benchmark.h>

#include <utility>

#include "engine/registry/AlgorithmModules.h"
#include "kiv/StreamCommon/VideoStreamer.h"
#include "kiv/chain/ChainBuilder.h"
#include "kiv/speed/VideoShifter.h"
#include "kiv/speed/VideoSlider.h"

namespace {

constexpr int32_t kFrames = 100'000;

struct Chain {
  template <typename Node>
  void Add() {
    tail = MakeNode<Node>(nullptr, tail);
  }
  void Send(CommandId id, const void* record) const {
    tail->ProcessCommand(static_cast<uint32_t>(id), reinterpret_cast<uintptr_t>(record), 0);
  }
  NodeRef tail = MakeSource<CVideoStreamer>(nullptr, nullptr);
};

// A source without a decoder: the steps alone. Items are steps.
void Step(benchmark::State& state, const Chain& chain) {
  int32_t frame = kFrames;
  for (auto _ : state) {
    if (++frame > kFrames) {
      chain.tail->Seek(0, nullptr, 1);
      frame = 0;
    }
    benchmark::DoNotOptimize(chain.tail->Skip(1, nullptr));
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_StepSource(benchmark::State& state) { Step(state, Chain()); }
BENCHMARK(BM_StepSource);

// Arguments: frames a second of the result, from 25.
void BM_StepRate(benchmark::State& state) {
  Chain chain;
  chain.Add<CVideoSlider>();
  const KivRational rate{state.range(0), 1};
  chain.Send(CommandId::SetRenderFrameRate, &rate);
  Step(state, chain);
}
BENCHMARK(BM_StepRate)->Arg(24)->Arg(60);

// Arguments: numerator and denominator of the speed. There is no interpolation module.
void StepSpeed(benchmark::State& state, Chain chain) {
  chain.Add<CVideoShifter>();
  kiv::AlgorithmModules::Shared().Withdraw(kTweenModuleName);
  const SpeedSettings speed{state.range(0), state.range(1)};
  chain.Send(CommandId::SetSpeedSettings, &speed);
  Step(state, chain);
}
void BM_StepSpeed(benchmark::State& state) { StepSpeed(state, Chain()); }
BENCHMARK(BM_StepSpeed)->Args({1, 4})->Args({2, 5})->Args({1, 1})->Args({3, 1})->Args({25, 1});

void BM_StepRateAndSpeed(benchmark::State& state) {
  Chain chain;
  chain.Add<CVideoSlider>();
  const KivRational rate{60, 1};
  chain.Send(CommandId::SetRenderFrameRate, &rate);
  StepSpeed(state, std::move(chain));
}
BENCHMARK(BM_StepRateAndSpeed)->Args({1, 4})->Args({3, 1});

}  // namespace
